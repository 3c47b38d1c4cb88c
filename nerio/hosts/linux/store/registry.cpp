#include "nerio/hosts/linux/store/registry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/registry_status.h"
#include "nerio/hosts/linux/store/stored_key.h"
#include "nerio/hosts/portable/text/ansi_fold.h"

namespace nerio::platform {
namespace {

constexpr KeyHandle kFirstPredefined = 0x80000000;
/// Names longer than a key or value can have are merely not found, up to this length; longer ones are invalid.
constexpr std::size_t kMaxSearchedNameLength = 32766;

constexpr std::uint32_t kDelete = 0x10000;
constexpr std::uint32_t kWriteDac = 0x40000;
constexpr std::uint32_t kWriteOwner = 0x80000;
constexpr std::uint32_t kMaximumAllowed = 0x02000000;
constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kGenericExecute = 0x20000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kKeyWrite = kReadControl | kKeySetValue | kKeyCreateSubKey;
constexpr std::uint32_t kAllRights = 0xF003F;
constexpr std::uint32_t kReadingRights = kKeyQueryValue | kKeyEnumerateSubKeys | kKeyNotify | kReadControl;
constexpr std::uint32_t kChangingRights =
    kKeySetValue | kKeyCreateSubKey | kKeyCreateLink | kDelete | kWriteDac | kWriteOwner;

// Turns every exception into a return code. Nothing but lack of memory raises one here.
template <typename Call>
Status Answer(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return kNotEnoughMemory;
  } catch (const std::length_error&) {
    return kNotEnoughMemory;
  }
}

std::uint32_t WithoutGenericRights(std::uint32_t access) {
  std::uint32_t specific = access & ~(kGenericAll | kGenericExecute | kGenericWrite | kGenericRead);
  if ((access & kGenericAll) != 0) specific |= kAllRights;
  if ((access & (kGenericRead | kGenericExecute)) != 0) specific |= kKeyRead;
  if ((access & kGenericWrite) != 0) specific |= kKeyWrite;
  return specific;
}

Status CheckFolderRights(const KeyPath& key, std::uint32_t access) {
  int rights = 0;
  if ((access & kReadingRights) != 0) rights |= R_OK | X_OK;
  if ((access & kChangingRights) != 0) rights |= W_OK | X_OK;
  return rights == 0 ? kSuccess : CheckRights(key.folder(), rights);
}

// Finds out which of the rights asked for a user has; all of them are needed, unless only as many as possible are.
Status GrantRights(const KeyPath& key, std::uint32_t asked, std::uint32_t& granted) {
  granted = WithoutGenericRights(asked);
  if ((granted & kMaximumAllowed) == 0) return CheckFolderRights(key, granted);
  for (const std::uint32_t most : {kAllRights, kKeyRead}) {
    granted = most;
    const Status status = CheckFolderRights(key, granted);
    if (status != kAccessDenied) return status;
  }
  return kAccessDenied;
}

// A folder's name that was cut may be that of another key: its true name is inside.
Status CheckCutName(const KeyPath& key, std::string_view name) {
  ValuesFile values;
  const Status status = ReadKey(key, Extent::Header, values);
  if (status != kSuccess) return status;
  return FoldAnsi(values.header().spelling) == FoldAnsi(name) ? kSuccess : kFileNotFound;
}

Status Descend(KeyPath& key, const std::vector<std::string_view>& names) {
  for (const std::string_view name : names) {
    const std::string folderName = FolderNameOfKey(name);
    key.Enter(folderName);
    if (!IsCutFolderName(folderName)) continue;
    const Status status = CheckCutName(key, name);
    if (status != kSuccess) return status;
  }
  return kSuccess;
}

Status CheckStillThere(const OpenedKey& key) {
  if (key.path.isRoot()) return kSuccess;
  ValuesFile values;
  return ReadKey(key, Extent::Header, values);
}

// The same for whoever holds the lock of this key or of one below it, so that no other process can delete it. This
// waits for no lock, which may be the own one; nor does it need to, as a header never changes in place.
Status CheckStillThereLocked(const OpenedKey& key) {
  if (key.path.isRoot()) return kSuccess;
  Descriptor file;
  ValuesFile values;
  Status status = OpenByPath(key.path.File(kValuesFileName), O_RDONLY, file);
  if (status == kSuccess) status = values.ReadHeader(file.get());
  if (status != kSuccess) return status == kFileNotFound ? kKeyDeleted : status;
  if (values.state() == RecordCursor::End::Damaged) return kRegistryCorrupt;
  return values.header().id == key.id ? kSuccess : kKeyDeleted;
}

// The length of the name of a value that is looked for counts before anything else about the call.
Status CheckSearchedName(std::string_view name) {
  if (name.size() > kMaxSearchedNameLength) return kInvalidParameter;
  return name.size() > kMaxValueNameLength ? kFileNotFound : kSuccess;
}

Status OpenExisting(KeyCache& cache, const OpenedKey& base, const std::vector<std::string_view>& names,
                    std::uint32_t access, OpenedKey& key) {
  key.path = base.path;
  Status status = Descend(key.path, names);
  if (status != kSuccess) return status;
  if (const auto kept = cache.FindStanding(key.path)) {
    key.id = kept->id;
  } else {
    ValuesFile values;
    status = ReadKey(key.path, Extent::Header, values);
    if (status != kSuccess) return status;
    cache.Learn(key.path);
    key.id = values.header().id;
  }
  return GrantRights(key.path, access, key.access);
}

// Creates one level below a key.
Status CreateLevel(const OpenedKey& base, const KeyPath& parent, std::string_view name, OpenedKey& key, bool& created) {
  LockedKey locked;
  Status status = LockKey(parent, LockKind::Write, O_RDONLY, locked);
  // While this holds the lock of a key below it, the key of the handle can not be deleted.
  if (status == kSuccess) status = CheckStillThereLocked(base);
  if (status != kSuccess) return status;
  struct stat entry {};
  const std::string folderName = FolderNameOfKey(name);
  created = ::fstatat(locked.folder.get(), folderName.c_str(), &entry, AT_SYMLINK_NOFOLLOW) != 0;
  if (!created) return kSuccess;
  if (errno != ENOENT) return RegistryStatus(errno);
  Sweep(locked);
  if (::fstat(locked.folder.get(), &entry) != 0) return RegistryStatus(errno);
  return MakeSubkey(locked, folderName, name, entry.st_mode & (S_ISGID | 0777), key.id);
}

// Creates what is missing of a path. @param[out] created whether the last level was.
// @return 2 when a key of the path was deleted meanwhile.
Status CreateMissing(const OpenedKey& base, const std::vector<std::string_view>& names, OpenedKey& key, bool& created) {
  key.path = base.path;
  for (const std::string_view name : names) {
    const KeyPath parent = key.path;
    const std::string folderName = FolderNameOfKey(name);
    key.path.Enter(folderName);
    created = false;
    Descriptor folder;
    Status status = OpenByPath(key.path.folder(), O_PATH | O_DIRECTORY, folder);
    if (status == kFileNotFound) status = CreateLevel(base, parent, name, key, created);
    if (status != kSuccess) return status;
    // Two long names whose cut folder names are the same: only one of them can be there.
    if (!created && IsCutFolderName(folderName) && CheckCutName(key.path, name) == kFileNotFound) {
      return kRegistryIoFailed;
    }
  }
  return kSuccess;
}

Status CreateOrOpen(KeyCache& cache, const OpenedKey& base, const std::vector<std::string_view>& names,
                    std::uint32_t access, OpenedKey& key, bool& created) {
  for (;;) {
    created = false;
    Status status = CheckStillThere(base);
    if (status == kSuccess) status = CreateMissing(base, names, key, created);
    if (status == kSuccess && created) {
      key.access = WithoutGenericRights(access);
      if ((key.access & kMaximumAllowed) != 0) key.access = kAllRights;
      return kSuccess;
    }
    if (status == kSuccess) status = OpenExisting(cache, base, names, access, key);
    if (status != kFileNotFound) return status;
    // Another process deleted a key of the path after this one had found it. Without names it was the root itself.
    Descriptor root;
    status = OpenByPath(base.path.folder(), O_PATH | O_DIRECTORY, root);
    if (status != kSuccess) return status;
  }
}

Status Delete(const OpenedKey& base, const std::vector<std::string_view>& names) {
  if (names.empty() && base.path.isRoot()) return kAccessDenied;
  KeyPath path = base.path;
  Status status = Descend(path, names);
  if (status != kSuccess) return status;
  const Status missing = names.empty() ? kKeyDeleted : kFileNotFound;

  LockedKey parent;
  status = LockKey(path.Parent(), LockKind::Write, O_RDONLY, parent);
  if (status != kSuccess) return status == kFileNotFound ? missing : status;
  LockedKey key;
  status = LockKey(path, LockKind::Write, O_RDONLY, key);
  if (status != kSuccess) return status == kFileNotFound ? missing : status;
  status = CheckStillThereLocked(base);
  if (status != kSuccess) return status;

  Descriptor file;
  ValuesFile values;
  status = OpenInside(key.folder.get(), kValuesFileName, O_RDONLY, file);
  if (status == kSuccess) status = values.Read(file.get());
  if (status == kFileNotFound || (status == kSuccess && values.state() == RecordCursor::End::Damaged)) {
    return kRegistryCorrupt;
  }
  std::vector<FolderEntry> entries;
  if (status == kSuccess) status = ListFolder(key.folder.get(), entries);
  if (status != kSuccess) return status;
  // What somebody put there by hand counts as a subkey too: it is not for this to delete.
  const bool hasSubkeys =
      std::any_of(entries.begin(), entries.end(), [](const FolderEntry& entry) { return !IsReservedName(entry.name); });
  if (hasSubkeys) return kAccessDenied;
  return RemoveSubkey(parent, key, path.FolderName());
}

struct ListedKey {
  std::string foldedName;
  std::string folderName;
};

// Gives the subkeys in the order of their folded names.
Status ListSubkeys(const KeyPath& key, std::vector<ListedKey>& subkeys) {
  Descriptor folder;
  Status status = OpenByPath(key.folder(), O_RDONLY | O_DIRECTORY, folder);
  std::vector<FolderEntry> entries;
  if (status == kSuccess) status = ListFolder(folder.get(), entries);
  if (status != kSuccess) return status;
  for (const FolderEntry& entry : entries) {
    if (!entry.isFolder) continue;
    std::optional<std::string> name = KeyNameOfFolder(entry.name);
    if (!name && IsCutFolderName(entry.name)) {
      KeyPath subkey = key;
      subkey.Enter(entry.name);
      ValuesFile values;
      if (ReadKey(subkey, Extent::Header, values) == kSuccess) name = FoldAnsi(values.header().spelling);
    }
    if (name) subkeys.push_back({std::move(*name), entry.name});
  }
  std::sort(subkeys.begin(), subkeys.end(), [](const ListedKey& left, const ListedKey& right) {
    return AnsiNameOrder()(left.foldedName, right.foldedName);
  });
  return kSuccess;
}

// Returns the name as its creator spelt it. Where that can not be read, or the folder was renamed by hand since, it is
// the name of the folder that counts.
std::string Spelling(KeyPath parent, const ListedKey& subkey) {
  parent.Enter(subkey.folderName);
  ValuesFile values;
  const bool known = ReadKey(parent, Extent::Header, values) == kSuccess;
  return known && FoldAnsi(values.header().spelling) == subkey.foldedName ? values.header().spelling
                                                                          : subkey.foldedName;
}

}  // namespace

