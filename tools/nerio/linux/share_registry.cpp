#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/registry_roots.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/output.h"
#include "tools/nerio/registry_system.h"

namespace nerio::tool {
namespace {

using platform::Descriptor;
using platform::KeyFolder;
using platform::kFileNotFound;
using platform::kSuccess;
using platform::RegistryStatus;
using platform::Status;

// New keys take the group and these permissions of the key that they are made in.
constexpr unsigned kSharedMode = 02775;
constexpr unsigned kPermissions = 07777;
constexpr unsigned kOfValues = 0666;

// What opens a file or folder to a group.
struct Rights {
  gid_t group = 0;
  unsigned mode = 0;

  friend bool operator==(const Rights&, const Rights&) = default;
};

Rights RightsOf(const struct stat& entry) { return {entry.st_gid, entry.st_mode & kPermissions}; }

// The group goes first: changing it may take bits of the mode away.
Status Give(int file, const Rights& rights) {
  const auto owner = static_cast<uid_t>(-1);
  const Status status = platform::StatusOf([&] { return ::fchown(file, owner, rights.group); });
  return status == kSuccess ? platform::StatusOf([&] { return ::fchmod(file, rights.mode); }) : status;
}

// Opens one tree of keys to a group.
class Sharing {
 public:
  Sharing(gid_t group, SharedRegistry& shared) : wanted_{group, kSharedMode}, shared_(shared) {}

  // Opens a root and the keys below it that have its group and permissions; lower ones first, so that one that was
  // broken off goes on where it ended.
  Status Root(const KeyFolder& root, bool isNew) {
    struct stat entry {};
    if (::stat(root.path().c_str(), &entry) != 0) return Failed(root.path(), RegistryStatus(errno));
    before_ = RightsOf(entry);
    if (before_ == wanted_) return kSuccess;
    std::vector<KeyFolder> keys{root};
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Status status = AddSubkeys(KeyFolder(keys[i]), keys);
      if (status != kSuccess) return status;
    }
    for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
      const Status status = Key(*key, isNew);
      if (status != kSuccess) return status;
    }
    return kSuccess;
  }

  // Opens the folder that the roots are in. It is no key, but has a lock.
  Status Parent(const std::string& path) {
    struct stat entry {};
    if (::stat(path.c_str(), &entry) != 0) return Failed(path, RegistryStatus(errno));
    before_ = RightsOf(entry);
    return before_ == wanted_ ? kSuccess : Key(KeyFolder(path), false);
  }

 private:
  Status Failed(const std::string& path, Status status) {
    shared_.failed = ToUtf8(FromUtf8(path));
    return status;
  }

  Status AddSubkeys(const KeyFolder& key, std::vector<KeyFolder>& keys) {
    Descriptor folder;
    std::vector<platform::FolderEntry> entries;
    Status status = platform::OpenByPath(key.path(), O_RDONLY | O_DIRECTORY, folder);
    if (status == kSuccess) status = platform::ListFolder(folder.get(), entries);
    if (status != kSuccess) return status == kFileNotFound ? kSuccess : Failed(key.path(), status);
    for (const platform::FolderEntry& entry : entries) {
      if (!entry.isFolder || platform::IsReservedName(entry.name)) continue;
      keys.push_back(key);
      keys.back().Enter(entry.name);
    }
    return kSuccess;
  }

  Status Key(const KeyFolder& key, bool isNew) {
    Descriptor folder;
    Status status = platform::OpenByPath(key.path(), O_RDONLY | O_DIRECTORY, folder);
    if (status == kFileNotFound) return kSuccess;  // deleted since it was listed
    struct stat entry {};
    if (status == kSuccess && ::fstat(folder.get(), &entry) != 0) status = RegistryStatus(errno);
    if (status != kSuccess) return Failed(key.path(), status);
    if (RightsOf(entry) == wanted_) return kSuccess;
    Rights values = wanted_;
    values.mode &= kOfValues;
    Rights valuesBefore = before_;
    valuesBefore.mode &= kOfValues;
    Descriptor valuesFile;
    Descriptor lockFile;
    Rights found;
    // A key that was broken off here has its values opened already.
    if (RightsOf(entry) != before_ || !OpenFile(folder.get(), platform::kLockFileName, lockFile, found) ||
        !OpenFile(folder.get(), platform::kValuesFileName, valuesFile, found) ||
        (valuesFile && found != valuesBefore && found != values)) {
      shared_.kept.push_back(ToUtf8(FromUtf8(key.path())));
      return kSuccess;
    }
    if (valuesFile) status = Give(valuesFile.get(), values);
    const Rights lock{wanted_.group, platform::LockFileMode(wanted_.mode, true)};
    if (lockFile && status == kSuccess) status = Give(lockFile.get(), lock);
    if (status == kSuccess) status = Give(folder.get(), wanted_);
    if (status != kSuccess) return Failed(key.path(), status);
    if (!key.isRoot()) {
      ++shared_.keys;
    } else if (!isNew) {
      shared_.opened.push_back(ToUtf8(FromUtf8(key.path())));
    }
    return kSuccess;
  }

