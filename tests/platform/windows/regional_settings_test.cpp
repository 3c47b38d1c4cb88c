#include "platform/windows/regional_settings.h"

#include <gtest/gtest.h>

#include "platform/conformance/regional_conformance.h"

namespace nerio::testing {
namespace {

INSTANTIATE_TEST_SUITE_P(Windows, RegionalConformance,
                         ::testing::Values([]() -> std::unique_ptr<platform::RegionalSettings> {
                           return std::make_unique<platform::WindowsRegionalSettings>();
                         }));

}  // namespace
}  // namespace nerio::testing