// Finds what a handle stands for.
Status LinuxRegistry::Find(KeyHandle handle, OpenedKey& key) {
  if (handle < kFirstPredefined) return handles_.Find(handle, key) ? kSuccess : kInvalidHandle;
  key = {KeyPath(), {}, kAllRights};
  return roots_.Find(handle, key.path);
}

// Makes a call on the key that a handle stands for, and once more when it was a root that had to be made first.
template <typename Call>
Status LinuxRegistry::OnKey(KeyHandle handle, std::uint32_t right, Call call) {
  return Answer([&] {
    OpenedKey key;
    Status status = Find(handle, key);
    if (status != kSuccess) return status;
    // What the handle was opened for comes before whether its key is still there.
    status = (key.access & right) == right ? call(key) : kAccessDenied;
    const bool missing = status == kFileNotFound || status == kKeyDeleted;
    if (!missing || handle < kFirstPredefined) return status;
    bool moved = false;
    const Status again = roots_.FindAgain(handle, moved);
    if (again != kSuccess) return again;
    if (!moved) return status;
    status = Find(handle, key);
    return status == kSuccess ? call(key) : status;
  });
}

Status LinuxRegistry::OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t /*options*/, std::uint32_t access,
                              KeyHandle& opened) {
  if (root == 0) return kInvalidHandle;
  opened = 0;
  return OnKey(root, 0, [&](const OpenedKey& base) {
    std::vector<std::string_view> names;
    Status status = CheckStillThere(base);
    if (status == kSuccess) status = SplitKeyPath(root, subKey, names);
    OpenedKey key;
    if (status == kSuccess) status = OpenExisting(cache_, base, names, access, key);
    if (status == kSuccess) opened = handles_.Add(std::move(key));
    return status;
  });
}

