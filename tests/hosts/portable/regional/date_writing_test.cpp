#include "nerio/hosts/portable/regional/date_writing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "nerio/hosts/portable/regional/date_reading.h"
#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

constexpr TextView kRegions[] = {u"it-IT", u"en-US", u"en-GB", u"de-DE", u"fr-FR", u"sv-SE", u"ja-JP"};

std::string Written(double days, TextView region = u"it-IT") {
  Text text = u"junk";
  EXPECT_TRUE(WriteDate(BuiltInRegion(region).value(), {days}, text)) << days;
  return ToUtf8(text);
}

std::string WrittenAs(TextView picture, double days) {
  RegionalData region = BuiltInRegion(u"it-IT").value();
  region.shortDate = picture;
  region.timeOfDay = picture;
  Text text;
  EXPECT_TRUE(WriteDate(region, {days}, text));
  return ToUtf8(text);
}

TEST(DateWriting, BuiltInRegions_WriteTheirOwnForms) {
  const struct {
    TextView region;
    const char* zero;
    const char* day;
    const char* evening;
  } cases[] = {
      {u"it-IT", "00:00:00", "05/03/2003", "05/03/2003 18:04:09"},
      {u"en-US", "12:00:00 AM", "3/5/2003", "3/5/2003 6:04:09 PM"},
      {u"en-GB", "00:00:00", "05/03/2003", "05/03/2003 18:04:09"},
      {u"de-DE", "00:00:00", "05.03.2003", "05.03.2003 18:04:09"},
      {u"fr-FR", "00:00:00", "05/03/2003", "05/03/2003 18:04:09"},
      {u"sv-SE", "00:00:00", "2003-03-05", "2003-03-05 18:04:09"},
      {u"ja-JP", "0:00:00", "2003/03/05", "2003/03/05 18:04:09"},
  };
  constexpr double kDay = 37685;  // 5 March 2003
  for (const auto& c : cases) {
    EXPECT_EQ(Written(0, c.region), c.zero);
    EXPECT_EQ(Written(kDay, c.region), c.day);
    EXPECT_EQ(Written(kDay + 65049.0 / 86400, c.region), c.evening);
  }
  EXPECT_FALSE(BuiltInRegion(u"it-CH").has_value());
  EXPECT_FALSE(BuiltInRegion(u"").has_value());
}

TEST(DateWriting, DayZero_IsTheTimeAloneAndMidnightIsTheDateAlone) {
  EXPECT_EQ(Written(-0.0), "00:00:00");
  EXPECT_EQ(Written(0.5), "12:00:00");
  EXPECT_EQ(Written(-0.5), "12:00:00");
  EXPECT_EQ(Written(1), "31/12/1899");
  EXPECT_EQ(Written(1.5), "31/12/1899 12:00:00");
  EXPECT_EQ(Written(-1), "29/12/1899");
  EXPECT_EQ(Written(-1.25), "29/12/1899 06:00:00");
}

TEST(DateWriting, DaysOutsideTheYears100To9999_CannotBeWritten) {
  EXPECT_EQ(Written(-657434), "01/01/100");
  EXPECT_EQ(Written(2958465), "31/12/9999");
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double days : {-657435.0, 2958466.0, 1e300, -1e300, infinity, -infinity, std::nan("")}) {
    Text text = u"junk";
    EXPECT_FALSE(WriteDate(BuiltInRegion(u"it-IT").value(), {days}, text)) << days;
    EXPECT_EQ(text, u"junk");
  }
  EXPECT_EQ(Written(std::nextafter(-657435.0, 0)), "02/01/100 00:00:00");
}

TEST(DateWriting, HalfASecond_RoundsUpAndMayCarryIntoTheNextDay) {
  constexpr double kHalf = 0.5 / 86400;
  EXPECT_EQ(Written(kHalf), "00:00:01");
  EXPECT_EQ(Written(kHalf * 0.99), "00:00:00");
  EXPECT_EQ(Written(37685 + 1 - kHalf), "06/03/2003 00:00:00");
  // Which parts are written is settled before: the last half second of day 0 stays a time.
  EXPECT_EQ(Written(1 - kHalf / 2), "00:00:00");
  EXPECT_EQ(Written(2958465.9999999), "01/01/10000 00:00:00");
  EXPECT_EQ(Written(-1.9999999), "30/12/1899 00:00:00");
}

