#include <gtest/gtest.h>

#include <optional>

#include "nerio/hosts/windows/automation/com_apartment.h"

namespace nerio::platform {
namespace {

// The runner is the program whose thread calls the routines, so its thread is in an apartment while tests run.
class ComEnvironment final : public ::testing::Environment {
 public:
  void SetUp() override { apartment_.emplace(); }
  void TearDown() override { apartment_.reset(); }

 private:
  std::optional<ComApartment> apartment_;
};

const auto* const kComEnvironment = ::testing::AddGlobalTestEnvironment(new ComEnvironment);

}  // namespace
}  // namespace nerio::platform
