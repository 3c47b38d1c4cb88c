#pragma once

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "tests/testing/forwarding_registry.h"

namespace nerio::testing {

// The native calls as values: every argument that goes in, in the native order.

struct OpenKeyCall {
  platform::KeyHandle root;
  AnsiText subKey;
  std::uint32_t options;
  std::uint32_t access;
  friend bool operator==(const OpenKeyCall&, const OpenKeyCall&) = default;
};

struct CreateKeyCall {
  platform::KeyHandle root;
  AnsiText subKey;
  std::uint32_t reserved;
  AnsiText keyClass;
  std::uint32_t options;
  std::uint32_t access;
  /// The record that the call pointed to.
  std::uint32_t securityLength;
  void* securityDescriptor;
  std::int32_t securityInherit;
  friend bool operator==(const CreateKeyCall&, const CreateKeyCall&) = default;
};

struct QueryValueCall {
  platform::KeyHandle key;
  AnsiText name;
  std::uint32_t type;
  /// The bytes of the buffer, and the count of bytes that the call was told of.
  std::string buffer;
  std::uint32_t size;
  friend bool operator==(const QueryValueCall&, const QueryValueCall&) = default;
};

struct SetValueCall {
  platform::KeyHandle key;
  AnsiText name;
  std::uint32_t reserved;
  std::uint32_t type;
  std::string data;
  friend bool operator==(const SetValueCall&, const SetValueCall&) = default;
};

struct DeleteKeyCall {
  platform::KeyHandle key;
  AnsiText subKey;
  friend bool operator==(const DeleteKeyCall&, const DeleteKeyCall&) = default;
};

struct DeleteValueCall {
  platform::KeyHandle key;
  AnsiText name;
  friend bool operator==(const DeleteValueCall&, const DeleteValueCall&) = default;
};

struct CloseKeyCall {
  platform::KeyHandle key;
  friend bool operator==(const CloseKeyCall&, const CloseKeyCall&) = default;
};

struct EnumKeyCall {
  platform::KeyHandle key;
  std::uint32_t index;
  friend bool operator==(const EnumKeyCall&, const EnumKeyCall&) = default;
};

struct EnumValueCall {
  platform::KeyHandle key;
  std::uint32_t index;
  friend bool operator==(const EnumValueCall&, const EnumValueCall&) = default;
};

using RegistryCall = std::variant<OpenKeyCall, CreateKeyCall, QueryValueCall, SetValueCall, DeleteKeyCall,
                                  DeleteValueCall, CloseKeyCall, EnumKeyCall, EnumValueCall>;

/// What was called, in order. Compared by value; a mismatch prints one call per line.
struct Transcript : std::vector<RegistryCall> {
  using vector::vector;
};
void PrintTo(const Transcript& transcript, std::ostream* out);

/// Keeps every call that goes through it to another registry.
class RegistryRecorder final : public ForwardingRegistry {
 public:
  using ForwardingRegistry::ForwardingRegistry;

  Transcript calls;

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
};

}  // namespace nerio::testing
