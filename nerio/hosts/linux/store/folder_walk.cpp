#include "nerio/hosts/linux/store/folder_walk.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>

namespace nerio::platform {
namespace {

constexpr int kAlwaysFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr int kIntermediateFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;

// O_PATH takes no other flags than these.
int WithAlwaysFlags(int flags) { return (flags & O_PATH) != 0 ? flags | O_CLOEXEC : flags | kAlwaysFlags; }

// Each level on its own, so that O_NOFOLLOW holds for all of them.
int OpenStepByStep(int start, std::string path, int flags) {
  Descriptor folder;
  if (path.starts_with('/')) {
    folder = Descriptor(Uninterrupted([] { return ::open("/", kIntermediateFolder); }));
    if (!folder) return -1;
    start = folder.get();
    path.erase(0, 1);
  }
  std::size_t begin = 0;
  for (std::size_t end; (end = path.find('/', begin)) != std::string::npos; begin = end + 1) {
    path[end] = '\0';
    const char* const name = path.c_str() + begin;
    folder = Descriptor(Uninterrupted([&] { return ::openat(start, name, kIntermediateFolder | O_NOFOLLOW); }));
    if (!folder) return -1;
    start = folder.get();
  }
  return Uninterrupted([&] { return ::openat(start, path.c_str() + begin, flags | O_NOFOLLOW); });
}

// openat2 walks all levels in one call. Where the kernel does not have it, or a filter of system calls refuses it, the
// steps do the same.
int OpenWithoutLinks(int start, const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(static_cast<unsigned>(flags));
  how.resolve = RESOLVE_NO_SYMLINKS;
  const int opened =
      static_cast<int>(Uninterrupted([&] { return ::syscall(SYS_openat2, start, path.c_str(), &how, sizeof how); }));
  if (opened >= 0 || (errno != ENOSYS && errno != EPERM && errno != EAGAIN)) return opened;
  return OpenStepByStep(start, path, flags);
}

}  // namespace

Status OpenByPath(const std::string& path, int flags, Descriptor& opened) {
  std::string rest;
  const std::string* piece = &path;
  Descriptor folder;
  int start = AT_FDCWD;
  while (piece->size() >= PATH_MAX) {
    const std::size_t cut = piece->rfind('/', PATH_MAX - 1);
    folder = Descriptor(OpenWithoutLinks(start, piece->substr(0, cut), kIntermediateFolder));
    if (!folder) return RegistryStatus(errno);
    start = folder.get();
    rest = piece->substr(cut + 1);
    piece = &rest;
  }
  opened = Descriptor(OpenWithoutLinks(start, *piece, WithAlwaysFlags(flags)));
  return opened ? kSuccess : RegistryStatus(errno);
}

Status OpenBelow(int folder, const std::string& path, int flags, Descriptor& opened) {
  opened = Descriptor(OpenWithoutLinks(folder, path, WithAlwaysFlags(flags)));
  return opened ? kSuccess : RegistryStatus(errno);
}

Status OpenInside(int folder, const char* name, int flags, Descriptor& opened) {
  opened = Descriptor(Uninterrupted([&] { return ::openat(folder, name, WithAlwaysFlags(flags) | O_NOFOLLOW, 0600); }));
  return opened ? kSuccess : RegistryStatus(errno);
}

Status CheckRights(const std::string& path, int rights) {
  Descriptor folder;
  const char* name = path.c_str();
  int flags = AT_EACCESS;
  if (path.size() >= PATH_MAX) {
    const Status status = OpenByPath(path, O_PATH, folder);
    if (status != kSuccess) return status;
    name = "";
    flags |= AT_EMPTY_PATH;
  }
  const int start = folder ? folder.get() : AT_FDCWD;
  const Status status = StatusOf([&] { return ::faccessat(start, name, rights, flags); });
  if (status != kAccessDenied || (rights & W_OK) == 0) return status;
  // For a mount, unlike a whole file system, the kernel looks at the permissions first.
  if (!folder && OpenByPath(path, O_PATH, folder) != kSuccess) return status;
  return IsReadOnly(folder.get()) ? kWriteProtect : status;
}

Status WriteAt(int file, std::string_view bytes, std::uint64_t offset) {
  while (!bytes.empty()) {
    const ssize_t written =
        Uninterrupted([&] { return ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset)); });
    if (written < 0) return RegistryStatus(errno);
    // Without progress there is no error number to report and no use in going on.
    if (written == 0) return kRegistryIoFailed;
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return kSuccess;
}

Status ForEachPiece(int file, std::uint64_t offset, std::uint64_t end,
                    const std::function<void(std::uint64_t offset, std::string_view bytes)>& act) {
  constexpr std::size_t kPieceSize = std::size_t{64} << 10;
  std::string piece(kPieceSize, '\0');
  while (offset < end) {
    const off_t data = ::lseek(file, static_cast<off_t>(offset), SEEK_DATA);
    if (data < 0 && errno == ENXIO) return kSuccess;
    if (data < 0) return RegistryStatus(errno);
    offset = static_cast<std::uint64_t>(data);
    if (offset >= end) return kSuccess;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kPieceSize, end - offset));
    const ssize_t got = Uninterrupted([&] { return ::pread(file, piece.data(), wanted, data); });
    if (got < 0) return RegistryStatus(errno);
    // Somebody cut the file by hand: the rest counts as zeros, as it does for holes.
    if (got == 0) return kSuccess;
    act(offset, std::string_view(piece).substr(0, static_cast<std::size_t>(got)));
    offset += static_cast<std::uint64_t>(got);
  }
  return kSuccess;
}

void KeepOwner(int file, const struct stat& old) {
  constexpr auto kAsItIs = static_cast<uid_t>(-1);
  if (::fchown(file, old.st_uid, old.st_gid) == 0) return;
  if (::fchown(file, kAsItIs, old.st_gid) == 0) return;
}

bool HasOtherName(int file) {
  // Not by fstat: once a file's times were read, some file systems write its inode again with the next change.
  struct statx entry {};
  return ::statx(file, "", AT_EMPTY_PATH, STATX_NLINK, &entry) != 0 || entry.stx_nlink > 1;
}

bool IsReadOnly(int file) {
  struct statvfs system {};
  return ::fstatvfs(file, &system) == 0 && (system.f_flag & ST_RDONLY) != 0;
}

Status SyncFile(int file) {
  return StatusOf([&] { return ::fdatasync(file); });
}

Status SyncFolder(int folder) {
  const bool done = Uninterrupted([&] { return ::fsync(folder); }) == 0 || errno == EINVAL;
  return done ? kSuccess : RegistryStatus(errno);
}

}  // namespace nerio::platform
