#pragma once

#include <span>
#include <string>

#include "nerio/platform/registry_api.h"

namespace nerio::testing {

/// Hands every call on to another registry: the base of registries that watch or change some calls. The other one is
/// borrowed.
class ForwardingRegistry : public platform::RegistryApi {
 public:
  explicit ForwardingRegistry(platform::RegistryApi& inner) : inner_(inner) {}

  platform::Status OpenKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t options,
                           std::uint32_t access, platform::KeyHandle& opened) override {
    return inner_.OpenKey(root, subKey, options, access, opened);
  }
  platform::Status CreateKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                             const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                             const platform::SecurityAttributes& security, platform::KeyHandle& created,
                             std::uint32_t& disposition) override {
    return inner_.CreateKey(root, subKey, reserved, keyClass, options, access, security, created, disposition);
  }
  platform::Status QueryValue(platform::KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                              std::uint32_t& size) override {
    return inner_.QueryValue(key, name, type, data, size);
  }
  platform::Status SetValue(platform::KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                            std::span<const char> data) override {
    return inner_.SetValue(key, name, reserved, type, data);
  }
  platform::Status DeleteKey(platform::KeyHandle key, const AnsiText& subKey) override {
    return inner_.DeleteKey(key, subKey);
  }
  platform::Status DeleteValue(platform::KeyHandle key, const AnsiText& name) override {
    return inner_.DeleteValue(key, name);
  }
  platform::Status CloseKey(platform::KeyHandle key) override { return inner_.CloseKey(key); }
  platform::Status EnumKey(platform::KeyHandle key, std::uint32_t index, AnsiText& name) override {
    return inner_.EnumKey(key, index, name);
  }
  platform::Status EnumValue(platform::KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                             std::string& data) override {
    return inner_.EnumValue(key, index, name, type, data);
  }

 private:
  platform::RegistryApi& inner_;
};

}  // namespace nerio::testing
