#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"
#include "tools/nerio/registry/registry_key.h"

namespace nerio::tool {

/// Owns an open key, or nothing.
class KeyGuard {
 public:
  KeyGuard() = default;
  KeyGuard(platform::RegistryApi& registry, platform::KeyHandle taken) : registry_(&registry), handle_(taken) {}
  KeyGuard(KeyGuard&& other) noexcept : registry_(other.registry_), handle_(std::exchange(other.handle_, 0)) {}
  KeyGuard& operator=(KeyGuard&& other) noexcept {
    std::swap(registry_, other.registry_);
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~KeyGuard() {
    if (handle_ != 0) registry_->CloseKey(handle_);
  }

  platform::KeyHandle get() const { return handle_; }

 private:
  platform::RegistryApi* registry_ = nullptr;
  platform::KeyHandle handle_ = 0;
};

/// What stops a walk at a key that is listed and that no path opens (ERROR_NO_UNICODE_TRANSLATION): its name has
/// characters that the code page does not hold, and is listed with others in their place.
constexpr platform::Status kNameOutsideCodePage{1113};

/// One stored value.
struct StoredValue {
  AnsiText name;
  std::uint32_t type = 0;
  std::string data;

  friend bool operator==(const StoredValue&, const StoredValue&) = default;
};

/// One stored key of a branch, with its path below the branch's own root key.
struct StoredKey {
  RegistryKey key;
  std::vector<StoredValue> values;
};

/// Opens a key. @return the registry's return code; `opened` is left alone on failure.
platform::Status OpenKey(platform::RegistryApi& registry, const RegistryKey& key, std::uint32_t access,
                         KeyGuard& opened);

/// Opens a key, making it and the levels above it where they are missing.
/// @param[out] created whether the key was made by this call.
platform::Status CreateKey(platform::RegistryApi& registry, const RegistryKey& key, std::uint32_t access,
                           KeyGuard& opened, bool& created);

/// Reads a value of any size. @return the registry's return code; `value` is left alone on failure.
platform::Status ReadValue(platform::RegistryApi& registry, platform::KeyHandle key, const AnsiText& name,
                           StoredValue& value);

/// Stores a value. @return the registry's return code.
platform::Status StoreValue(platform::RegistryApi& registry, platform::KeyHandle key, const StoredValue& value);

/// Tells whether the registry reads and changes the values of a key all at once (`platform::WholeKeys`).
bool ReadsAtOnce(platform::RegistryApi& registry);

/// Lists the values of an open key, in the registry's order: out of one version of them where the registry reads them at
/// once, index by index otherwise.
platform::Status ListValues(platform::RegistryApi& registry, platform::KeyHandle key, std::vector<StoredValue>& values);

/// Returns the name of a value as the registry spells it; a name that is not to be found as it is.
AnsiText SpelledName(platform::RegistryApi& registry, platform::CodePage& codePage, const RegistryKey& key,
                     const AnsiText& name);

/// Lists the names of the keys directly below an open key, in the registry's order.
platform::Status ListKeys(platform::RegistryApi& registry, platform::KeyHandle key, std::vector<AnsiText>& names);

/// What a walk meets at one key.
struct Visit {
  RegistryKey key;
  std::size_t depth = 0;           ///< 0 for the key that the walk began with
  platform::KeyHandle handle = 0;  ///< open for the call only; 0 when it could not be opened
  platform::Status status{};       ///< why not
  double share = 0;                ///< of the walk that is done: below 1, and taken evenly over the keys of one level
};

/// Visits a key and everything below it, upper keys first, in the registry's order. It needs no stack of its own for
/// the depth of the tree. A key that cannot be opened, or whose subkeys cannot be listed, is visited with the reason
/// and not entered, `kNameOutsideCodePage` among others; one that vanished since its name was read is left out.
/// @param access rights to open each key with; listing subkeys is added.
/// @param visit answers whether to go on.
/// @param deepest keys that lie deeper below the first one are left out.
void WalkBranch(platform::RegistryApi& registry, const RegistryKey& key, std::uint32_t access,
                const std::function<bool(const Visit&)>& visit, std::size_t deepest = std::string::npos);

/// Reads a key with its values and everything below it, upper keys first.
/// @param[out] failed the key that stopped it.
/// @param reached told the share that is done, key by key.
/// @return the return code of the first call that failed, or 0.
platform::Status ReadBranch(platform::RegistryApi& registry, const RegistryKey& key, std::vector<StoredKey>& branch,
                            RegistryKey& failed, const std::function<void(double)>& reached = {});

}  // namespace nerio::tool
