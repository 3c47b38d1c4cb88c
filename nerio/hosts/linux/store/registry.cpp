#include "nerio/hosts/linux/store/registry.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nerio/hosts/linux/store/access_rights.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/key_tree.h"
#include "nerio/hosts/linux/store/stored_key.h"

namespace nerio::platform {
namespace {

constexpr KeyHandle kFirstPredefined = 0x80000000;
/// Names longer than a key or value can have are merely not found, up to this length; longer ones are invalid.
constexpr std::size_t kMaxSearchedNameLength = 32766;

// Turns every exception into a return code. Nothing but lack of memory raises one here.
template <typename Call>
Status CatchLackOfMemory(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return kNotEnoughMemory;
  } catch (const std::length_error&) {
    return kNotEnoughMemory;
  }
}

// The length of a value's name is checked before anything else about the call.
Status CheckSearchedName(std::string_view name) {
  if (name.size() > kMaxSearchedNameLength) return kInvalidParameter;
  return name.size() > kMaxValueNameLength ? kFileNotFound : kSuccess;
}

// Tells whether a path is that of the values file in a folder, without making it.
bool IsFileOf(const KeyFolder& folder, std::string_view path) {
  constexpr std::size_t kEnd = 1 + sizeof kValuesFileName - 1;
  return path.size() == folder.path().size() + kEnd && path.starts_with(folder.path());
}

}  // namespace

// Finds what a handle stands for: of a root with the folder in which it is kept now, if there is one.
// @return `kInvalidHandle` with null.
Status LinuxRegistry::Find(KeyHandle handle, std::shared_ptr<const HandleTarget>& key) {
  HandleTarget root;
  if (handle >= kFirstPredefined) {
    root = {KeyFolder(), {}, kAllRights, handle};
  } else {
    key = handles_.Find(handle);
    if (!key) return kInvalidHandle;
    if (key->root == 0) return kSuccess;
    root = *key;
  }
  const Status status = roots_.Find(root.root, root.folder);
  key = std::make_shared<const HandleTarget>(std::move(root));
  return status;
}

// Makes a call on the key that a handle stands for, and once more when it was a root that is kept elsewhere by now, or
// that a change had to make first.
// @param change the deadline of a change, null for anything else.
template <typename Call>
Status LinuxRegistry::OnKey(KeyHandle handle, std::uint32_t right, const Deadline* change, Call call) {
  return CatchLackOfMemory([&] {
    std::shared_ptr<const HandleTarget> key;
    Status status = Find(handle, key);
    if (!key) return status;
    // What the handle was opened for comes before whether its key is still there.
    if (status == kSuccess || status == kFileNotFound) {
      const bool isAllowed = (key->access & right) == right;
      status = !isAllowed ? kAccessDenied : status == kSuccess ? call(*key) : status;
    }
    if (key->root == 0 || (status != kFileNotFound && status != kKeyDeleted)) return status;
    bool moved = false;
    const Status again =
        change != nullptr ? roots_.Make(key->root, *change, moved) : roots_.FindAgain(key->root, moved);
    if (again != kSuccess) return again;
    const std::shared_ptr<const HandleTarget> before = key;
    const Status found = Find(handle, key);
    // Another thread may have been the first to make it, or to find out where it is kept.
    if (!moved && (found != kSuccess || key->folder.path() == before->folder.path())) return status;
    return found == kSuccess ? call(*key) : found;
  });
}

// Makes a call on a key path below what a handle stands for. That this key is still there is checked before the path.
template <typename Call>
Status LinuxRegistry::OnPath(KeyHandle root, std::string_view path, const Deadline* change, Call call) {
  const Status status = OnKey(root, 0, change, [&](const HandleTarget& base) {
    std::vector<std::string_view> names;
    const Status there = CheckExists(base);
    const Status split = there == kSuccess ? SplitKeyPath(path, names) : there;
    return split == kSuccess ? call(base, names) : split;
  });
  if (status != kFileNotFound) return status;
  // Below a missing root there is nothing, but no path is no path there either.
  return CatchLackOfMemory([&] {
    std::vector<std::string_view> names;
    const Status split = SplitKeyPath(path, names);
    return split == kSuccess ? kFileNotFound : split;
  });
}

// Tells whether a handle stands for HKEY_CLASSES_ROOT itself.
bool LinuxRegistry::IsClassesRoot(KeyHandle handle) const {
  const std::shared_ptr<const HandleTarget> key = handles_.Find(handle);
  return handle == kHkeyClassesRoot || (key && key->root == kHkeyClassesRoot);
}

// Returns the root that a handle stands for when it is missing and this user may make it: to him it is empty. 0 otherwise.
KeyHandle LinuxRegistry::RootYetToBeMade(KeyHandle handle) {
  std::shared_ptr<const HandleTarget> key;
  Find(handle, key);
  return key && key->root != 0 && roots_.MayMake(key->root) ? key->root : 0;
}

