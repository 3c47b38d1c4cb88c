#include "tests/testing/in_memory_registry.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

constexpr std::size_t kLongestKeyName = 256;
constexpr std::size_t kLongestValueName = 16383;
// From here on a value name is refused even where it is only looked for.
constexpr std::size_t kRefusedValueName = 32767;
constexpr std::uint32_t kDelete = 0x10000;
constexpr std::uint32_t kMaximumAllowed = 0x2000000;
constexpr KeyHandle kFirstPredefined = 0x80000000;

std::string_view UpToNul(std::string_view name) { return name.substr(0, name.find('\0')); }

// Parts a path into its levels; empty ones, of doubled and trailing separators, do not count.
Status SplitPath(std::string_view path, std::vector<std::string_view>& levels) {
  path = UpToNul(path);
  if (path.starts_with('\\')) return kBadPathname;
  while (!path.empty()) {
    const std::string_view level = path.substr(0, path.find('\\'));
    if (level.size() > kLongestKeyName) return kInvalidParameter;
    if (!level.empty()) levels.push_back(level);
    path.remove_prefix(std::min(path.size(), level.size() + 1));
  }
  return kSuccess;
}

// The specific rights that were asked for, and those that generic ones stand for.
std::uint32_t SpecificRights(std::uint32_t access) {
  constexpr std::uint32_t kGenericReadOrExecute = 0xA0000000;
  constexpr std::uint32_t kGenericWrite = 0x40000000;
  constexpr std::uint32_t kGenericAll = 0x10000000;
  std::uint32_t rights = access & 0x0DFFFFFF;
  if ((access & kGenericReadOrExecute) != 0) rights |= kKeyRead;
  if ((access & kGenericWrite) != 0) rights |= kReadControl | kKeySetValue | kKeyCreateSubKey;
  if ((access & kGenericAll) != 0) rights |= 0xF003F;
  return rights;
}

// The length of a value's name counts before anything else about the call.
Status CheckSearchedName(std::string_view name) {
  if (name.size() >= kRefusedValueName) return kInvalidParameter;
  return name.size() > kLongestValueName ? kFileNotFound : kSuccess;
}

}  // namespace

InMemoryRegistry::InMemoryRegistry() {
  for (const KeyHandle root : {kHkeyClassesRoot, kHkeyCurrentUser, kHkeyLocalMachine, kHkeyUsers, kHkeyCurrentConfig}) {
    roots_[root] = std::make_shared<Key>();
  }
}

void InMemoryRegistry::SetRights(KeyHandle root, const AnsiText& path, std::uint32_t rights) {
  std::vector<std::string_view> levels;
  if (!roots_.contains(root) || SplitPath(path.bytes(), levels) != kSuccess)
    throw std::logic_error("no path: " + path.bytes());
  Key* key = roots_.at(root).get();
  for (const std::string_view level : levels) {
    const auto found = key->subKeys.find(level);
    if (found == key->subKeys.end()) throw std::logic_error("no key: " + path.bytes());
    key = found->second.get();
  }
  key->rights = rights;
}

Status InMemoryRegistry::Resolve(KeyHandle handle, OpenHandle& found) const {
  if (const auto root = roots_.find(handle); root != roots_.end()) {
    found = {root->second, root->second->rights};
    return kSuccess;
  }
  const auto open = handles_.find(handle);
  if (open == handles_.end()) return kInvalidHandle;
  if (open->second.key->deleted) return kKeyDeleted;
  found = open->second;
  return kSuccess;
}

Status InMemoryRegistry::ResolveFor(KeyHandle handle, std::uint32_t right, OpenHandle& found) const {
  // What the handle was opened for comes before whether its key is still there.
  const auto open = handles_.find(handle);
  if (open != handles_.end() && (open->second.granted & right) != right) return kAccessDenied;
  const Status status = Resolve(handle, found);
  if (status != kSuccess) return status;
  return (found.granted & right) == right ? kSuccess : kAccessDenied;
}

KeyHandle InMemoryRegistry::NewHandle(const std::shared_ptr<Key>& key, std::uint32_t granted) {
  // A number is never used again, so a handle that was closed stays invalid.
  const KeyHandle handle = nextHandle_;
  nextHandle_ += kHandleStep;
  handles_[handle] = {key, granted};
  return handle;
}

Status InMemoryRegistry::Open(const std::shared_ptr<Key>& key, std::uint32_t access, KeyHandle& opened) {
  const std::uint32_t wanted = SpecificRights(access);
  if ((wanted & ~key->rights) != 0) return kAccessDenied;
  opened = NewHandle(key, (access & kMaximumAllowed) != 0 ? key->rights : wanted);
  return kSuccess;
}

Status InMemoryRegistry::OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t, std::uint32_t access,
                                 KeyHandle& opened) {
  if (root == 0) return kInvalidHandle;
  opened = 0;
  OpenHandle base;
  if (const Status status = Resolve(root, base); status != kSuccess) return status;
  std::vector<std::string_view> levels;
  std::string_view path = UpToNul(subKey.bytes());
  // Opening takes one leading backslash there, and nothing else does.
  if (path.starts_with('\\') && base.key == roots_.at(kHkeyClassesRoot)) path.remove_prefix(1);
  if (const Status status = SplitPath(path, levels); status != kSuccess) return status;
  std::shared_ptr<Key> key = base.key;
  for (const std::string_view level : levels) {
    const auto found = key->subKeys.find(level);
    if (found == key->subKeys.end()) return kFileNotFound;
    key = std::shared_ptr<Key>(found->second);
  }
  return Open(key, access, opened);
}

