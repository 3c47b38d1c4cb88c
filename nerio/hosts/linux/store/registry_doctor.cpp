#include "nerio/hosts/linux/store/registry_doctor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "nerio/hosts/linux/store/file_stamp.h"
#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/registry_roots.h"
#include "nerio/hosts/linux/store/stored_key.h"
#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

using Kind = RegistryFinding::Kind;

// Names below the root are ASCII; those above it may be anything.
std::string Shown(const std::string& path) { return ToUtf8(FromUtf8(path)); }

const char* KindOfFile(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFDIR:
      return "a folder";
    case S_IFLNK:
      return "a symbolic link";
    case S_IFIFO:
      return "a FIFO";
    case S_IFSOCK:
      return "a socket";
    default:
      return "a device";
  }
}

// Checks one key after the other.
class Check {
 public:
  Check(std::vector<RegistryFinding>& findings, const std::function<void(double)>& reached)
      : findings_(findings), reached_(reached) {}

  // Checks a root that is there, which is so much of all that is to be checked. One that is missing is in order; one that
  // cannot be reached is not.
  void Root(RegistryRoots& roots, KeyHandle root, double part) {
    KeyFolder folder;
    std::string place;
    const Status status = roots.Find(root, folder);
    if (status == kSuccess) {
      Tree(folder, part);
    } else if (status != kFileNotFound && roots.Place(root, place) == kSuccess) {
      AddFailure(place, status);
    }
  }

 private:
  // A key still to be checked, and how much of all it is with those below it.
  struct Pending {
    KeyFolder key;
    double part;
  };

  void Tree(const KeyFolder& root, double part) {
    // A stack of its own: keys may be nested deeper than calls.
    pending_.push_back({root, part});
    while (!pending_.empty()) {
      const Pending next = std::move(pending_.back());
      pending_.pop_back();
      const std::size_t others = pending_.size();
      Key(next.key);
      const std::size_t below = pending_.size() - others;
      const double each = next.part / static_cast<double>(below + 1);
      for (std::size_t i = others; i < pending_.size(); ++i) pending_[i].part = each;
      done_ += each;
      if (reached_) reached_(std::min(done_, 1.0));
    }
  }

  void Add(Kind kind, const std::string& path, std::uint64_t offset, std::string what) {
    findings_.push_back({kind, Shown(path), offset, std::move(what)});
  }

  // Says that a call failed on something that is there.
  void AddFailure(const std::string& path, Status status) {
    if (status == kAccessDenied) return Add(Kind::Refused, path, 0, "this user may not read it");
    Add(Kind::Damage, path, 0, "can not be read (" + std::to_string(NumberOf(status)) + ")");
  }

  void Key(const KeyFolder& key) {
    Descriptor folder;
    Status status = OpenByPath(key.path(), O_RDONLY | O_DIRECTORY, folder);
    if (status == kFileNotFound) return;  // deleted since it was listed
    std::vector<FolderEntry> entries;
    if (status == kSuccess) status = ListFolder(folder.get(), entries);
    if (status != kSuccess) return AddFailure(key.path(), status);
    if (!key.isRoot() && IsDeletedInPlace(folder.get(), ".")) {
      return Add(Kind::Leftover, key.path(), 0, "a deleted key, left behind by a process that was killed");
    }
    if (OwnFile(key, folder.get(), kLockFileName)) LockFile(key, folder.get());
    if (OwnFile(key, folder.get(), kValuesFileName)) Values(key);
    Entries(key, std::move(entries));
  }

  // Tells whether one of the key's own files is there and an ordinary one.
  bool OwnFile(const KeyFolder& key, int folder, const char* name) {
    struct stat entry {};
    if (::fstatat(folder, name, &entry, AT_SYMLINK_NOFOLLOW) != 0) {
      // A root that was made by hand gets its files when they are needed; a key may have been deleted meanwhile.
      if (key.isRoot() || !IsThere(key)) return false;
      // The next writer makes the lock file of what is a key.
      const bool isKey = ::fstatat(folder, kValuesFileName, &entry, AT_SYMLINK_NOFOLLOW) == 0;
      Add(isKey ? Kind::Leftover : Kind::Damage, key.File(name), 0, "is missing");
      return false;
    }
    if (S_ISREG(entry.st_mode)) return true;
    Add(Kind::Damage, key.File(name), 0, std::string(KindOfFile(entry.st_mode)) + " where a file belongs");
    return false;
  }

  static bool IsThere(const KeyFolder& key) {
    Descriptor folder;
    return OpenByPath(key.path(), O_PATH | O_DIRECTORY, folder) == kSuccess;
  }