// Returns what a call answers on such a root, and 2 for everything else that is missing.
Status LinuxRegistry::IfYetToBeMade(KeyHandle handle, Status answer) {
  return CatchLackOfMemory([&] { return RootYetToBeMade(handle) != 0 ? answer : kFileNotFound; });
}

Status LinuxRegistry::OpenPath(KeyHandle root, std::string_view path, std::uint32_t access, KeyHandle& opened) {
  const Status status =
      OnPath(root, path, nullptr, [&](const HandleTarget& base, const std::vector<std::string_view>& names) {
        HandleTarget key;
        const Status opening = OpenExistingKey(cache_, base, names, access, key);
        if (names.empty()) key.root = base.root;
        if (opening == kSuccess) opened = handles_.Add(std::move(key));
        return opening;
      });
  if (status != kFileNotFound || !path.empty()) return status;
  const KeyHandle missing = RootYetToBeMade(root);
  if (missing == 0) return status;
  opened = handles_.Add({KeyFolder(), {}, RightsOfCreator(access), missing});
  return kSuccess;
}

Status LinuxRegistry::OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t /*options*/, std::uint32_t access,
                              KeyHandle& opened) {
  if (root == 0) return kInvalidHandle;
  opened = 0;
  return CatchLackOfMemory([&] {
    std::string_view path = CutAtNul(subKey.bytes());
    // Opening takes one leading backslash there, and nothing else does.
    if (path.starts_with('\\') && IsClassesRoot(root)) path.remove_prefix(1);
    return OpenPath(root, path, access, opened);
  });
}

Status LinuxRegistry::CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                                const AnsiText& /*keyClass*/, std::uint32_t /*options*/, std::uint32_t access,
                                const SecurityAttributes& /*security*/, KeyHandle& created,
                                std::uint32_t& disposition) {
  if (reserved != 0) return kInvalidParameter;
  const Deadline deadline(kChangeLimit);
  return OnPath(root, subKey.bytes(), &deadline,
                [&](const HandleTarget& base, const std::vector<std::string_view>& names) {
                  HandleTarget key;
                  bool isNew = false;
                  const Status status = CreateOrOpenKey(cache_, base, names, access, deadline, key, isNew);
                  if (status != kSuccess) return status;
                  if (names.empty()) key.root = base.root;
                  created = handles_.Add(std::move(key));
                  disposition = isNew ? kRegCreatedNewKey : kRegOpenedExistingKey;
                  return kSuccess;
                });
}