Status InMemoryRegistry::CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved, const AnsiText&,
                                   std::uint32_t, std::uint32_t access, const SecurityAttributes&, KeyHandle& created,
                                   std::uint32_t& disposition) {
  if (reserved != 0) return kInvalidParameter;
  OpenHandle base;
  if (const Status status = Resolve(root, base); status != kSuccess) return status;
  std::vector<std::string_view> levels;
  if (const Status status = SplitPath(subKey.bytes(), levels); status != kSuccess) return status;
  std::shared_ptr<Key> key = base.key;
  auto level = levels.begin();
  for (; level != levels.end(); ++level) {
    const auto found = key->subKeys.find(*level);
    if (found == key->subKeys.end()) break;
    key = std::shared_ptr<Key>(found->second);
  }
  if (level == levels.end()) {
    const Status status = Open(key, access, created);
    if (status == kSuccess) disposition = kRegOpenedExistingKey;
    return status;
  }
  if ((key->rights & kKeyCreateSubKey) == 0) return kAccessDenied;
  for (; level != levels.end(); ++level) {
    const auto added = std::make_shared<Key>();
    added->parent = key.get();
    key->subKeys.emplace(*level, added);
    key = added;
  }
  disposition = kRegCreatedNewKey;
  return Open(key, access, created);
}

Status InMemoryRegistry::QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                                    std::uint32_t& size) {
  if (key == 0) return kInvalidHandle;
  type = kRegNone;
  const std::string_view wanted = UpToNul(name.bytes());
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  OpenHandle open;
  if (const Status status = ResolveFor(key, kKeyQueryValue, open); status != kSuccess) return status;
  const auto found = open.key->values.find(wanted);
  if (found == open.key->values.end()) return kFileNotFound;
  const Value& value = found->second;
  const std::size_t offered = std::min<std::size_t>(size, data.size());
  type = value.type;
  size = static_cast<std::uint32_t>(value.data.size());
  if (value.data.size() > offered) return kMoreData;
  std::copy(value.data.begin(), value.data.end(), data.begin());
  return kSuccess;
}

Status InMemoryRegistry::SetValue(KeyHandle key, const AnsiText& name, std::uint32_t, std::uint32_t type,
                                  std::span<const char> data) {
  if (key == 0) return kInvalidHandle;
  const std::string_view wanted = UpToNul(name.bytes());
  if (wanted.size() > kLongestValueName) return kInvalidParameter;
  OpenHandle open;
  if (const Status status = ResolveFor(key, kKeySetValue, open); status != kSuccess) return status;
  // A value that is there keeps the spelling of its name.
  open.key->values[std::string(wanted)] = {type, std::string(data.begin(), data.end())};
  return kSuccess;
}

Status InMemoryRegistry::DeleteKey(KeyHandle key, const AnsiText& subKey) {
  OpenHandle base;
  if (const Status status = Resolve(key, base); status != kSuccess) return status;
  std::vector<std::string_view> levels;
  if (const Status status = SplitPath(subKey.bytes(), levels); status != kSuccess) return status;
  Key* doomed = base.key.get();
  for (const std::string_view level : levels) {
    const auto found = doomed->subKeys.find(level);
    if (found == doomed->subKeys.end()) return kFileNotFound;
    doomed = found->second.get();
  }
  if (doomed->parent == nullptr || !doomed->subKeys.empty() || (doomed->rights & kDelete) == 0) return kAccessDenied;
  doomed->deleted = true;
  std::erase_if(doomed->parent->subKeys, [doomed](const auto& entry) { return entry.second.get() == doomed; });
  return kSuccess;
}

Status InMemoryRegistry::DeleteValue(KeyHandle key, const AnsiText& name) {
  if (key == 0) return kInvalidHandle;
  const std::string_view wanted = UpToNul(name.bytes());
  if (const Status status = CheckSearchedName(wanted); status != kSuccess) return status;
  OpenHandle open;
  if (const Status status = ResolveFor(key, kKeySetValue, open); status != kSuccess) return status;
  const auto found = open.key->values.find(wanted);
  if (found == open.key->values.end()) return kFileNotFound;
  open.key->values.erase(found);
  return kSuccess;
}

Status InMemoryRegistry::CloseKey(KeyHandle key) {
  if (key >= kFirstPredefined) return kSuccess;
  return handles_.erase(key) != 0 ? kSuccess : kInvalidHandle;
}

Status InMemoryRegistry::EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) {
  OpenHandle open;
  if (const Status status = ResolveFor(key, kKeyEnumerateSubKeys, open); status != kSuccess) return status;
  if (index >= open.key->subKeys.size()) return kNoMoreItems;
  name = AnsiText(std::next(open.key->subKeys.begin(), static_cast<std::ptrdiff_t>(index))->first);
  return kSuccess;
}

Status InMemoryRegistry::EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                                   std::string& data) {
  OpenHandle open;
  if (const Status status = ResolveFor(key, kKeyQueryValue, open); status != kSuccess) return status;
  if (index >= open.key->values.size()) return kNoMoreItems;
  const auto found = std::next(open.key->values.begin(), static_cast<std::ptrdiff_t>(index));
  name = AnsiText(found->first);
  type = found->second.type;
  data = found->second.data;
  return kSuccess;
}

}  // namespace nerio::testing
