#include "nerio/platform/status.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <type_traits>

#include "nerio/platform/regional_settings.h"
#include "nerio/platform/registry_api.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

// None of them becomes another or a number, and no number becomes one of them, unless that is written out.
template <typename One, typename Other>
constexpr bool kMix = std::is_convertible_v<One, Other> || std::is_convertible_v<Other, One>;

static_assert(!kMix<Status, SystemStatus> && !kMix<Status, AutomationStatus> && !kMix<SystemStatus, AutomationStatus>);
static_assert(!kMix<Status, std::int32_t> && !kMix<SystemStatus, std::int32_t> &&
              !kMix<AutomationStatus, std::int32_t>);
static_assert(!kMix<Status, bool> && !kMix<SystemStatus, bool> && !kMix<AutomationStatus, bool>);
static_assert(!std::is_constructible_v<Status, SystemStatus> && !std::is_constructible_v<SystemStatus, Status>);

TEST(NumberOf, GivesTheNumberOfEachSpace) {
  EXPECT_EQ(NumberOf(kSuccess), 0);
  EXPECT_EQ(NumberOf(kFileNotFound), 2);
  EXPECT_EQ(NumberOf(Status{-1}), -1);
  EXPECT_EQ(NumberOf(SystemStatus::kSuccess), 0);
  EXPECT_EQ(NumberOf(SystemStatus{28}), 28);
  EXPECT_EQ(NumberOf(AutomationStatus::kSuccess), 0);
  EXPECT_EQ(NumberOf(kTypeMismatch), std::numeric_limits<std::int32_t>::min() + 0x20005);
}

// A switch over named ones is a usual thing, and no compiler warns about it.
int Turn(Status status) {
  switch (status) {
    case kFileNotFound:
      return 1;
    case kMoreData:
      return 2;
    default:
      return 0;
  }
}

TEST(Statuses, NamedOnesAreCasesOfASwitch) {
  EXPECT_EQ(Turn(kFileNotFound), 1);
  EXPECT_EQ(Turn(kMoreData), 2);
  EXPECT_EQ(Turn(kSuccess), 0);
  EXPECT_EQ(Turn(Status{4711}), 0);
}

TEST(Statuses, AreShownAsNumbersWhenAComparisonFails) {
  EXPECT_EQ(::testing::PrintToString(kMoreData), "234");
  EXPECT_EQ(::testing::PrintToString(SystemStatus{2}), "2");
  EXPECT_EQ(::testing::PrintToString(kTypeMismatch), "-2147352571");
}

}  // namespace
}  // namespace nerio::platform