TEST(DateWriting, Picture_KnowsEachLetterInEachLength) {
  constexpr double kMorning = 37685 + 7 / 24.0 + 4 / 1440.0 + 9 / 86400.0;  // Wednesday
  EXPECT_EQ(WrittenAs(u"d dd ddd dddd", 37685), "5 05 mer mercoledì");
  EXPECT_EQ(WrittenAs(u"M MM MMM MMMM", 37685), "3 03 mar marzo");
  EXPECT_EQ(WrittenAs(u"y yy yyyy", 37685), "3 03 2003");
  EXPECT_EQ(WrittenAs(u"yyyy yy", -657434), "100 00");
  EXPECT_EQ(WrittenAs(u"h hh H HH|", 13 / 24.0), "1 01 13 13|");
  EXPECT_EQ(WrittenAs(u"h hh H HH|", 0), "12 12 0 00|");
  EXPECT_EQ(WrittenAs(u"m mm s ss|", 0), "0 00 0 00|");
  EXPECT_EQ(WrittenAs(u"t tt", 0.25), "A AM");
  EXPECT_EQ(WrittenAs(u"t tt", 0.5), "P PM");
  EXPECT_EQ(WrittenAs(u"dMyyyy", kMorning), "532003 532003");
}

TEST(DateWriting, Picture_KeepsTextBetweenApostrophes) {
  EXPECT_EQ(WrittenAs(u"'d' d 'de' MMMM ''", 37685), "d 5 de marzo ");
  EXPECT_EQ(WrittenAs(u"H 'o''clock'", 0.5), "12 o'clock");
  EXPECT_EQ(WrittenAs(u"d'never closed", 37685), "5never closed");
  EXPECT_EQ(WrittenAs(u"yyyy年M月d日", 37685), "2003年3月5日");
}

TEST(DateWriting, EverySunday_IsASunday) {
  for (const int days : {1, 37682, -6, -657433 + 1 - (-657433 + 1 - 1) % 7}) {
    EXPECT_EQ(WrittenAs(u"dddd", days), "domenica") << days;
  }
}

TEST(DateWriting, EveryWholeSecond_ReadsBackAsWhatItWas) {
  std::mt19937_64 random(20231);
  std::uniform_int_distribution<std::int64_t> dayOf(-657434, 2958465);
  std::uniform_int_distribution<std::int64_t> secondOf(0, 86399);
  for (const TextView name : kRegions) {
    const RegionalData region = BuiltInRegion(name).value();
    const DateReader reader(region, [] { return 2023; });
    for (int i = 0; i < 20000; ++i) {
      const std::int64_t day = dayOf(random);
      const std::int64_t second = i % 3 == 0 ? 0 : secondOf(random);
      const auto days = static_cast<double>(day * 86400 + (day < 0 ? -second : second)) / 86400;
      Text text;
      ASSERT_TRUE(WriteDate(region, {days}, text));
      Date back;
      ASSERT_TRUE(reader.Read(text, back)) << ToUtf8(text);
      ASSERT_EQ(back.days, days) << ToUtf8(text) << ' ' << ToUtf8(name);
    }
  }
}

TEST(DateWriting, AnyMoment_ReadsBackWithinHalfASecond) {
  std::mt19937_64 random(20232);
  std::uniform_real_distribution<double> anyDays(1, 2958465.9);
  const RegionalData region = BuiltInRegion(u"it-IT").value();
  const DateReader reader(region, [] { return 2023; });
  for (int i = 0; i < 50000; ++i) {
    const double days = anyDays(random);
    Text text;
    ASSERT_TRUE(WriteDate(region, {days}, text));
    Date back;
    ASSERT_TRUE(reader.Read(text, back)) << ToUtf8(text);
    ASSERT_NEAR(back.days, days, 0.5001 / 86400) << ToUtf8(text);
  }
}

TEST(DateWriting, ZeroDate_ReadsBackAsExactlyZeroInEveryBuiltInRegion) {
  for (const TextView name : kRegions) {
    const RegionalData region = BuiltInRegion(name).value();
    Text text;
    ASSERT_TRUE(WriteDate(region, {0}, text));
    Date back{1};
    EXPECT_TRUE(DateReader(region, [] { return 2023; }).Read(text, back)) << ToUtf8(name);
    EXPECT_EQ(back, Date{0}) << ToUtf8(name);
    EXPECT_FALSE(std::signbit(back.days));
  }
}

}  // namespace
}  // namespace nerio::platform