  // Only who may change the key needs its lock, and may have it. The next change of its owner sets the mode right.
  void LockFile(const KeyFolder& key, int folder) {
    const std::string path = key.File(kLockFileName);
    if (CheckRights(key.path(), W_OK | X_OK) == kSuccess && CheckRights(path, R_OK | W_OK) == kAccessDenied)
      Add(Kind::Refused, path, 0, "this user may not lock it");
    struct stat above {};
    struct stat entry {};
    if (::fstat(folder, &above) != 0 || ::fstatat(folder, kLockFileName, &entry, AT_SYMLINK_NOFOLLOW) != 0) return;
    const unsigned wanted = LockFileMode(above.st_mode, entry.st_gid == above.st_gid);
    if ((entry.st_mode & 0777 & ~wanted) == 0 || entry.st_uid == ::geteuid()) return;
    Add(Kind::Exposed, path, 0,
        "can be locked by users who may not change the key, and so keep it from being changed; chmod go= mends it");
  }

  void Values(const KeyFolder& key) {
    const std::string path = key.File(kValuesFileName);
    ValuesFile values;
    const Status status = ReadKey(key, Extent::Whole, values);
    if (status == kFileNotFound) return;
    const Damage& damage = values.damage();
    if (status == kRegistryCorrupt && damage.what != nullptr) {
      Add(Kind::Damage, path, damage.offset, damage.what);
    } else if (status != kSuccess) {
      AddFailure(path, status);
    } else if (values.state() == RecordCursor::End::Incomplete) {
      Add(Kind::Leftover, path, damage.offset, "a value whose writing was cut off");
    } else if (IsCutFolderName(key.Name()) && FolderNameOfKey(values.header().spelling) != key.Name()) {
      Add(Kind::Damage, path, 0, "belongs to a key of another name");
    }
  }

  void Entries(const KeyFolder& key, std::vector<FolderEntry> entries) {
    std::sort(entries.begin(), entries.end(),
              [](const FolderEntry& left, const FolderEntry& right) { return left.name < right.name; });
    const std::size_t firstSubkey = pending_.size();
    for (const FolderEntry& entry : entries) {
      KeyFolder inside = key;
      inside.Enter(entry.name);
      if (IsReservedName(entry.name)) {
        if (entry.name != kValuesFileName && entry.name != kLockFileName) Leftover(key, inside);
      } else if (!entry.isFolder) {
        Add(Kind::Damage, inside.path(), 0, "not a folder, as every key is");
      } else if (!KeyNameOfFolder(entry.name) && !IsCutFolderName(entry.name)) {
        Add(Kind::Damage, inside.path(), 0, "no key has a folder of this name");
      } else {
        pending_.push_back({std::move(inside), 0});
      }
    }
    // What was pushed last is checked first.
    std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(firstSubkey), pending_.end());
  }

  // A writer at work has such a file or folder for a moment: no longer than it may wait for others, and never while
  // this holds the lock.
  void Leftover(const KeyFolder& key, const KeyFolder& left) {
    Descriptor folder;
    KeyLock lock;
    struct stat entry {};
    if (OpenByPath(key.path(), O_PATH | O_DIRECTORY, folder) != kSuccess) return;
    const bool quiet = lock.TryRead(folder.get());
    if (::fstatat(folder.get(), left.Name().c_str(), &entry, AT_SYMLINK_NOFOLLOW) != 0) return;
    if (!quiet && StampOfNow().seconds - entry.st_ctim.tv_sec <= kChangeLimit.count()) return;
    struct stat above {};
    const bool sameOwner = ::fstat(folder.get(), &above) == 0 && above.st_uid == entry.st_uid;
    Add(Kind::Leftover, left.path(), 0,
        left.Name().starts_with(kLeftoverPrefix) ? "set aside, not removed: no part of the key"
        : sameOwner                              ? "left behind by a process that was killed"
                    : "belongs to another user than the key; the next change sets it aside");
  }

  std::vector<RegistryFinding>& findings_;
  const std::function<void(double)>& reached_;
  std::vector<Pending> pending_;
  double done_ = 0;
};

}  // namespace

std::vector<RegistryPlace> RegistryPlaces(const HostOptions& options) {
  RegistryRoots roots(options.registryFolder);
  std::vector<RegistryPlace> places;
  for (const KeyHandle root : kRoots) {
    std::string folder;
    if (roots.Place(root, folder) != kSuccess) continue;
    struct stat entry {};
    places.push_back({root, Shown(folder), ::stat(folder.c_str(), &entry) == 0 && S_ISDIR(entry.st_mode)});
  }
  return places;
}

std::vector<RegistryFinding> CheckRegistry(const HostOptions& options, const std::function<void(double)>& reached) {
  RegistryRoots roots(options.registryFolder);
  std::vector<RegistryFinding> findings;
  Check check(findings, reached);
  const auto there = [&](KeyHandle root) {
    KeyFolder folder;
    return roots.Find(root, folder) == kSuccess;
  };
  const auto count = std::count_if(std::begin(kRoots), std::end(kRoots), there);
  for (const KeyHandle root : kRoots)
    check.Root(roots, root, 1.0 / static_cast<double>(std::max<std::ptrdiff_t>(count, 1)));
  return findings;
}

}  // namespace nerio::platform
