#include "platform/linux/registry.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/conformance/registry_conformance.h"
#include "platform/linux/memory_folder.h"
#include "testing/temporary_folder.h"

namespace nerio::platform {
namespace {

class RegistryInFolder final : public testing::RegistryUnderTest {
 public:
  RegistryApi& Registry() override { return registry_; }

 private:
  testing::TemporaryFolder folder_{testing::MemoryFolder()};
  LinuxRegistry registry_{folder_.path()};
};

const bool kRegistered = testing::RegisterRegistry(
    "LinuxFiles", []() -> std::unique_ptr<testing::RegistryUnderTest> { return std::make_unique<RegistryInFolder>(); });

}  // namespace
}  // namespace nerio::platform
