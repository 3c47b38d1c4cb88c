#pragma once

#include <cstdint>
#include <string>

namespace nerio::platform {

/// What `lstat` tells of a file or folder: which one it is, whose, and when it was last changed. Whatever changes its
/// content, its permissions or its owner, by hand or not, changes the stamp too: the kernel sets the time of the
/// change, and no program can set it back.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t mode = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::int64_t size = 0;
  /// Of the last change, since 1970.
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;

  bool operator==(const FileStamp&) const = default;
};

/// Reads the stamp of what is at an absolute path now; a link in its last level is not followed. The kernel allows this
/// only to those who may search the folders above it.
/// @return false when that fails.
bool ReadStamp(const std::string& path, FileStamp& stamp);

/// Reads the stamp of an open file or folder.
bool ReadStamp(int descriptor, FileStamp& stamp);

/// Tells whether the process may read a file. A user's own files are known from the stamp; about others the kernel is
/// asked.
/// @param path the one that the stamp was read from.
bool MayRead(const FileStamp& stamp, const std::string& path);

/// The same for listing a folder and looking at what is in it.
bool MayList(const FileStamp& stamp, const std::string& path);

/// Tells whether each change of a file or folder shows in its stamp, by the file system that it is open on: over a
/// network each machine sees the times late.
bool HasReliableTimes(int descriptor);

/// Returns the time that a file system gives to a change that happens now; of the stamp only `seconds` and
/// `nanoseconds` are set.
FileStamp StampOfNow();

/// Tells whether the clock of a file system, which advances in steps of some milliseconds, has advanced since a time.
bool HasPassed(const FileStamp& stamp, const FileStamp& now);

/// Tells whether this kernel gives every change another time than the one that was read last, however soon after the
/// reading it comes. It does since Linux 6.13, for the file systems of `HasReliableTimes`.
bool TellsChangesApart();

/// Tells it of the kernel of a release, as `uname` names it: "6.13.4-amd64".
bool ReleaseTellsChangesApart(const char* release);

/// Tells whether a file's last change is so old that the next one is certain to get another time. Never for times of
/// whole seconds: they come again when the clock is set back.
/// @param now `StampOfNow` from before the stamp was read.
bool IsOldEnough(const FileStamp& stamp, const FileStamp& now);

}  // namespace nerio::platform
