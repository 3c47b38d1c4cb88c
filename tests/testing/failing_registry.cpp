#include "tests/testing/failing_registry.h"

#include <algorithm>

namespace nerio::testing {

using platform::KeyHandle;
using platform::SecurityAttributes;
using platform::Status;

namespace {

constexpr std::uint32_t kJunk = 0xDEADBEEF;

}  // namespace

void FailingRegistry::FailCall(std::size_t number, Status status) {
  calls_ = 0;
  failingCall_ = number;
  failure_ = status;
}

Status FailingRegistry::OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                                KeyHandle& opened) {
  if (!Fails()) return ForwardingRegistry::OpenKey(root, subKey, options, access, opened);
  opened = kJunk;
  return failure_;
}

Status FailingRegistry::CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                                  const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                                  const SecurityAttributes& security, KeyHandle& created, std::uint32_t& disposition) {
  if (!Fails()) {
    return ForwardingRegistry::CreateKey(root, subKey, reserved, keyClass, options, access, security, created,
                                         disposition);
  }
  created = kJunk;
  disposition = kJunk;
  return failure_;
}

Status FailingRegistry::QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                                   std::uint32_t& size) {
  if (!Fails()) return ForwardingRegistry::QueryValue(key, name, type, data, size);
  std::fill(data.begin(), data.end(), 'J');
  type = kJunk;
  size = kJunk;
  return failure_;
}

Status FailingRegistry::SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                                 std::span<const char> data) {
  return Fails() ? failure_ : ForwardingRegistry::SetValue(key, name, reserved, type, data);
}

Status FailingRegistry::DeleteKey(KeyHandle key, const AnsiText& subKey) {
  return Fails() ? failure_ : ForwardingRegistry::DeleteKey(key, subKey);
}

Status FailingRegistry::DeleteValue(KeyHandle key, const AnsiText& name) {
  return Fails() ? failure_ : ForwardingRegistry::DeleteValue(key, name);
}

Status FailingRegistry::CloseKey(KeyHandle key) {
  const Status status = ForwardingRegistry::CloseKey(key);
  return Fails() ? failure_ : status;
}

Status FailingRegistry::EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) {
  return Fails() ? failure_ : ForwardingRegistry::EnumKey(key, index, name);
}

Status FailingRegistry::EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                                  std::string& data) {
  return Fails() ? failure_ : ForwardingRegistry::EnumValue(key, index, name, type, data);
}

}  // namespace nerio::testing
