#include "nerio/hosts/linux/store/key_lock.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/fork_safety.h"
#include "nerio/hosts/linux/store/key_name.h"

namespace nerio::platform {
namespace {

constexpr std::chrono::nanoseconds kLongestPause{5'000'000};
constexpr unsigned kPermissions = 0777;

// Answers 170 while another holds the lock.
Status SetLock(int file, short kind) {
  struct flock lock {};
  lock.l_type = kind;
  lock.l_whence = SEEK_SET;
  if (Uninterrupted([&] { return ::fcntl(file, F_OFD_SETLK, &lock); }) == 0) return kSuccess;
  return errno == EAGAIN || errno == EACCES ? kBusy : RegistryStatus(errno);
}

// Only its owner can change the mode; that of others is for the doctor to name. Root could, but a file with a second name
// may be one from elsewhere, which somebody linked into a folder of his.
void CloseToReaders(const FileStamp& above, int file, const struct stat& entry) {
  if (entry.st_nlink > 1) return;
  const bool sameGroup = entry.st_gid == above.group || ::fchown(file, entry.st_uid, above.group) == 0;
  const unsigned mode = LockFileMode(above.mode, sameGroup);
  if ((entry.st_mode & kPermissions) != mode) ::fchmod(file, mode);
}

}  // namespace

std::chrono::nanoseconds Pauses::Next() {
  const std::chrono::nanoseconds pause = pause_;
  std::this_thread::sleep_for(pause);
  // Short while others write in turn; who has waited long for one that hangs does not keep the processor busy.
  pause_ = std::min(pause + pause / 128, kLongestPause);
  return pause;
}

unsigned LockFileMode(unsigned folderMode, bool sameGroup) {
  unsigned mode = S_IRUSR | S_IWUSR;
  if (sameGroup && (folderMode & S_IWGRP) != 0) mode |= S_IRGRP | S_IWGRP;
  if ((folderMode & S_IWOTH) != 0) mode |= S_IROTH | S_IWOTH;
  return mode;
}

KeyLock::~KeyLock() {
  if (!file_) return;
  // Closing alone would leave the lock with a child that was made without `fork`.
  SetLock(file_.get(), F_UNLCK);
  ForgetLockDescriptor(file_.get());
}

// Opens the lock file by a descriptor that no forked child has a copy of.
Status KeyLock::Open(int folder, bool makeFile) {
  for (;;) {
    const unsigned forks = ForkCount();
    Descriptor file;
    Status status = OpenInside(folder, kLockFileName, O_RDWR, file);
    if (status == kFileNotFound && makeFile) status = OpenInside(folder, kLockFileName, O_RDWR | O_CREAT, file);
    if (status != kSuccess) return status;
    KeyLock opened;
    const bool isOwn = NoteLockDescriptor(file.get(), forks);
    opened.file_ = std::move(file);
    if (!isOwn) continue;
    *this = std::move(opened);
    return kSuccess;
  }
}

Status KeyLock::Take(int folder, bool makeFile, const Deadline& deadline) {
  FileStamp above;
  return ReadStamp(folder, above) ? Take(folder, above, makeFile, deadline) : RegistryStatus(errno);
}

Status KeyLock::Take(int folder, const FileStamp& above, bool makeFile, const Deadline& deadline) {
  KeyLock taken;
  Status status = taken.Open(folder, makeFile);
  if (status != kSuccess) return status == kFileNotFound ? kRegistryCorrupt : status;
  const int file = taken.file_.get();
  struct stat entry {};
  if (::fstat(file, &entry) != 0) return RegistryStatus(errno);
  if (!S_ISREG(entry.st_mode)) return kRegistryCorrupt;
  // Before the wait: nobody who is closed out now can come in between.
  CloseToReaders(above, file, entry);
  Pauses pauses;
  while ((status = SetLock(file, F_WRLCK)) == kBusy && !deadline.HasPassed()) pauses.Next();
  if (status == kSuccess) *this = std::move(taken);
  return status;
}

bool KeyLock::TryRead(int folder) {
  Descriptor file;
  if (OpenInside(folder, kLockFileName, O_RDONLY, file) != kSuccess || SetLock(file.get(), F_RDLCK) != kSuccess)
    return false;
  file_ = std::move(file);
  return true;
}

}  // namespace nerio::platform
