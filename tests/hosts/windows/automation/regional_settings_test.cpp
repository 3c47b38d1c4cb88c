#include "nerio/hosts/windows/automation/regional_settings.h"

#include <gtest/gtest.h>

#include "tests/platform/conformance/regional_conformance.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

using testing::RegionalConformance;

INSTANTIATE_TEST_SUITE_P(OleAutomation, RegionalConformance,
                         ::testing::Values([]() -> std::unique_ptr<RegionalSettings> {
                           return std::make_unique<WindowsRegionalSettings>();
                         }));

// A text that ends in "a" or "p" makes the system's reader look at what lies behind it.
TEST(OleAutomation, DateFromText_HalfOfTheDayAtTheEndOfAView_IsReadAsIfNothingFollowed) {
  WindowsRegionalSettings settings;
  const Text text = u"5 p!#31/12/1999";
  Date date{-1};
  EXPECT_EQ(settings.DateFromText(TextView(text).substr(0, 3), date), AutomationStatus::kSuccess);
  EXPECT_EQ(date.days, 17.0 / 24);
}

TEST(OleAutomation, TextFromDecimal_ScaleThatNoDecimalHas_IsAnInvalidArgument) {
  WindowsRegionalSettings settings;
  Text text = u"junk";
  EXPECT_EQ(settings.TextFromDecimal(Decimal{.scale = 255, .low = 5}, text), kInvalidArgument);
  EXPECT_EQ(text, u"junk");
}

}  // namespace
}  // namespace nerio::platform
