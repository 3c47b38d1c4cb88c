#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "nerio/hosts/portable/text/fold_case.h"
#include "nerio/platform/registry_api.h"

namespace nerio::testing {

/// A whole registry in memory: the simplest model of what `RegistryApi` promises, for tests of what stands on it and to
/// compare other implementations with. It starts with the five predefined roots, all empty.
///
/// Names are those of code page 1252. Not for several threads.
class InMemoryRegistry final : public platform::RegistryApi {
 public:
  /// Every right that a key can grant, as every new key does.
  static constexpr std::uint32_t kAllRights = 0xF003F;

  InMemoryRegistry();

  /// Sets what the key `path` below a predefined root grants from now on; handles that are open keep what they have. An
  /// empty path is the root itself. A subkey is created only where its parent grants `kKeyCreateSubKey`, and a key is
  /// deleted only when it grants DELETE (0x10000).
  /// @throws std::logic_error when there is no such key.
  void SetRights(platform::KeyHandle root, const AnsiText& path, std::uint32_t rights);

  /// Returns the handle that the next open or creation gives; each one is `kHandleStep` above the one before.
  platform::KeyHandle NextHandle() const { return nextHandle_; }
  static constexpr platform::KeyHandle kHandleStep = 4;

  /// Returns how many handles are open.
  std::size_t OpenHandles() const { return handles_.size(); }

  platform::Status OpenKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t options,
                           std::uint32_t access, platform::KeyHandle& opened) override;
  platform::Status CreateKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                             const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                             const platform::SecurityAttributes& security, platform::KeyHandle& created,
                             std::uint32_t& disposition) override;
  platform::Status QueryValue(platform::KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                              std::uint32_t& size) override;
  platform::Status SetValue(platform::KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                            std::span<const char> data) override;
  platform::Status DeleteKey(platform::KeyHandle key, const AnsiText& subKey) override;
  platform::Status DeleteValue(platform::KeyHandle key, const AnsiText& name) override;
  platform::Status CloseKey(platform::KeyHandle key) override;
  platform::Status EnumKey(platform::KeyHandle key, std::uint32_t index, AnsiText& name) override;
  platform::Status EnumValue(platform::KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                             std::string& data) override;

 private:
  struct Value {
    std::uint32_t type = 0;
    std::string data;
  };

  struct Key {
    Key* parent = nullptr;  // null for a root
    std::uint32_t rights = kAllRights;
    bool deleted = false;
    std::map<std::string, std::shared_ptr<Key>, platform::AnsiNameOrder> subKeys;
    std::map<std::string, Value, platform::AnsiNameOrder> values;
  };

  struct OpenHandle {
    std::shared_ptr<Key> key;
    std::uint32_t granted = 0;
  };

  platform::Status Resolve(platform::KeyHandle handle, OpenHandle& found) const;
  platform::Status ResolveFor(platform::KeyHandle handle, std::uint32_t right, OpenHandle& found) const;
  platform::Status Open(const std::shared_ptr<Key>& key, std::uint32_t access, platform::KeyHandle& opened);
  platform::KeyHandle NewHandle(const std::shared_ptr<Key>& key, std::uint32_t granted);

  std::map<platform::KeyHandle, std::shared_ptr<Key>> roots_;
  std::map<platform::KeyHandle, OpenHandle> handles_;
  platform::KeyHandle nextHandle_ = 0x20;
};

}  // namespace nerio::testing
