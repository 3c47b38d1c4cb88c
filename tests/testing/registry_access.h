#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nerio/platform/registry_api.h"

namespace nerio::testing {

// What tests do with a registry beside what they test. Everything that must succeed throws std::runtime_error naming
// the key when it does not.

/// The access that the layer asks for: READ_CONTROL and the six rights of a key.
constexpr std::uint32_t kLayerAccess = 0x2003F;

/// What an out-parameter holds before a call, to tell whether the call has touched it.
constexpr platform::KeyHandle kJunkHandle = 0xDEADBEEF;
constexpr std::uint32_t kJunkNumber = 0xA5A5A5A5;
constexpr char kJunkByte = '\xA5';

/// Makes a key, with all its levels, and closes it.
void MakeKey(platform::RegistryApi& registry, platform::KeyHandle root, const AnsiText& path);

/// Makes a key and stores exactly `data` as a value of it.
void StoreValue(platform::RegistryApi& registry, platform::KeyHandle root, const AnsiText& path, const AnsiText& name,
                std::uint32_t type, const std::string& data);

/// Deletes a key with everything below it, found by enumeration. A missing key stays missing.
void DeleteTree(platform::RegistryApi& registry, platform::KeyHandle root, const AnsiText& path);

/// Returns a value as "type:bytes in hexadecimal digits", or the status of what failed.
std::string ValueOf(platform::RegistryApi& registry, platform::KeyHandle key, const AnsiText& name);
std::string ValueOf(platform::RegistryApi& registry, platform::KeyHandle root, const AnsiText& path,
                    const AnsiText& name);

/// Says whether a key can be opened at all.
bool KeyExists(platform::RegistryApi& registry, platform::KeyHandle root, const AnsiText& path);

/// Returns the names of the subkeys in their order.
std::vector<AnsiText> SubKeysOf(platform::RegistryApi& registry, platform::KeyHandle key);

/// Returns the values as "name=type:bytes in hexadecimal digits" in their order.
std::vector<std::string> ValuesOf(platform::RegistryApi& registry, platform::KeyHandle key);

/// Returns everything below a key, one line for each key and value, in the order of enumeration.
std::vector<std::string> ContentsOf(platform::RegistryApi& registry, platform::KeyHandle root, const AnsiText& path);

}  // namespace nerio::testing