Status LinuxRegistry::CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                                const AnsiText& /*keyClass*/, std::uint32_t /*options*/, std::uint32_t access,
                                const SecurityAttributes& /*security*/, KeyHandle& created,
                                std::uint32_t& disposition) {
  if (reserved != 0) return kInvalidParameter;
  return OnKey(root, 0, [&](const OpenedKey& base) {
    std::vector<std::string_view> names;
    Status status = CheckStillThere(base);
    if (status == kSuccess) status = SplitKeyPath(root, subKey, names);
    OpenedKey key;
    bool isNew = false;
    if (status == kSuccess) status = CreateOrOpen(cache_, base, names, access, key, isNew);
    if (status != kSuccess) return status;
    created = handles_.Add(std::move(key));
    disposition = isNew ? kRegCreatedNewKey : kRegOpenedExistingKey;
    return kSuccess;
  });
}

Status LinuxRegistry::QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                                 std::uint32_t& size) {
  if (key == 0) return kInvalidHandle;
  type = kRegNone;
  const std::string_view wanted = CutAtNul(name);
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  return OnKey(key, kKeyQueryValue, [&](const OpenedKey& opened) {
    ValueRecord value;
    ValuesFile values;
    bool found = false;
    const std::shared_ptr<const KeptKey> kept = cache_.FindStanding(opened.path);
    if (kept && kept->id == opened.id) {
      found = kept->Find(wanted, value);
    } else {
      const Status status = ReadKey(opened, Extent::Whole, values);
      if (status != kSuccess) return status;
      cache_.Learn(opened.path);
      found = values.Find(wanted, value);
    }
    if (!found) return kFileNotFound;
    type = value.type;
    const std::size_t offered = std::min<std::size_t>(size, data.size());
    size = static_cast<std::uint32_t>(value.data.size());
    // Without a buffer the call only asks for the size.
    if (data.data() == nullptr) return kSuccess;
    if (value.data.size() > offered) return kMoreData;
    std::copy(value.data.begin(), value.data.end(), data.begin());
    return kSuccess;
  });
}

