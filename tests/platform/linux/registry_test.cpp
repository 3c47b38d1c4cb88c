#include "platform/linux/registry.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/conformance/registry_conformance.h"
#include "platform/linux/stored_registry.h"

namespace nerio::platform {
namespace {

class RegistryInFolder final : public testing::RegistryUnderTest {
 public:
  RegistryApi& Registry() override { return stored_.registry(); }

 private:
  testing::StoredRegistry stored_;
};

const bool kRegistered = testing::RegisterRegistry(
    "LinuxFiles", []() -> std::unique_ptr<testing::RegistryUnderTest> { return std::make_unique<RegistryInFolder>(); });

}  // namespace
}  // namespace nerio::platform
