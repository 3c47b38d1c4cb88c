#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "tests/testing/forwarding_registry.h"

namespace nerio::testing {

/// Makes one call answer a failure and leave junk in what it writes; all others go to another registry. A close that
/// fails still gives the handle back.
class FailingRegistry final : public ForwardingRegistry {
 public:
  using ForwardingRegistry::ForwardingRegistry;

  /// Makes the `number`-th call from now on, counted from 1, answer `status`; 0 makes none fail.
  void FailCall(std::size_t number, platform::Status status);

  /// Returns how many calls there were since `FailCall`, the failed one included.
  std::size_t Calls() const { return calls_; }

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
  bool Fails() { return ++calls_ == failingCall_; }

  std::size_t calls_ = 0;
  std::size_t failingCall_ = 0;
  platform::Status failure_ = platform::kSuccess;
};

}  // namespace nerio::testing
