#include "nerio/hosts/linux/store/key_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "nerio/hosts/linux/store/access_rights.h"
#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/fork_safety.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/stored_key.h"
#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

// A folder's name that was cut may be that of another key: its true name is inside.
Status CheckCutName(const KeyFolder& key, std::string_view name) {
  ValuesFile values;
  const Status status = ReadKey(key, Extent::Header, values);
  if (status != kSuccess) return status;
  return FoldAnsi(values.header().spelling) == FoldAnsi(name) ? kSuccess : kFileNotFound;
}

// Goes down from one key to another.
Status Descend(const KeyFolder& base, const std::vector<std::string_view>& names, KeyFolder& key) {
  std::size_t length = base.path().size();
  for (const std::string_view name : names) length += 1 + name.size();
  key.Reserve(length);
  key = base;
  for (const std::string_view name : names) {
    const std::string folderName = FolderNameOfKey(name);
    key.Enter(folderName);
    if (!IsCutFolderName(folderName)) continue;
    const Status status = CheckCutName(key, name);
    if (status != kSuccess) return status;
  }
  return kSuccess;
}

// `CheckExists` for whoever holds the lock of this key or of one below it, so that no other process can delete it.
// This waits for no lock, which may be its own; nor does it need to, as a header never changes in place.
Status CheckExistsLocked(const HandleTarget& key) {
  if (key.folder.isRoot()) return kSuccess;
  Descriptor file;
  ValuesFile values;
  Status status = OpenByPath(key.folder.File(kValuesFileName), O_RDONLY, file);
  if (status == kSuccess) status = values.ReadHeader(file.get());
  if (status != kSuccess) return status == kFileNotFound ? kKeyDeleted : status;
  if (values.state() == RecordCursor::End::Damaged) return kRegistryCorrupt;
  return values.header().id == key.id && !values.header().keyDeleted ? kSuccess : kKeyDeleted;
}

// Creates one level below a key.
Status CreateLevel(const HandleTarget& base, const KeyFolder& parent, std::string_view name, const Deadline& deadline,
                   HandleTarget& key, bool& created) {
  LockedKey locked;
  Status status = LockKey(parent, O_RDONLY, deadline, locked);
  // While this holds the lock of a key below it, the key of the handle cannot be deleted.
  if (status == kSuccess) status = CheckExistsLocked(base);
  if (status != kSuccess) return status;
  struct stat entry {};
  const std::string folderName = FolderNameOfKey(name);
  SweepDeletedInPlace(locked, folderName);
  created = ::fstatat(locked.folder.get(), folderName.c_str(), &entry, AT_SYMLINK_NOFOLLOW) != 0;
  if (!created) return kSuccess;
  if (errno != ENOENT) return RegistryStatus(errno);
  // The new key would be lost with the one above it.
  status = SettleKey(locked.folder.get());
  if (status != kSuccess) return status;
  RemoveLeftovers(locked);
  if (::fstat(locked.folder.get(), &entry) != 0) return RegistryStatus(errno);
  return MakeSubkey(locked, folderName, name, entry.st_mode & (S_ISGID | 0777), deadline, key.id);
}

// Creates what is missing of a path. @param[out] created whether the last level was.
// @return 2 when a key of the path was deleted meanwhile.
Status CreateMissing(const HandleTarget& base, const std::vector<std::string_view>& names, const Deadline& deadline,
                     HandleTarget& key, bool& created) {
  key.folder = base.folder;
  for (const std::string_view name : names) {
    const KeyFolder parent = key.folder;
    const std::string folderName = FolderNameOfKey(name);
    key.folder.Enter(folderName);
    created = false;
    Descriptor folder;
    Status status = OpenByPath(key.folder.path(), O_PATH | O_DIRECTORY, folder);
    if (status == kSuccess && IsDeletedInPlace(folder.get(), ".")) status = kFileNotFound;
    if (status == kFileNotFound) status = CreateLevel(base, parent, name, deadline, key, created);
    if (status != kSuccess) return status;
    // Two long names whose cut folder names are the same: only one of them can be there.
    if (!created && IsCutFolderName(folderName) && CheckCutName(key.folder, name) == kFileNotFound) {
      return kRegistryIoFailed;
    }
  }
  return kSuccess;
}

