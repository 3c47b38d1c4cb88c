#include "tests/testing/registry_access.h"

#include <stdexcept>

#include "tests/testing/ansi_literal.h"
#include "tests/testing/tables.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

[[noreturn]] void Broken(const std::string& call, const AnsiText& path, Status status) {
  throw std::runtime_error(call + " of \"" + path.bytes() + "\" answered " + std::to_string(NumberOf(status)));
}

// An open key of a test, closed at the end of its scope.
class ScopedKey {
 public:
  explicit ScopedKey(RegistryApi& registry) : registry_(registry) {}
  ScopedKey(const ScopedKey&) = delete;
  ScopedKey& operator=(const ScopedKey&) = delete;
  ~ScopedKey() {
    if (handle_ != 0) registry_.CloseKey(handle_);
  }

  Status Open(KeyHandle root, const AnsiText& path, std::uint32_t access) {
    const Status status = registry_.OpenKey(root, path, kRegOptionNonVolatile, access, handle_);
    if (status != kSuccess) handle_ = 0;
    return status;
  }
  void Create(KeyHandle root, const AnsiText& path) {
    std::uint32_t disposition = 0;
    const Status status =
        registry_.CreateKey(root, path, 0, ""_ansi, kRegOptionNonVolatile, kLayerAccess, {}, handle_, disposition);
    if (status == kSuccess) return;
    handle_ = 0;
    Broken("creation", path, status);
  }
  KeyHandle handle() const { return handle_; }

 private:
  RegistryApi& registry_;
  KeyHandle handle_ = 0;
};

}  // namespace

void MakeKey(RegistryApi& registry, KeyHandle root, const AnsiText& path) { ScopedKey(registry).Create(root, path); }

void StoreValue(RegistryApi& registry, KeyHandle root, const AnsiText& path, const AnsiText& name, std::uint32_t type,
                const std::string& data) {
  ScopedKey key(registry);
  key.Create(root, path);
  const Status status = registry.SetValue(key.handle(), name, 0, type, data);
  if (status != kSuccess) Broken("writing a value", path, status);
}

void DeleteTree(RegistryApi& registry, KeyHandle root, const AnsiText& path) {
  {
    ScopedKey key(registry);
    const Status opening = key.Open(root, path, kKeyRead);
    if (opening == kFileNotFound) return;
    if (opening != kSuccess) Broken("opening", path, opening);
    for (const AnsiText& name : SubKeysOf(registry, key.handle())) DeleteTree(registry, key.handle(), name);
  }
  const Status deletion = registry.DeleteKey(root, path);
  if (deletion != kSuccess) Broken("deletion", path, deletion);
}

std::string ValueOf(RegistryApi& registry, KeyHandle key, const AnsiText& name) {
  std::string data;
  std::uint32_t type = 0;
  std::uint32_t size = 4096;
  Status status = kMoreData;
  while (status == kMoreData) {
    data.assign(size, '\xA5');
    status = registry.QueryValue(key, name, type, data, size);
  }
  if (status != kSuccess) return std::to_string(NumberOf(status));
  return std::to_string(type) + ":" + ToHex(data.substr(0, size));
}

std::string ValueOf(RegistryApi& registry, KeyHandle root, const AnsiText& path, const AnsiText& name) {
  ScopedKey key(registry);
  const Status status = key.Open(root, path, kKeyRead);
  return status == kSuccess ? ValueOf(registry, key.handle(), name) : std::to_string(NumberOf(status));
}

bool KeyExists(RegistryApi& registry, KeyHandle root, const AnsiText& path) {
  return ScopedKey(registry).Open(root, path, 0) == kSuccess;
}

std::vector<AnsiText> SubKeysOf(RegistryApi& registry, KeyHandle key) {
  std::vector<AnsiText> names;
  AnsiText name;
  Status status = kSuccess;
  while ((status = registry.EnumKey(key, static_cast<std::uint32_t>(names.size()), name)) == kSuccess) {
    names.push_back(name);
  }
  if (status != kNoMoreItems) Broken("enumeration of keys", ""_ansi, status);
  return names;
}

std::vector<std::string> ValuesOf(RegistryApi& registry, KeyHandle key) {
  std::vector<std::string> values;
  AnsiText name;
  std::uint32_t type = 0;
  std::string data;
  Status status = kSuccess;
  while ((status = registry.EnumValue(key, static_cast<std::uint32_t>(values.size()), name, type, data)) == kSuccess) {
    values.push_back(name.bytes() + "=" + std::to_string(type) + ":" + ToHex(data));
  }
  if (status != kNoMoreItems) Broken("enumeration of values", ""_ansi, status);
  return values;
}

std::vector<std::string> ContentsOf(RegistryApi& registry, KeyHandle root, const AnsiText& path) {
  ScopedKey key(registry);
  const Status status = key.Open(root, path, kKeyRead);
  if (status != kSuccess) Broken("opening", path, status);
  std::vector<std::string> lines;
  for (const std::string& value : ValuesOf(registry, key.handle())) lines.push_back("  " + value);
  for (const AnsiText& name : SubKeysOf(registry, key.handle())) {
    lines.push_back("\\" + name.bytes());
    for (const std::string& line : ContentsOf(registry, key.handle(), name))
      lines.push_back("\\" + name.bytes() + line);
  }
  return lines;
}

}  // namespace nerio::testing
