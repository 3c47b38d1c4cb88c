#include "nerio/hosts/windows/automation/regional_settings.h"

#include <gtest/gtest.h>
#include <windows.h>
// Needs what the header above declares.
#include <oleauto.h>

#include "nerio/hosts/portable/regional/regional_settings.h"
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

// A difference of the systems: Windows and the portable reader take a name whatever the case of its letters, the system
// that these tests run on (Wine) folds those of ASCII only.
TEST(OleAutomation, DateFromText_AccentedLetterInAnotherCase_IsANameOnGenuineWindowsOnly) {
  constexpr LCID kItalian = 0x410;
  const bool genuine = ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr;
  const auto isDate = [](const wchar_t* text) {
    DATE date = 0;
    return ::VarDateFromStr(const_cast<wchar_t*>(text), kItalian, 0, &date) == S_OK;
  };
  EXPECT_TRUE(isDate(L"luned\u00EC 31/12/1999"));
  EXPECT_TRUE(isDate(L"LUNED\u00EC 31/12/1999"));
  EXPECT_EQ(isDate(L"LUNED\u00CC 31/12/1999"), genuine);
  PortableRegionalSettings portable(BuiltInRegion(u"it-IT").value());
  Date date;
  EXPECT_EQ(portable.DateFromText(u"LUNED\u00CC 31/12/1999", date), AutomationStatus::kSuccess);
}

TEST(OleAutomation, TextFromDecimal_ScaleThatNoDecimalHas_IsAnInvalidArgument) {
  WindowsRegionalSettings settings;
  Text text = u"junk";
  EXPECT_EQ(settings.TextFromDecimal(Decimal{.scale = 255, .low = 5}, text), kInvalidArgument);
  EXPECT_EQ(text, u"junk");
}

}  // namespace
}  // namespace nerio::platform
