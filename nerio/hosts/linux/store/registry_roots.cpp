#include "nerio/hosts/linux/store/registry_roots.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "nerio/hosts/linux/store/access_rights.h"
#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/fork_safety.h"
#include "nerio/hosts/linux/store/system_call.h"

namespace nerio::platform {
namespace {

constexpr char kMachineFolder[] = "/var/lib/nerio/registry";
constexpr unsigned kMachineMode = 0755;
constexpr unsigned kPrivateMode = 0700;

// In the order of kRoots.
constexpr std::array<const char*, kRoots.size()> kRootNames = {
    "HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS", "HKEY_CURRENT_CONFIG"};

// The rights that the layer opens every key with.
constexpr std::uint32_t kLayerAccess = kKeyRead | kKeySetValue | kKeyCreateSubKey | kKeyCreateLink;

// A program that runs with another user's rights takes no place from its caller.
std::string Environment(const char* name) {
  const char* const value = ::secure_getenv(name);
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

// Gives a folder that was just made its mode. The owner of the folder above may put a link in its place meanwhile: it is
// not followed.
Status GiveMode(int above, const char* name, unsigned mode) {
  Descriptor folder;
  Status status = OpenInside(above, name, O_RDONLY | O_DIRECTORY, folder);
  // The umask may take away what the owner needs.
  if (status == kAccessDenied && ::fchmodat(above, name, 0700, AT_SYMLINK_NOFOLLOW) == 0) {
    status = OpenInside(above, name, O_RDONLY | O_DIRECTORY, folder);
  }
  return status == kSuccess ? StatusOf([&] { return ::fchmod(folder.get(), mode); }) : status;
}

// Makes a folder's entry in the one above durable, and theirs in those above them, whoever made them: it may have been a
// process that was killed before it synced them, and what is acknowledged below would be lost with them. A folder on
// another file system is a mount's, and none that was made here.
Status SyncFoldersAbove(int start) {
  Descriptor folder;
  Status status = OpenInside(start, ".", O_RDONLY | O_DIRECTORY, folder);
  while (status == kSuccess) {
    Descriptor above;
    struct stat inner {};
    struct stat outer {};
    status = OpenInside(folder.get(), "..", O_PATH | O_DIRECTORY, above);
    if (status != kSuccess) return status;
    if (::fstat(folder.get(), &inner) != 0 || ::fstat(above.get(), &outer) != 0) return RegistryStatus(errno);
    if (inner.st_dev != outer.st_dev || inner.st_ino == outer.st_ino) return kSuccess;
    Descriptor readable;
    status = OpenInside(above.get(), ".", O_RDONLY | O_DIRECTORY, readable);
    // Above a folder that this user may only search, none was made by this user's processes.
    if (status == kAccessDenied) {
      const bool mayMake = ::faccessat(above.get(), ".", W_OK | X_OK, AT_EACCESS) == 0;
      return mayMake ? StatusOf([&] { return ::syncfs(folder.get()); }) : kSuccess;
    }
    if (status == kSuccess) status = SyncFolder(readable.get());
    folder = std::move(readable);
  }
  return status;
}

// Makes a folder and those above it that are missing. What is there already may be a link.
Status MakeFolders(const std::string& folder, unsigned mode) {
  constexpr int kFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;
  Descriptor above(::open("/", kFolder));
  for (std::size_t begin = 1, end = 0; end < folder.size(); begin = end + 1) {
    end = std::min(folder.find('/', begin), folder.size());
    const std::string name = folder.substr(begin, end - begin);
    if (name.empty()) continue;
    if (Uninterrupted([&] { return ::mkdirat(above.get(), name.c_str(), mode); }) == 0) {
      const Status status = GiveMode(above.get(), name.c_str(), mode);
      if (status != kSuccess) return status;
    } else if (errno != EEXIST) {
      const Status status = RegistryStatus(errno);
      struct stat entry {};
      // Who may not write into a folder is told so, also about what is there in it.
      if (::fstatat(above.get(), name.c_str(), &entry, 0) != 0) return status;
    }
    Descriptor next(::openat(above.get(), name.c_str(), kFolder));
    if (!next) return RegistryStatus(errno);
    above = std::move(next);
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

Status MakeRoot(const std::string& parent, const char* name, bool isMachines, const Deadline& deadline) {
  Status status = MakeFolders(parent, isMachines ? kMachineMode : kPrivateMode);
  std::string resolved;
  if (status == kSuccess) status = ResolveLinks(parent, resolved);
  // The folder of the roots has a lock of its own, so that two processes make a root once.
  LockedKey locked;
  if (status == kSuccess) status = LockKey(KeyFolder(resolved), O_RDONLY, deadline, locked);
  struct stat entry {};
  if (status != kSuccess || ::fstatat(locked.folder.get(), name, &entry, 0) == 0) return status;
  if (::fstat(locked.folder.get(), &entry) != 0) return RegistryStatus(errno);
  status = SyncFoldersAbove(locked.folder.get());
  if (status != kSuccess) return status;
  KeyId id;
  return MakeSubkey(locked, name, name, isMachines ? entry.st_mode & (S_ISGID | 0777) : kPrivateMode, deadline, id);
}

// Tells whether this user may make what is missing at a path: in the first folder above that is there.
bool MayMakeAt(std::string path) {
  Status status = kFileNotFound;
  while (status == kFileNotFound && !path.empty()) {
    path.resize(path.rfind('/'));
    status = StatusOf([&] { return ::faccessat(AT_FDCWD, (path + '/').c_str(), W_OK | X_OK, AT_EACCESS); });
  }
  return status == kSuccess;
}

PlaceReason FindReason() {
  if (::geteuid() == 0) return PlaceReason::Superuser;
  const std::string root = std::string(kMachineFolder) + "/HKEY_LOCAL_MACHINE";
  std::string resolved;
  Status status = ResolveLinks(root, resolved);
  if (status == kFileNotFound) return MayMakeAt(root) ? PlaceReason::MayMake : PlaceReason::MayNotMake;
  std::uint32_t granted = 0;
  if (status == kSuccess) status = GrantRights(KeyFolder(resolved), kLayerAccess, granted);
  return status == kSuccess ? PlaceReason::HasRights : PlaceReason::LacksRights;
}

// Settings must not change their place while a program runs, whatever becomes of the rights or of the user: the first
// answer in a process is the answer.
PlaceReason ReasonOfProcess() {
  static std::atomic<PlaceReason> decided = PlaceReason::Named;  // stands for none yet
  PlaceReason reason = decided;
  if (reason != PlaceReason::Named) return reason;
  const PlaceReason found = FindReason();
  return decided.compare_exchange_strong(reason, found) ? found : reason;
}

// Returns kRoots.size() for what is no root.
std::size_t IndexOf(KeyHandle root) {
  return static_cast<std::size_t>(std::find(kRoots.begin(), kRoots.end(), root) - kRoots.begin());
}

}  // namespace

Status RegistryRoots::Decide(const std::filesystem::path& folder, Parents& parents) {
  const std::filesystem::path chosen = folder.empty() ? std::filesystem::path(Environment("NERIO_REGISTRY")) : folder;
  if (chosen.empty()) {
    const PlaceReason reason = ReasonOfProcess();
    const Parent own{UserFolder()};
    parents = {IsMachinesPlace(reason) ? Parent{kMachineFolder, true} : own, own, reason};
    return kSuccess;
  }
  std::error_code error;
  std::string absolute = std::filesystem::absolute(chosen, error).native();
  if (error) return RegistryStatus(error.value());
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  parents = {{absolute}, {absolute}};
  return kSuccess;
}

Status RegistryRoots::Decided(Parents& parents) {
  std::unique_lock hold(MemoryMutex());
  if (!parents_) {
    hold.unlock();
    Parents decided;
    const Status status = Decide(folder_, decided);
    if (status != kSuccess) return status;
    hold.lock();
    if (!parents_) parents_ = decided;
  }
  parents = *parents_;
  return kSuccess;
}

Status RegistryRoots::ParentOf(KeyHandle root, Parent& parent) {
  if (IndexOf(root) == kRoots.size()) return kInvalidHandle;
  Parents parents;
  const Status status = Decided(parents);
  if (status != kSuccess) return status;
  parent = root == kHkeyCurrentUser ? parents.user : parents.machine;
  return parent.folder.empty() ? kFileNotFound : kSuccess;
}

Status RegistryRoots::Reason(PlaceReason& reason) {
  Parents parents;
  const Status status = Decided(parents);
  reason = parents.reason;
  return status;
}

std::string RegistryRoots::UnusedPlace(KeyHandle root) {
  Parents parents;
  if (root == kHkeyCurrentUser || IndexOf(root) == kRoots.size()) return "";
  if (Decided(parents) != kSuccess || parents.reason == PlaceReason::Named) return "";
  const std::string other = parents.machine.isMachines ? parents.user.folder : kMachineFolder;
  return other.empty() ? "" : other + '/' + kRootNames[IndexOf(root)];
}

std::string RegistryRoots::Known(KeyHandle root) {
  const std::size_t index = IndexOf(root);
  const std::scoped_lock hold(MemoryMutex());
  return index < found_.size() ? found_[index] : "";
}

// Returns whether this is something new.
bool RegistryRoots::Remember(KeyHandle root, const std::string& found) {
  const std::scoped_lock hold(MemoryMutex());
  std::string& before = found_[IndexOf(root)];
  const bool differs = before != found;
  before = found;
  return differs;
}

Status RegistryRoots::Place(KeyHandle root, std::string& folder) {
  Parent parent;
  const Status status = ParentOf(root, parent);
  if (status == kSuccess) folder = parent.folder + '/' + kRootNames[IndexOf(root)];
  return status;
}

Status RegistryRoots::Find(KeyHandle root, KeyFolder& folder) {
  std::string known = Known(root);
  if (known.empty()) {
    bool moved = false;
    const Status status = FindAgain(root, moved);
    if (status != kSuccess) return status;
    known = Known(root);
  }
  // Another thread may have found out meanwhile that it is gone.
  if (known.empty()) return kFileNotFound;
  folder = KeyFolder(std::move(known));
  return kSuccess;
}

Status RegistryRoots::FindAgain(KeyHandle root, bool& moved) {
  std::string place;
  std::string found;
  Status status = Place(root, place);
  if (status == kInvalidHandle) return status;
  if (status == kSuccess) status = ResolveLinks(place, found);
  moved = Remember(root, found);
  return status;
}

Status RegistryRoots::Make(KeyHandle root, const Deadline& deadline, bool& moved) {
  Status status = FindAgain(root, moved);
  if (status != kFileNotFound) return status;
  Parent parent;
  status = ParentOf(root, parent);
  if (status != kSuccess) return status;
  status = MakeRoot(parent.folder, kRootNames[IndexOf(root)], parent.isMachines, deadline);
  if (status == kAccessDenied || status == kWriteProtect) return kFileNotFound;
  if (status == kSuccess) status = FindAgain(root, moved);
  // Whoever made it, it was not there for this call.
  moved = status == kSuccess;
  return status;
}

bool RegistryRoots::MayMake(KeyHandle root) {
  std::string place;
  bool moved = false;
  return FindAgain(root, moved) == kFileNotFound && Place(root, place) == kSuccess && MayMakeAt(std::move(place));
}

}  // namespace nerio::platform
