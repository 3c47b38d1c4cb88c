#pragma once

#include "nerio/hosts/linux/store/system_call.h"
#include "nerio/platform/status.h"

namespace nerio::platform {

/// What a holder of a key's lock may do meanwhile; any number of readers, or one writer.
enum class LockKind { Read, Write };

/// Holds the lock of a key: an open-file-description lock on the lock file in the key's folder. It excludes the threads
/// of one process too, is not lost by an unrelated close, and ends with the process.
class KeyLock {
 public:
  KeyLock() = default;
  KeyLock(KeyLock&&) = default;
  KeyLock& operator=(KeyLock&&) = default;
  ~KeyLock();

  /// Waits for the lock of the key whose folder is open.
  /// @param makeFile makes a missing lock file, with the folder's own read and write bits; otherwise it answers 1015.
  Status Take(int folder, LockKind kind, bool makeFile);

  /// Takes the lock for reading, unless a writer holds it or the lock file cannot be opened.
  bool TryRead(int folder);

 private:
  Status Lock(Descriptor file, int command, short kind);

  Descriptor file_;
};

}  // namespace nerio::platform
