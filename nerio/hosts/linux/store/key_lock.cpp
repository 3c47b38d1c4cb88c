#include "nerio/hosts/linux/store/key_lock.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"

namespace nerio::platform {
namespace {

Status SetLock(int file, int command, short kind) {
  struct flock lock {};
  lock.l_type = kind;
  lock.l_whence = SEEK_SET;
  return StatusOf([&] { return ::fcntl(file, command, &lock); });
}

}  // namespace

KeyLock::~KeyLock() {
  // Closing alone would leave the lock with a child that was forked meanwhile.
  if (file_) SetLock(file_.get(), F_OFD_SETLK, F_UNLCK);
}

Status KeyLock::Take(int folder, LockKind kind, bool makeFile) {
  const bool forWriting = kind == LockKind::Write;
  Descriptor file;
  Status status = OpenInside(folder, kLockFileName, forWriting ? O_RDWR : O_RDONLY, file);
  if (status == kFileNotFound && makeFile) {
    status = OpenInside(folder, kLockFileName, O_RDWR | O_CREAT, file);
    // Whoever made the file sets its mode; for another who opens it at the same moment that fails.
    struct stat entry {};
    if (status == kSuccess && ::fstat(folder, &entry) == 0) ::fchmod(file.get(), entry.st_mode & 0666);
  }
  if (status != kSuccess) return status == kFileNotFound ? kRegistryCorrupt : status;
  return Lock(std::move(file), F_OFD_SETLKW, forWriting ? F_WRLCK : F_RDLCK);
}

bool KeyLock::TryRead(int folder) {
  Descriptor file;
  return OpenInside(folder, kLockFileName, O_RDONLY, file) == kSuccess &&
         Lock(std::move(file), F_OFD_SETLK, F_RDLCK) == kSuccess;
}

Status KeyLock::Lock(Descriptor file, int command, short kind) {
  struct stat entry {};
  if (::fstat(file.get(), &entry) != 0) return RegistryStatus(errno);
  if (!S_ISREG(entry.st_mode)) return kRegistryCorrupt;
  const Status status = SetLock(file.get(), command, kind);
  if (status == kSuccess) file_ = std::move(file);
  return status;
}

}  // namespace nerio::platform
