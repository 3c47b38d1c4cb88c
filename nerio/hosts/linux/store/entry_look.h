#pragma once

#include <cstdint>
#include <string>

namespace nerio::platform {

/// What one look shows of a file or folder: which one it is, whose, and when it was last changed. Whatever changes its
/// content, its permissions or its owner, by hand or not, changes this too: the kernel sets the time of the change, and
/// no program can set it back.
struct EntryLook {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  std::uint32_t mode = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::int64_t size = 0;
  /// Of the last change, since 1970.
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;

  bool operator==(const EntryLook&) const = default;
};

/// Looks at what is at an absolute path now, and not behind a link in its last level. The kernel lets only those look
/// who may search the folders above it.
/// @return false when there is nothing to be seen.
bool LookAt(const std::string& path, EntryLook& look);

/// Looks at what is open.
bool LookAt(int descriptor, EntryLook& look);

/// Tells whether the process may read the file that was looked at. A user's own files are known from the look; about
/// others the kernel is asked.
/// @param path the one that was looked at.
bool MayRead(const EntryLook& look, const std::string& path);

/// Tells the time by which a file system stamps a change that happens now, as a look: `seconds` and `nanoseconds`.
EntryLook LookAtClock();

/// Tells whether an entry stood still long enough for the next change to show in another time. Clocks of file systems
/// go by steps of some milliseconds, in some of them of two seconds.
/// @param clock `LookAtClock` from before the look.
bool StoodStill(const EntryLook& look, const EntryLook& clock);

}  // namespace nerio::platform