  // Opens one of a key's own files where it is there. @return false for anything else under its name; a file with a
  // second name may be any one of the system.
  static bool OpenFile(int folder, const char* name, Descriptor& file, Rights& rights) {
    const Status status = platform::OpenInside(folder, name, O_RDONLY, file);
    if (status == kFileNotFound) return true;
    struct stat entry {};
    if (status != kSuccess || ::fstat(file.get(), &entry) != 0) return false;
    rights = RightsOf(entry);
    return S_ISREG(entry.st_mode) && entry.st_nlink == 1;
  }

  const Rights wanted_;
  Rights before_;
  SharedRegistry& shared_;
};

// Returns the lowest folder above a path that the members of a group cannot go through; empty where there is none.
std::string ClosedFolderAbove(std::filesystem::path path, gid_t group) {
  while (path.has_relative_path()) {
    path = path.parent_path();
    struct stat entry {};
    if (::stat(path.c_str(), &entry) != 0) continue;
    const unsigned needed = entry.st_gid == group ? S_IXGRP : S_IXOTH;
    if ((entry.st_mode & needed) == 0) return ToUtf8(FromUtf8(path.native()));
  }
  return "";
}

// Finds the group, and refuses what makes no sense.
gid_t GroupOf(const std::string& name, platform::RegistryRoots& roots) {
  platform::PlaceReason reason{};
  if (::geteuid() != 0) throw Failure(Exit::kAccessDenied, "only root can make the machine's registry");
  if (roots.Reason(reason) != kSuccess || !platform::IsMachinesPlace(reason)) {
    throw Failure(Exit::kRefused, "NERIO_REGISTRY names another place than the machine's registry",
                  "unset it: nothing was made");
  }
  errno = 0;
  const ::group* const entry = ::getgrnam(name.c_str());
  if (entry == nullptr) {
    throw Failure(Exit::kNotFound, "there is no group \"" + name + "\"", "groupadd makes one: nothing was made");
  }
  return entry->gr_gid;
}

}  // namespace

platform::Status ShareRegistry(const std::string& group, SharedRegistry& shared) {
  platform::RegistryRoots roots({});
  const gid_t wanted = GroupOf(group, roots);
  Sharing sharing(wanted, shared);
  std::string place;
  for (const platform::KeyHandle root : platform::kRoots) {
    if (root == platform::kHkeyCurrentUser) continue;
    KeyFolder folder;
    bool moved = false;
    Status status = roots.Place(root, place);
    const bool isThere = roots.Find(root, folder) == kSuccess;
    if (status == kSuccess) status = roots.Make(root, platform::Deadline(platform::kChangeLimit), moved);
    if (status == kSuccess) status = roots.Find(root, folder);
    if (status != kSuccess) {
      shared.failed = ToUtf8(FromUtf8(place));
      return status;
    }
    if (!isThere) shared.made.push_back(ToUtf8(FromUtf8(folder.path())));
    status = sharing.Root(folder, !isThere);
    if (status != kSuccess) return status;
  }
  const std::filesystem::path parent = std::filesystem::canonical(std::filesystem::path(place).parent_path());
  shared.folder = ToUtf8(FromUtf8(parent.native()));
  shared.closed = ClosedFolderAbove(parent, wanted);
  const Status status = sharing.Parent(parent);
  Descriptor folder;
  if (status != kSuccess || platform::OpenByPath(parent, O_RDONLY | O_DIRECTORY, folder) != kSuccess) return status;
  return platform::StatusOf([&] { return ::syncfs(folder.get()); });
}

}  // namespace nerio::tool
