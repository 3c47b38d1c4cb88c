#include "nerio/hosts/portable/regional/regional_settings.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/platform/conformance/regional_conformance.h"
#include "tests/testing/status_output.h"

namespace nerio::testing {
namespace {

using platform::PortableRegionalSettings;

template <const char16_t* name>
std::unique_ptr<platform::RegionalSettings> BuiltIn() {
  return std::make_unique<PortableRegionalSettings>(platform::BuiltInRegion(name).value());
}

constexpr char16_t kItalian[] = u"it-IT";
constexpr char16_t kAmerican[] = u"en-US";
constexpr char16_t kBritish[] = u"en-GB";
constexpr char16_t kGerman[] = u"de-DE";
constexpr char16_t kFrench[] = u"fr-FR";
constexpr char16_t kSwedish[] = u"sv-SE";
constexpr char16_t kJapanese[] = u"ja-JP";

INSTANTIATE_TEST_SUITE_P(BuiltIn, RegionalConformance,
                         ::testing::Values(BuiltIn<kItalian>, BuiltIn<kAmerican>, BuiltIn<kBritish>, BuiltIn<kGerman>,
                                           BuiltIn<kFrench>, BuiltIn<kSwedish>, BuiltIn<kJapanese>));

TEST(PortableRegionalSettings, RegionName_IsTheRegionsOwn) {
  EXPECT_EQ(PortableRegionalSettings(platform::BuiltInRegion(u"sv-SE").value()).RegionName(), u"sv-SE");
}

TEST(PortableRegionalSettings, Clock_CanBeGivenAndIsTheSystemsOtherwise) {
  const platform::RegionalData italian = platform::BuiltInRegion(u"it-IT").value();
  Date date;
  ASSERT_EQ(PortableRegionalSettings(italian, [] { return 1950; }).DateFromText(u"1/1", date),
            platform::AutomationStatus::kSuccess);
  EXPECT_EQ(date.days, 18264);

  const std::int32_t before = platform::CurrentYear();
  ASSERT_EQ(PortableRegionalSettings(italian).DateFromText(u"31/12", date), platform::AutomationStatus::kSuccess);
  const std::int32_t after = platform::CurrentYear();
  const std::chrono::sys_days day =
      std::chrono::sys_days{std::chrono::year{1899} / 12 / 30} + std::chrono::days{static_cast<int>(date.days)};
  const int year{std::chrono::year_month_day{day}.year()};
  EXPECT_TRUE(year == before || year == after) << year;
  EXPECT_GE(year, 2024);
}

}  // namespace
}  // namespace nerio::testing