// Gives the subkeys in a key's open folder, in the order of their folded names. Those whose folder's name was cut have
// their own already: it is only known from inside.
Status ListFolders(const KeyFolder& key, int folder, std::vector<SubkeyList::Subkey>& subkeys) {
  std::vector<FolderEntry> entries;
  const Status status = ListFolder(folder, entries);
  if (status != kSuccess) return status;
  std::vector<std::pair<std::string, SubkeyList::Subkey>> byName;
  const bool mayHoldDeleted = IsOnOverlay(folder);
  for (FolderEntry& entry : entries) {
    if (!entry.isFolder || (mayHoldDeleted && IsDeletedInPlace(folder, entry.name))) continue;
    std::optional<std::string> foldedName = KeyNameOfFolder(entry.name);
    std::string name;
    if (!foldedName && IsCutFolderName(entry.name)) {
      KeyFolder subkey = key;
      subkey.Enter(entry.name);
      ValuesFile values;
      if (ReadKey(subkey, Extent::Header, values) == kSuccess) {
        name = values.header().spelling;
        foldedName = FoldAnsi(name);
      }
    }
    if (!foldedName) continue;
    byName.emplace_back(std::move(*foldedName), SubkeyList::Subkey{std::move(entry.name), std::move(name)});
  }
  std::sort(byName.begin(), byName.end(),
            [](const auto& left, const auto& right) { return AnsiNameOrder()(left.first, right.first); });
  // A file system may list a folder twice that is removed and made again meanwhile.
  const auto isSame = [](const auto& left, const auto& right) {
    return left.second.folderName == right.second.folderName;
  };
  byName.erase(std::unique(byName.begin(), byName.end(), isSame), byName.end());
  subkeys.reserve(byName.size());
  for (auto& [foldedName, subkey] : byName) subkeys.push_back(std::move(subkey));
  return kSuccess;
}

// Reads the name of a subkey from inside its folder. @param[out] name untouched where it cannot be read, or is not that
// folder's. @return 2 when the subkey is gone.
Status ReadName(const KeyFolder& key, int folder, const std::string& folderName, std::string& name) {
  Descriptor file;
  ValuesFile values;
  Status status = OpenBelow(folder, folderName + '/' + kValuesFileName, O_RDONLY, file);
  if (status == kSuccess) status = values.ReadHeader(file.get());
  if (status != kSuccess || values.state() != RecordCursor::End::Whole) {
    KeyFolder subkey = key;
    subkey.Enter(folderName);
    status = ReadKey(subkey, Extent::Header, values);
  }
  const bool isKnown = status == kSuccess && FolderNameOfKey(values.header().spelling) == folderName;
  if (isKnown) name = values.header().spelling;
  return status;
}

// The name that counts where the one inside the folder does not.
AnsiText NameByFolder(const std::string& folderName) {
  return AnsiText(KeyNameOfFolder(folderName).value_or(folderName));
}

}  // namespace

Status CheckExists(const HandleTarget& key) {
  if (key.folder.isRoot()) return kSuccess;
  ValuesFile values;
  return ReadKey(key, Extent::Header, values);
}

Status OpenExistingKey(KeyCache& cache, const HandleTarget& base, const std::vector<std::string_view>& names,
                       std::uint32_t access, HandleTarget& key, bool acknowledges) {
  bool notSynced = false;
  Status status = Descend(base.folder, names, key.folder);
  if (status != kSuccess) return status;
  if (const auto cached = cache.Find(key.folder)) {
    key.id = cached->id;
  } else {
    ValuesFile values;
    status = ReadKey(key.folder, Extent::Header, values);
    if (status != kSuccess) return status;
    cache.RecordRead(key.folder);
    key.id = values.header().id;
    notSynced = values.header().keyNotSynced;
  }
  status = GrantRights(key.folder, access, key.access);
  if (status != kSuccess || !notSynced || !(acknowledges || AllowChanges(key.access))) return status;
  Descriptor folder;
  status = OpenByPath(key.folder.path(), O_PATH | O_DIRECTORY, folder);
  if (status == kSuccess) status = SettleKey(folder.get());
  // Where nothing can be synced, nothing that would rest on it can be written.
  return status == kWriteProtect && !acknowledges ? kSuccess : status;
}

Status CreateOrOpenKey(KeyCache& cache, const HandleTarget& base, const std::vector<std::string_view>& names,
                       std::uint32_t access, const Deadline& deadline, HandleTarget& key, bool& created) {
  for (;;) {
    created = false;
    Status status = CheckExists(base);
    if (status == kSuccess) status = CreateMissing(base, names, deadline, key, created);
    if (status == kSuccess && created) {
      key.access = RightsOfCreator(access);
      return kSuccess;
    }
    if (status == kSuccess) status = OpenExistingKey(cache, base, names, access, key, true);
    if (status != kFileNotFound) return status;
    // Another process deleted a key of the path after this one had found it; or the key of the handle, or the root itself.
    Descriptor root;
    status = OpenByPath(base.folder.path(), O_PATH | O_DIRECTORY, root);
    if (status != kSuccess) return status == kFileNotFound && !base.folder.isRoot() ? kKeyDeleted : status;
    if (deadline.HasPassed()) return kBusy;
  }
}

