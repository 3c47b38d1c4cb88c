#include "tools/nerio/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "nerio/hosts/linux/native_path.h"
#include "nerio/hosts/linux/store/system_call.h"

namespace nerio::tool {
namespace {

using platform::Descriptor;
using platform::SystemStatus;
using platform::Uninterrupted;

constexpr mode_t kNewFileMode = 0666;  // less the umask

std::filesystem::path FolderOf(const std::filesystem::path& path) {
  return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

// A file beside its final place, deleted again unless it is put there.
class NewFile {
 public:
  explicit NewFile(const std::filesystem::path& path) : path_(path) {}
  ~NewFile() {
    if (!name_.empty()) ::unlink(name_.c_str());
  }

  SystemStatus Write(std::string_view bytes, const struct stat* old) {
    std::string pattern = (FolderOf(path_) / ".nerio-XXXXXX").native();
    const Descriptor file(Uninterrupted([&] { return ::mkostemp(pattern.data(), O_CLOEXEC); }));
    if (!file) return SystemStatus{errno};
    name_ = pattern;
    while (!bytes.empty()) {
      const ssize_t written = Uninterrupted([&] { return ::write(file.get(), bytes.data(), bytes.size()); });
      if (written < 0) return SystemStatus{errno};
      if (written == 0) return SystemStatus{EIO};
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    // Nobody but root may give a file away; whoever replaces another's file without being root becomes its owner.
    if (old != nullptr && ::fchown(file.get(), old->st_uid, old->st_gid) != 0 && errno != EPERM)
      return SystemStatus{errno};
    if (::fchmod(file.get(), old != nullptr ? old->st_mode & 07777 : kNewFileMode & ~Mask()) != 0)
      return SystemStatus{errno};
    return Uninterrupted([&] { return ::fsync(file.get()); }) == 0 ? SystemStatus::kSuccess : SystemStatus{errno};
  }

  // Puts the file in its place, where nothing may be yet.
  SystemStatus LinkIntoPlace() {
    return ::link(name_.c_str(), path_.c_str()) == 0 ? SyncFolder() : SystemStatus{errno};
  }

  // Puts the file in its place, instead of what is there.
  SystemStatus RenameIntoPlace() {
    if (::rename(name_.c_str(), path_.c_str()) != 0) return SystemStatus{errno};
    name_.clear();
    return SyncFolder();
  }

 private:
  // The umask can only be read by setting it; the tool has one thread.
  static mode_t Mask() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
  }

  SystemStatus SyncFolder() const {
    const std::string folder = FolderOf(path_).native();
    const Descriptor opened(Uninterrupted([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    // A folder that may be written to and not read cannot be synced: the file is in its place all the same.
    if (!opened) return errno == EACCES ? SystemStatus::kSuccess : SystemStatus{errno};
    return Uninterrupted([&] { return ::fsync(opened.get()); }) == 0 || errno == EINVAL ? SystemStatus::kSuccess
                                                                                        : SystemStatus{errno};
  }

  std::filesystem::path path_;
  std::string name_;
};

}  // namespace

std::filesystem::path SystemPath(TextView path) { return platform::NativePath(path); }

SystemStatus ReadWholeFile(const std::filesystem::path& path, std::string& bytes, std::size_t most) {
  const Descriptor file(Uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY); }));
  if (!file) return SystemStatus{errno};
  std::string read;
  char block[1 << 16];
  while (read.size() <= most) {
    const ssize_t got = Uninterrupted([&] { return ::read(file.get(), block, sizeof block); });
    if (got < 0) return SystemStatus{errno};
    if (got == 0) break;
    read.append(block, static_cast<std::size_t>(got));
  }
  bytes = std::move(read);
  return SystemStatus::kSuccess;
}

SystemStatus CreateWholeFile(const std::filesystem::path& path, std::string_view bytes) {
  NewFile file(path);
  const SystemStatus status = file.Write(bytes, nullptr);
  return status != SystemStatus::kSuccess ? status : file.LinkIntoPlace();
}

SystemStatus ReplaceWholeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::filesystem::path target = path;
  struct stat old {};
  const bool there = Uninterrupted([&] { return ::lstat(path.c_str(), &old); }) == 0;
  if (!there && errno != ENOENT) return SystemStatus{errno};
  if (there) {
    // What a link leads to; one that leads nowhere is refused, not replaced.
    if (Uninterrupted([&] { return ::stat(path.c_str(), &old); }) != 0) return SystemStatus{errno};
    if (!S_ISREG(old.st_mode)) return SystemStatus{S_ISDIR(old.st_mode) ? EISDIR : EINVAL};
    // Replacing would get past the file's own protection, since it asks for rights on the folder only.
    if (::access(path.c_str(), W_OK) != 0) return SystemStatus{errno};
    std::error_code failure;
    target = std::filesystem::canonical(path, failure);
    if (failure) return SystemStatus{failure.value()};
  }
  NewFile file(target);
  const SystemStatus status = file.Write(bytes, there ? &old : nullptr);
  return status != SystemStatus::kSuccess ? status : file.RenameIntoPlace();
}

}  // namespace nerio::tool
