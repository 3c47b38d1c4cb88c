#include "nerio/hosts/linux/locale_region.h"

#include <gtest/gtest.h>

#include <wctype.h>

#include <locale.h>

#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/hosts/portable/text/fold_case.h"
#include "nerio/types/utf8.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

// A locale with nothing but its formats and halves of the day, as the C library writes them.
LocaleTexts TextsOf(Text dateFormat, Text timeFormat, Text halfDayTimeFormat = {}, Text morning = {},
                    Text afternoon = {}) {
  LocaleTexts texts;
  texts.region.name = u"xx-XX";
  texts.dateFormat = std::move(dateFormat);
  texts.timeFormat = std::move(timeFormat);
  texts.halfDayTimeFormat = std::move(halfDayTimeFormat);
  texts.region.morning = std::move(morning);
  texts.region.afternoon = std::move(afternoon);
  return texts;
}

TEST(LocaleRegion, RegionFromLocale_DateFormat_GivesOrderPaddingAndSeparator) {
  const struct {
    TextView format;
    const char* picture;
    char16_t separator;
    DateOrder order;
  } cases[] = {
      {u"%d/%m/%Y", "dd/MM/yyyy", u'/', DateOrder::kDayMonthYear},
      {u"%d.%m.%y", "dd.MM.yyyy", u'.', DateOrder::kDayMonthYear},
      {u"%d. %m. %Y", "dd. MM. yyyy", u'.', DateOrder::kDayMonthYear},
      {u"%e.%m.%Y г.", "d.MM.yyyy", u'.', DateOrder::kDayMonthYear},
      {u"%-d.%-m.%Y", "d.M.yyyy", u'.', DateOrder::kDayMonthYear},
      {u"%D", "MM/dd/yyyy", u'/', DateOrder::kMonthDayYear},
      {u"%m-%d-%Y", "MM-dd-yyyy", u'-', DateOrder::kMonthDayYear},
      {u"%F", "yyyy-MM-dd", u'-', DateOrder::kYearMonthDay},
      {u"%Y年%m月%d日", "yyyy/MM/dd", u'/', DateOrder::kYearMonthDay},
      {u"%Oy/%Om/%Od", "yyyy/MM/dd", u'/', DateOrder::kYearMonthDay},
      {u"%d/%m/%Ey", "dd/MM/yyyy", u'/', DateOrder::kDayMonthYear},
      {u"%A, %d %B %Y", "dd/MM/yyyy", u'/', DateOrder::kDayMonthYear},
      {u"%b %e, %Y", "MM/d/yyyy", u'/', DateOrder::kMonthDayYear},
      {u"%d %m", "dd/MM/yyyy", u'/', DateOrder::kDayMonthYear},
      {u"", "dd/MM/yyyy", u'/', DateOrder::kDayMonthYear},
      {u"%", "dd/MM/yyyy", u'/', DateOrder::kDayMonthYear},
      {u"%d%%%m%%%Y", "dd/MM/yyyy", u'/', DateOrder::kDayMonthYear},
  };
  for (const auto& c : cases) {
    const RegionalData region = RegionFromLocale(TextsOf(Text(c.format), u"%T"));
    EXPECT_EQ(ToUtf8(region.shortDate), c.picture) << ToUtf8(c.format);
    EXPECT_EQ(region.dateSeparator, c.separator) << ToUtf8(c.format);
    EXPECT_EQ(region.dateOrder, c.order) << ToUtf8(c.format);
    EXPECT_EQ(region.name, u"xx-XX");
  }
}

