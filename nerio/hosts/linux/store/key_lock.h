#pragma once

#include <chrono>

#include "nerio/hosts/linux/store/file_stamp.h"
#include "nerio/hosts/linux/store/system_call.h"
#include "nerio/platform/status.h"

namespace nerio::platform {

/// How long a change waits for others at most, all its locks and attempts together.
constexpr std::chrono::seconds kChangeLimit{30};

/// The moment at which a call stops waiting for others. One call has one, whatever it waits for.
class Deadline {
 public:
  explicit Deadline(std::chrono::steady_clock::duration limit) : end_(std::chrono::steady_clock::now() + limit) {}

  bool HasPassed() const { return std::chrono::steady_clock::now() >= end_; }

 private:
  std::chrono::steady_clock::time_point end_;
};

/// Sleeps between two attempts: 50 us at first, in the end 5 ms, in between about a hundredth of the time waited so far.
class Pauses {
 public:
  /// @return how long it slept.
  std::chrono::nanoseconds Next();

 private:
  std::chrono::nanoseconds pause_{50'000};
};

/// Holds the lock of a key: an open-file-description lock on the lock file in the key's folder. It excludes the threads
/// of one process too, is not lost by an unrelated close, and ends with the process. Only who changes a key takes it:
/// the lock file is open to those who may change the key and to nobody else.
class KeyLock {
 public:
  KeyLock() = default;
  KeyLock(KeyLock&&) = default;
  KeyLock& operator=(KeyLock&&) = default;
  ~KeyLock();

  /// Waits for the lock of the key whose folder is open. A lock file that this user owns, and that is open to others
  /// than it should be, is closed to them.
  /// @param makeFile makes a missing lock file; otherwise it answers 1015.
  /// @return 170 when another still holds the lock at the deadline.
  Status Take(int folder, bool makeFile, const Deadline& deadline);

  /// The same. @param above the folder's stamp.
  Status Take(int folder, const FileStamp& above, bool makeFile, const Deadline& deadline);

  /// Takes the lock, shared with other readers, unless a writer holds it or the lock file cannot be opened.
  bool TryRead(int folder);

 private:
  Status Open(int folder, bool makeFile);

  // Noted in `fork_safety.h` while it is open.
  Descriptor file_;
};

/// Returns the permissions that the lock file of a key should have: those of the key's folder, for whom it lets write.
/// @param sameGroup whether folder and file belong to the same group.
unsigned LockFileMode(unsigned folderMode, bool sameGroup);

}  // namespace nerio::platform