Status LinuxRegistry::QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                                 std::uint32_t& size) {
  if (key == 0) return kInvalidHandle;
  type = kRegNone;
  const std::string_view wanted = CutAtNul(name.bytes());
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  return OnKey(key, kKeyQueryValue, nullptr, [&](const HandleTarget& opened) {
    ValueRecord value;
    ValuesFile values;
    bool found = false;
    const std::shared_ptr<const CachedKey> cached = cache_.Find(opened.folder);
    if (cached && cached->id == opened.id) {
      found = cached->Find(wanted, value);
    } else {
      const Status status = ReadKey(opened, Extent::Whole, values);
      if (status != kSuccess) return status;
      cache_.RecordRead(opened.folder);
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
  const std::string_view wanted = CutAtNul(name.bytes());
  if (wanted.size() > kMaxValueNameLength) return kInvalidParameter;
  const Deadline deadline(kChangeLimit);
  return OnKey(key, kKeySetValue, &deadline, [&](const HandleTarget& opened) {
    return StoreValue(cache_, opened, wanted, type, {data.data(), data.size()}, deadline);
  });
}

Status LinuxRegistry::DeleteKey(KeyHandle key, const AnsiText& subKey) {
  const Deadline deadline(kChangeLimit);
  const Status status =
      OnPath(key, subKey.bytes(), nullptr, [&](const HandleTarget& base, const std::vector<std::string_view>& names) {
        return RemoveKey(base, names, deadline);
      });
  const bool isItself = CutAtNul(subKey.bytes()).empty();
  return status == kFileNotFound && isItself ? IfYetToBeMade(key, kAccessDenied) : status;
}

Status LinuxRegistry::DeleteValue(KeyHandle key, const AnsiText& name) {
  if (key == 0) return kInvalidHandle;
  const std::string_view wanted = CutAtNul(name.bytes());
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  const Deadline deadline(kChangeLimit);
  return OnKey(key, kKeySetValue, nullptr,
               [&](const HandleTarget& opened) { return RemoveValue(cache_, opened, wanted, deadline); });
}

Status LinuxRegistry::CloseKey(KeyHandle key) {
  const bool wasOpen = handles_.Remove(key);
  // There is nothing to close about a predefined root, not even about one that does not exist.
  return wasOpen || key >= kFirstPredefined ? kSuccess : kInvalidHandle;
}

// Gives the subkeys of a key: those that the handle remembers, as long as they are current.
Status LinuxRegistry::SubkeysOf(KeyHandle handle, const HandleTarget& opened, std::shared_ptr<SubkeyList>& subkeys) {
  subkeys = handles_.Subkeys(handle);
  if (subkeys && subkeys->IsCurrent(opened.folder)) return kSuccess;
  const Status status = ListSubkeys(opened, subkeys);
  handles_.RememberSubkeys(handle, status == kSuccess && subkeys->lasts ? subkeys : nullptr);
  return status;
}

Status LinuxRegistry::EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) {
  const Status status = OnKey(key, kKeyEnumerateSubKeys, nullptr, [&](const HandleTarget& opened) {
    std::shared_ptr<SubkeyList> subkeys;
    const Status listing = SubkeysOf(key, opened, subkeys);
    if (listing != kSuccess) return listing;
    if (index >= subkeys->subkeys.size()) return kNoMoreItems;
    name = NameOfSubkey(*subkeys, index);
    return kSuccess;
  });
  return status == kFileNotFound ? IfYetToBeMade(key, kNoMoreItems) : status;
}

// Gives the values of a key in their order: those that the handle remembers, as long as they are current.
Status LinuxRegistry::ValuesOf(KeyHandle handle, const HandleTarget& opened, std::shared_ptr<const CachedKey>& values) {
  values = handles_.Values(handle);
  if (values && IsFileOf(opened.folder, values->file) && values->IsCurrent()) return kSuccess;
  bool isTooLarge = false;
  values = ReadWithStamp(opened.folder, {}, isTooLarge);
  if (values && !opened.folder.isRoot() && values->id != opened.id) values = nullptr;
  handles_.RememberValues(handle, values);
  if (values) return kSuccess;
  ValuesFile file;
  const Status status = ReadKey(opened, Extent::Whole, file);
  if (status != kSuccess) return status;
  const auto read = std::make_shared<CachedKey>();
  read->TakeValues(file.Values());
  values = read;
  return kSuccess;
}

Status LinuxRegistry::EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                                std::string& data) {
  const Status listing = OnKey(key, kKeyQueryValue, nullptr, [&](const HandleTarget& opened) {
    std::shared_ptr<const CachedKey> values;
    const Status status = ValuesOf(key, opened, values);
    if (status != kSuccess) return status;
    if (index >= values->slots.size()) return kNoMoreItems;
    const ValueRecord value = values->At(index);
    name = AnsiText(std::string(value.name));
    type = value.type;
    data = value.data;
    return kSuccess;
  });
  return listing == kFileNotFound ? IfYetToBeMade(key, kNoMoreItems) : listing;
}

Status LinuxRegistry::ReadValues(KeyHandle key, const std::function<void(const Value&)>& take) {
  const Status status = OnKey(key, kKeyQueryValue, nullptr, [&](const HandleTarget& opened) {
    ValuesFile file;
    const Status reading = ReadKey(opened, Extent::Whole, file);
    if (reading != kSuccess) return reading;
    for (const ValueRecord& value : file.Values()) take({value.name, value.type, value.data});
    return kSuccess;
  });
  return status == kFileNotFound ? IfYetToBeMade(key, kSuccess) : status;
}

Status LinuxRegistry::ReadSubkeys(KeyHandle key, std::vector<AnsiText>& names) {
  std::vector<AnsiText> read;
  const Status status = OnKey(key, kKeyEnumerateSubKeys, nullptr, [&](const HandleTarget& opened) {
    std::shared_ptr<SubkeyList> subkeys;
    const Status listing = ListSubkeys(opened, subkeys);
    return listing == kSuccess ? NamesOfSubkeys(*subkeys, read) : listing;
  });
  if (status != kSuccess && status != kFileNotFound) return status;
  const Status answer = status == kFileNotFound ? IfYetToBeMade(key, kSuccess) : status;
  if (answer == kSuccess) names = std::move(read);
  return answer;
}

Status LinuxRegistry::ChangeValues(KeyHandle key, std::span<ValueChange> changes) {
  for (ValueChange& change : changes) {
    change.name = CutAtNul(change.name);
    if (change.name.size() > kMaxValueNameLength) return kInvalidParameter;
  }
  const Deadline deadline(kChangeLimit);
  return OnKey(key, kKeySetValue, &deadline,
               [&](const HandleTarget& opened) { return StoreValues(cache_, opened, changes, deadline); });
}

}  // namespace nerio::platform
