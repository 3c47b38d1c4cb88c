#include "nerio/hosts/linux/store/registry_roots.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/system_call.h"

namespace nerio::platform {
namespace {

constexpr char kMachineFolder[] = "/var/lib/nerio/registry";
constexpr unsigned kMachineMode = 0755;
constexpr unsigned kPrivateMode = 0700;

// In the order of kRoots.
constexpr std::array<const char*, kRoots.size()> kRootNames = {
    "HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS", "HKEY_CURRENT_CONFIG"};

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

// Where a user's programs keep their data, by the XDG base directory rules; a relative path is ignored.
std::string UserFolder() {
  std::string data = Environment("XDG_DATA_HOME");
  if (!data.starts_with('/')) {
    data = Environment("HOME");
    if (!data.starts_with('/')) return "";
    data += "/.local/share";
  }
  return data + "/nerio/registry";
}

// Makes a folder and those above it that are missing.
Status MakeFolders(const std::string& folder, unsigned mode) {
  for (std::size_t end = 0; end != std::string::npos;) {
    end = folder.find('/', end + 1);
    const std::string upper = folder.substr(0, end);
    if (::mkdir(upper.c_str(), 0700) != 0) {
      if (errno == EEXIST || ::access(upper.c_str(), F_OK) == 0) continue;
      return RegistryStatus(errno);
    }
    const Descriptor above(
        ::open((upper.substr(0, upper.rfind('/')) + '/').c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (::chmod(upper.c_str(), mode) != 0 || (above && ::fsync(above.get()) != 0)) return RegistryStatus(errno);
  }
  return kSuccess;
}

// Leaves nothing in `resolved` on failure.
Status ResolveLinks(const std::string& folder, std::string& resolved) {
  resolved.clear();
  const std::unique_ptr<char, decltype(&std::free)> path(::realpath(folder.c_str(), nullptr), &std::free);
  if (!path) return RegistryStatus(errno);
  resolved = path.get();
  return kSuccess;
}

Status MakeRoot(const std::string& parent, const char* name, unsigned mode) {
  Status status = MakeFolders(parent, mode);
  std::string resolved;
  if (status == kSuccess) status = ResolveLinks(parent, resolved);
  // The folder of the roots has a lock of its own, so that two processes make a root once.
  const Deadline deadline(kChangeLimit);
  LockedKey locked;
  if (status == kSuccess) status = LockKey(KeyFolder(resolved), O_RDONLY, deadline, locked);
  struct stat entry {};
  if (status != kSuccess || ::fstatat(locked.folder.get(), name, &entry, 0) == 0) return status;
  KeyId id;
  return MakeSubkey(locked, name, name, mode, deadline, id);
}

std::size_t IndexOf(KeyHandle root) {
  return static_cast<std::size_t>(std::find(kRoots.begin(), kRoots.end(), root) - kRoots.begin());
}

}  // namespace

Status RegistryRoots::PlaceOf(KeyHandle root, Parent& parent, std::string& folder) {
  const std::size_t index = IndexOf(root);
  if (index == kRoots.size()) return kInvalidHandle;
  if (!decided_) {
    if (folder_.empty()) folder_ = Environment("NERIO_REGISTRY");
    if (folder_.empty()) {
      machine_ = {kMachineFolder, kMachineMode};
      user_ = {UserFolder(), kPrivateMode};
    } else {
      std::error_code error;
      std::string absolute = std::filesystem::absolute(folder_, error).native();
      if (error) return RegistryStatus(error.value());
      while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
      machine_ = user_ = {absolute, kPrivateMode};
    }
    decided_ = true;
  }
  parent = root == kHkeyCurrentUser ? user_ : machine_;
  folder = parent.folder + '/' + kRootNames[index];
  return parent.folder.empty() ? kFileNotFound : kSuccess;
}

Status RegistryRoots::Resolve(KeyHandle root, bool mayMake, bool& made) {
  made = false;
  Parent parent;
  std::string folder;
  Status status = PlaceOf(root, parent, folder);
  if (status != kSuccess) return status;
  std::string& found = found_[IndexOf(root)];
  status = ResolveLinks(folder, found);
  if (status != kFileNotFound || !mayMake) return status;
  status = MakeRoot(parent.folder, kRootNames[IndexOf(root)], parent.mode);
  if (status != kSuccess) return status == kAccessDenied ? kFileNotFound : status;
  made = true;
  return ResolveLinks(folder, found);
}

Status RegistryRoots::Place(KeyHandle root, std::string& folder) {
  const std::scoped_lock hold(mutex_);
  Parent parent;
  return PlaceOf(root, parent, folder);
}

Status RegistryRoots::Find(KeyHandle root, KeyFolder& folder) {
  const std::scoped_lock hold(mutex_);
  const std::size_t index = IndexOf(root);
  bool made = false;
  const bool known = index < found_.size() && !found_[index].empty();
  const Status status = known ? kSuccess : Resolve(root, true, made);
  if (status == kSuccess) folder = KeyFolder(found_[index]);
  return status;
}

Status RegistryRoots::FindPresent(KeyHandle root, KeyFolder& folder) {
  const std::scoped_lock hold(mutex_);
  bool made = false;
  const Status status = Resolve(root, false, made);
  if (status == kSuccess) folder = KeyFolder(found_[IndexOf(root)]);
  return status;
}

Status RegistryRoots::FindAgain(KeyHandle root, bool& moved) {
  const std::scoped_lock hold(mutex_);
  std::string& found = found_[IndexOf(root)];
  const std::string before = found;
  const Status status = Resolve(root, true, moved);
  moved = moved || found != before;
  return status;
}

}  // namespace nerio::platform