Status RemoveKey(const HandleTarget& base, const std::vector<std::string_view>& names, const Deadline& deadline) {
  if (names.empty() && base.folder.isRoot()) return kAccessDenied;
  KeyFolder folder;
  Status status = Descend(base.folder, names, folder);
  if (status != kSuccess) return status;
  const Status missing = names.empty() ? kKeyDeleted : kFileNotFound;

  LockedKey parent;
  status = LockKey(folder.Parent(), O_RDONLY, deadline, parent);
  if (status != kSuccess) return status == kFileNotFound ? missing : status;
  LockedKey key;
  status = LockKey(folder, O_RDONLY, deadline, key);
  if (status != kSuccess) return status == kFileNotFound ? missing : status;
  status = CheckExistsLocked(base);
  if (status != kSuccess) return status;

  Descriptor file;
  ValuesFile values;
  status = OpenInside(key.folder.get(), kValuesFileName, O_RDONLY, file);
  if (status == kSuccess) status = values.Read(file.get());
  // Who deleted the key where it lies may have been killed before the lock file was gone, too.
  if (status == kFileNotFound) return IsDeletedInPlace(key.folder.get(), ".") ? missing : kRegistryCorrupt;
  if (status == kSuccess && values.state() == RecordCursor::End::Damaged) return kRegistryCorrupt;
  if (status == kSuccess && values.header().keyDeleted) return missing;
  std::vector<FolderEntry> entries;
  if (status == kSuccess) status = ListFolder(key.folder.get(), entries);
  if (status != kSuccess) return status;
  // What somebody put there by hand counts as a subkey too: it is not for this to delete.
  const bool hasSubkeys = std::any_of(entries.begin(), entries.end(), [&](const FolderEntry& entry) {
    if (IsReservedName(entry.name)) return false;
    SweepDeletedInPlace(key, entry.name);
    struct stat left {};
    return ::fstatat(key.folder.get(), entry.name.c_str(), &left, AT_SYMLINK_NOFOLLOW) == 0;
  });
  if (hasSubkeys) return kAccessDenied;
  // Once it is renamed the key counts as deleted, so whoever could not finish must not begin.
  for (const KeyFolder& changed : {folder.Parent(), folder}) {
    status = CheckRights(changed.path(), W_OK | X_OK);
    if (status != kSuccess) return status;
  }
  return RemoveSubkey(parent, key, folder.Name());
}

bool SubkeyList::IsCurrent(const KeyFolder& folder) const {
  FileStamp now;
  return folder.path() == key.path() && ReadStamp(key.path(), now) && now == stamp && MayList(now, key.path());
}

Status ListSubkeys(const HandleTarget& base, std::shared_ptr<SubkeyList>& list) {
  list = std::make_shared<SubkeyList>();
  list->key = base.folder;
  const FileStamp now = StampOfNow();
  const bool isStamped = ReadStamp(base.folder.path(), list->stamp) && IsOldEnough(list->stamp, now);
  Descriptor folder;
  Status status = OpenByPath(base.folder.path(), O_RDONLY | O_DIRECTORY, folder);
  if (status == kSuccess) status = ListFolders(base.folder, folder.get(), list->subkeys);
  // Whose subkeys these are is checked after the listing: the key may be deleted, and created again, at any moment.
  if (status == kSuccess || status == kFileNotFound) {
    const Status there = CheckExists(base);
    if (there != kSuccess) return there;
  }
  if (status != kSuccess) return status;
  FileStamp listed;
  list->lasts = isStamped && !list->subkeys.empty() && HasReliableTimes(folder.get()) &&
                ReadStamp(folder.get(), listed) && listed == list->stamp;
  return kSuccess;
}

AnsiText NameOfSubkey(SubkeyList& list, std::size_t index) {
  constexpr std::size_t kMostNamesToRead = 256;
  std::vector<std::pair<std::size_t, std::string>> read;
  {
    const std::scoped_lock hold(MemoryMutex());
    const SubkeyList::Subkey& wanted = list.subkeys[index];
    if (!wanted.name.empty()) return AnsiText(wanted.name);
    const std::size_t most = wanted.isRefused ? 1 : list.namesToRead;
    if (!wanted.isRefused) list.namesToRead = std::min(2 * most, kMostNamesToRead);
    for (std::size_t i = index; i < std::min(index + most, list.subkeys.size()); ++i) {
      if (list.subkeys[i].name.empty()) read.push_back({i, {}});
    }
  }
  Descriptor folder;
  const Status status = OpenByPath(list.key.path(), O_PATH | O_DIRECTORY, folder);
  for (auto& [place, name] : read) {
    if (status == kSuccess) ReadName(list.key, folder.get(), list.subkeys[place].folderName, name);
  }
  const std::scoped_lock hold(MemoryMutex());
  for (auto& [place, name] : read) {
    SubkeyList::Subkey& subkey = list.subkeys[place];
    subkey.isRefused = name.empty() && subkey.name.empty();
    if (!name.empty()) subkey.name = std::move(name);
  }
  const SubkeyList::Subkey& wanted = list.subkeys[index];
  return wanted.name.empty() ? NameByFolder(wanted.folderName) : AnsiText(wanted.name);
}

Status NamesOfSubkeys(const SubkeyList& list, std::vector<AnsiText>& names) {
  Descriptor folder;
  const Status status = OpenByPath(list.key.path(), O_PATH | O_DIRECTORY, folder);
  if (status != kSuccess) return status == kFileNotFound ? kKeyDeleted : status;
  names.reserve(list.subkeys.size());
  for (const SubkeyList::Subkey& subkey : list.subkeys) {
    std::string name = subkey.name;
    if (name.empty() && ReadName(list.key, folder.get(), subkey.folderName, name) == kFileNotFound) continue;
    names.push_back(name.empty() ? NameByFolder(subkey.folderName) : AnsiText(std::move(name)));
  }
  return kSuccess;
}

}  // namespace nerio::platform
