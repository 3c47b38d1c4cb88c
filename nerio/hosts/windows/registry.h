#pragma once

#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// Reaches the system's registry: each method is one call of advapi32. A 32-bit process on 64-bit Windows sees the
/// 32-bit view of HKEY_LOCAL_MACHINE\Software, as the system redirects it.
class WindowsRegistry final : public RegistryApi {
 public:
  Status OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                 KeyHandle& opened) override;
  Status CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved, const AnsiText& keyClass,
                   std::uint32_t options, std::uint32_t access, const SecurityAttributes& security, KeyHandle& created,
                   std::uint32_t& disposition) override;
  Status QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                    std::uint32_t& size) override;
  /// The bytes are copied so that one other than NUL follows them: the system stores one byte more when the data of a
  /// string type ends without a NUL and the byte after it in memory happens to be one.
  Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                  std::span<const char> data) override;
  Status DeleteKey(KeyHandle key, const AnsiText& subKey) override;
  Status DeleteValue(KeyHandle key, const AnsiText& name) override;
  Status CloseKey(KeyHandle key) override;
  Status EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) override;
  /// Asks again with more room while the data does not fit.
  Status EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type, std::string& data) override;
};

}  // namespace nerio::platform