Status LinuxRegistry::SetValue(KeyHandle key, const AnsiText& name, std::uint32_t /*reserved*/, std::uint32_t type,
                               std::span<const char> data) {
  if (key == 0) return kInvalidHandle;
  const std::string_view wanted = CutAtNul(name);
  if (wanted.size() > kMaxValueNameLength) return kInvalidParameter;
  return OnKey(key, kKeySetValue, [&](const OpenedKey& opened) {
    return StoreValue(opened, wanted, type, {data.data(), data.size()});
  });
}

Status LinuxRegistry::DeleteKey(KeyHandle key, const AnsiText& subKey) {
  return OnKey(key, 0, [&](const OpenedKey& base) {
    std::vector<std::string_view> names;
    Status status = CheckStillThere(base);
    if (status == kSuccess) status = SplitKeyPath(key, subKey, names);
    return status == kSuccess ? Delete(base, names) : status;
  });
}

Status LinuxRegistry::DeleteValue(KeyHandle key, const AnsiText& name) {
  if (key == 0) return kInvalidHandle;
  const std::string_view wanted = CutAtNul(name);
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  return OnKey(key, kKeySetValue, [&](const OpenedKey& opened) { return RemoveValue(opened, wanted); });
}

Status LinuxRegistry::CloseKey(KeyHandle key) {
  // There is nothing to close about a predefined root, not even about one that does not exist.
  if (key >= kFirstPredefined) return kSuccess;
  return handles_.Remove(key) ? kSuccess : kInvalidHandle;
}

Status LinuxRegistry::EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) {
  return OnKey(key, kKeyEnumerateSubKeys, [&](const OpenedKey& opened) {
    std::vector<ListedKey> subkeys;
    Status status = ListSubkeys(opened.path, subkeys);
    // Whose subkeys these are counts behind the listing: the key may be deleted, and made anew, at any moment.
    if (status == kSuccess || status == kFileNotFound) {
      const Status there = CheckStillThere(opened);
      if (there != kSuccess) return there;
    }
    if (status != kSuccess) return status;
    if (index >= subkeys.size()) return kNoMoreItems;
    name = Spelling(opened.path, subkeys[index]);
    return kSuccess;
  });
}

Status LinuxRegistry::EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                                std::string& data) {
  return OnKey(key, kKeyQueryValue, [&](const OpenedKey& opened) {
    ValuesFile file;
    const Status status = ReadKey(opened, Extent::Whole, file);
    if (status != kSuccess) return status;
    const std::vector<ValueRecord> values = file.Values();
    if (index >= values.size()) return kNoMoreItems;
    name = values[index].name;
    type = values[index].type;
    data = values[index].data;
    return kSuccess;
  });
}

}  // namespace nerio::platform
