#include "nerio/hosts/linux/store/registry.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
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

}  // namespace

// Finds what a handle stands for.
Status LinuxRegistry::Find(KeyHandle handle, HandleTarget& key) {
  if (handle < kFirstPredefined) return handles_.Find(handle, key) ? kSuccess : kInvalidHandle;
  key = {KeyFolder(), {}, kAllRights};
  return roots_.Find(handle, key.folder);
}

// Makes a call on the key that a handle stands for, and once more when it was a root that had to be made first.
template <typename Call>
Status LinuxRegistry::OnKey(KeyHandle handle, std::uint32_t right, Call call) {
  return CatchLackOfMemory([&] {
    HandleTarget key;
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

// Makes a call on a key path below what a handle stands for. That this key is still there is checked before the path.
template <typename Call>
Status LinuxRegistry::OnPath(KeyHandle root, const AnsiText& path, Call call) {
  return OnKey(root, 0, [&](const HandleTarget& base) {
    std::vector<std::string_view> names;
    Status status = CheckExists(base);
    if (status == kSuccess) status = SplitKeyPath(root, path.bytes(), names);
    return status == kSuccess ? call(base, names) : status;
  });
}

Status LinuxRegistry::OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t /*options*/, std::uint32_t access,
                              KeyHandle& opened) {
  if (root == 0) return kInvalidHandle;
  opened = 0;
  return OnPath(root, subKey, [&](const HandleTarget& base, const std::vector<std::string_view>& names) {
    HandleTarget key;
    const Status status = OpenExistingKey(cache_, base, names, access, key);
    if (status == kSuccess) opened = handles_.Add(std::move(key));
    return status;
  });
}

Status LinuxRegistry::CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                                const AnsiText& /*keyClass*/, std::uint32_t /*options*/, std::uint32_t access,
                                const SecurityAttributes& /*security*/, KeyHandle& created,
                                std::uint32_t& disposition) {
  if (reserved != 0) return kInvalidParameter;
  const Deadline deadline(kChangeLimit);
  return OnPath(root, subKey, [&](const HandleTarget& base, const std::vector<std::string_view>& names) {
    HandleTarget key;
    bool isNew = false;
    const Status status = CreateOrOpenKey(cache_, base, names, access, deadline, key, isNew);
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
  const std::string_view wanted = CutAtNul(name.bytes());
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  return OnKey(key, kKeyQueryValue, [&](const HandleTarget& opened) {
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
  return OnKey(key, kKeySetValue, [&](const HandleTarget& opened) {
    return StoreValue(opened, wanted, type, {data.data(), data.size()}, deadline);
  });
}

Status LinuxRegistry::DeleteKey(KeyHandle key, const AnsiText& subKey) {
  const Deadline deadline(kChangeLimit);
  return OnPath(key, subKey, [&](const HandleTarget& base, const std::vector<std::string_view>& names) {
    return RemoveKey(base, names, deadline);
  });
}

Status LinuxRegistry::DeleteValue(KeyHandle key, const AnsiText& name) {
  if (key == 0) return kInvalidHandle;
  const std::string_view wanted = CutAtNul(name.bytes());
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  const Deadline deadline(kChangeLimit);
  return OnKey(key, kKeySetValue, [&](const HandleTarget& opened) { return RemoveValue(opened, wanted, deadline); });
}

Status LinuxRegistry::CloseKey(KeyHandle key) {
  // There is nothing to close about a predefined root, not even about one that does not exist.
  if (key >= kFirstPredefined) return kSuccess;
  return handles_.Remove(key) ? kSuccess : kInvalidHandle;
}

Status LinuxRegistry::EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) {
  return OnKey(key, kKeyEnumerateSubKeys,
               [&](const HandleTarget& opened) { return NameOfSubkey(opened, index, name); });
}

Status LinuxRegistry::EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                                std::string& data) {
  return OnKey(key, kKeyQueryValue, [&](const HandleTarget& opened) {
    ValuesFile file;
    const Status status = ReadKey(opened, Extent::Whole, file);
    if (status != kSuccess) return status;
    const std::vector<ValueRecord> values = file.Values();
    if (index >= values.size()) return kNoMoreItems;
    name = AnsiText(std::string(values[index].name));
    type = values[index].type;
    data = values[index].data;
    return kSuccess;
  });
}

}  // namespace nerio::platform