TEST(LocaleRegion, RegionFromLocale_TimeFormat_GivesHoursAndSeparatorThatCanBeReadBack) {
  LocaleTexts mondayIsPm = TextsOf(u"%m/%d/%Y", u"%I:%M:%S %p", u"", u"AM", u"PM");
  mondayIsPm.region.shortDays[0] = u"pm";
  const struct {
    LocaleTexts texts;
    const char* picture;
  } cases[] = {
      {TextsOf(u"%d/%m/%Y", u"%H:%M:%S"), "HH:mm:ss"},
      {TextsOf(u"%d/%m/%Y", u"%T"), "HH:mm:ss"},
      {TextsOf(u"%d/%m/%Y", u"%k:%M:%S"), "H:mm:ss"},
      {TextsOf(u"%d/%m/%Y", u"%-H:%M:%S"), "H:mm:ss"},
      {TextsOf(u"%d/%m/%Y", u"%H.%M.%S"), "HH.mm.ss"},
      // A point that parts dates cannot part times.
      {TextsOf(u"%d.%m.%Y", u"%H.%M.%S"), "HH:mm:ss"},
      {TextsOf(u"%Y年%m月%d日", u"%H時%M分%S秒"), "HH:mm:ss"},
      {TextsOf(u"%m/%d/%Y", u"%r", u"%I:%M:%S %p", u"AM", u"PM"), "hh:mm:ss tt"},
      {TextsOf(u"%m/%d/%Y", u"%r", u"", u"AM", u"PM"), "hh:mm:ss tt"},
      {TextsOf(u"%m/%d/%Y", u"%l:%M:%S %P", u"", u"am", u"pm"), "h:mm:ss tt"},
      {TextsOf(u"%Y/%m/%d", u"%p %I時%M分%S秒", u"", u"午前", u"午後"), "hh:mm:ss tt"},
      // Without texts for the halves of the day twelve hours would be ambiguous.
      {TextsOf(u"%m/%d/%Y", u"%I:%M:%S %p"), "HH:mm:ss"},
      // Nor may such a text be something else: two of the time's own numbers.
      {TextsOf(u"%m/%d/%Y", u"%I:%M:%S %p", u"", u"1", u"2"), "HH:mm:ss"},
      {TextsOf(u"%m/%d/%Y", u"%I:%M:%S %p", u"", u"AM", u"2"), "HH:mm:ss"},
      // ... or the text of the other half, or what begins like it.
      {TextsOf(u"%m/%d/%Y", u"%I:%M:%S %p", u"", u"m", u"m"), "HH:mm:ss"},
      {TextsOf(u"%m/%d/%Y", u"%I:%M:%S %p", u"", u"m", u"mm"), "HH:mm:ss"},
      // ... or a day of the week, which is passed over: noon alone would read back.
      {mondayIsPm, "HH:mm:ss"},
      {TextsOf(u"%m/%d/%Y", u""), "HH:mm:ss"},
  };
  for (const auto& c : cases) {
    const RegionalData region = RegionFromLocale(c.texts);
    EXPECT_EQ(ToUtf8(region.timeOfDay), c.picture) << ToUtf8(c.texts.timeFormat);
    PortableRegionalSettings settings(region);
    for (const Date time : {Date{0}, Date{0.5}, Date{0.75}}) {
      Text text;
      Date back{1};
      EXPECT_EQ(settings.TextFromDate(time, text), AutomationStatus::kSuccess);
      EXPECT_EQ(settings.DateFromText(text, back), AutomationStatus::kSuccess) << ToUtf8(text);
      EXPECT_EQ(back, time) << ToUtf8(text);
    }
  }
}

TEST(LocaleRegion, RegionFromLocale_Names_LoseTheBlanksAtTheirEnds) {
  LocaleTexts texts = TextsOf(u"%F", u"%T", u"", u" am ", u"pm");
  texts.region.months[0] = u"gener";
  texts.region.shortMonths[11] = u" 12月";
  texts.region.days[6] = u"di  umenge ";
  texts.region.shortDays[0] = u"  ";
  const RegionalData region = RegionFromLocale(texts);
  EXPECT_EQ(region.months[0], u"gener");
  EXPECT_EQ(region.shortMonths[11], u"12月");
  EXPECT_EQ(region.days[6], u"di  umenge");
  EXPECT_EQ(region.shortDays[0], u"");
  EXPECT_EQ(region.morning, u"am");
  EXPECT_EQ(region.afternoon, u"pm");
}

TEST(LocaleRegion, RegionNameOf_LocaleName_DropsEncodingAndModifier) {
  EXPECT_EQ(RegionNameOf("it_IT"), u"it-IT");
  EXPECT_EQ(RegionNameOf("it_IT.UTF-8"), u"it-IT");
  EXPECT_EQ(RegionNameOf("it_IT@euro"), u"it-IT");
  EXPECT_EQ(RegionNameOf("sr_RS.UTF-8@latin"), u"sr-RS");
  EXPECT_EQ(RegionNameOf("italian"), u"italian");
  for (const char* none : {"", "C", "POSIX", "C.UTF-8", "C.utf8", "POSIX.UTF-8"}) EXPECT_EQ(RegionNameOf(none), u"");
}

TEST(LocaleRegion, InstalledRegion_LocaleThatIsNotInstalled_IsNothing) {
  EXPECT_FALSE(InstalledRegion("xx_XX.UTF-8").has_value());
  EXPECT_FALSE(InstalledRegion("../../etc").has_value());
  EXPECT_FALSE(InstalledDecimalMark("xx_XX.UTF-8").has_value());
}

// The C library knows the case of every letter; FoldCase must agree wherever it folds.
TEST(LocaleRegion, FoldCase_WhateverItFolds_IsWhatTheCLibraryFolds) {
  const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  ASSERT_NE(locale, nullptr);
  int folded = 0;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t small = FoldCase(static_cast<char16_t>(unit));
    if (small == unit) continue;
    ++folded;
    EXPECT_EQ(static_cast<wint_t>(small), ::towlower_l(static_cast<wint_t>(unit), locale)) << std::hex << unit;
  }
  ::freelocale(locale);
  EXPECT_GT(folded, 400);
}

}  // namespace
}  // namespace nerio::platform
