#include "nerio/hosts/portable/regional/date_reading.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

constexpr double kSecond = 86400;

// Reads a text under a region whose clock stands in 2023, which is no leap year.
std::optional<double> Read(TextView text, TextView region = u"it-IT", std::int32_t year = 2023) {
  static std::map<std::pair<Text, std::int32_t>, DateReader> readers;
  const std::pair key(Text(region), year);
  auto reader = readers.find(key);
  if (reader == readers.end()) {
    reader = readers.emplace(key, DateReader(BuiltInRegion(region).value(), [year] { return year; })).first;
  }
  constexpr Date kJunk{-12345.678};
  Date date = kJunk;
  if (reader->second.Read(text, date)) return date.days;
  EXPECT_EQ(date, kJunk) << ToUtf8(text);
  return std::nullopt;
}

// The days of a date, counted by hand.
double Day(int year, unsigned month, unsigned day) {
  using std::chrono::sys_days;
  const auto count = [](int y, unsigned m, unsigned d) {
    return sys_days{std::chrono::year{y} / std::chrono::month{m} / std::chrono::day{d}};
  };
  return static_cast<double>((count(year, month, day) - count(1899, 12, 30)).count());
}

void ExpectNoDate(std::initializer_list<TextView> texts, TextView region = u"it-IT") {
  for (const TextView text : texts) EXPECT_EQ(Read(text, region), std::nullopt) << '"' << ToUtf8(text) << '"';
}

void ExpectDate(double days, std::initializer_list<TextView> texts, TextView region = u"it-IT") {
  for (const TextView text : texts) EXPECT_EQ(Read(text, region), days) << '"' << ToUtf8(text) << '"';
}

TEST(DateReading, NothingToRead_IsNoDate) {
  ExpectNoDate({u"", u" ", u"\t\r\n", u",", TextView(u"\0", 1), u"lunedì", u"dicembre", u"AM"});
}

TEST(DateReading, OneNumberAlone_IsNoDate) { ExpectNoDate({u"0", u"13", u"1999", u"36526", u"36526,5"}); }

TEST(DateReading, FirstNul_EndsTheText) {
  EXPECT_EQ(Read(TextView(u"31/12/1999\0abc", 14)), Day(1999, 12, 31));
  EXPECT_EQ(Read(TextView(u"31/12\0/1999", 11)), Day(2023, 12, 31));
  EXPECT_EQ(Read(TextView(u"5 p\0x", 5)), 17.0 / 24);
  ExpectNoDate({TextView(u"\0"
                         u"31/12/1999",
                         11),
                TextView(u"31/\0"
                         u"12/1999",
                         11)});
}

TEST(DateReading, Number_MayHaveAnyLeadingZeros) {
  ExpectDate(Day(2003, 2, 1), {u"1/2/2003", u"01/02/2003", u"0000000000000000001/2/2003", u"1/2/000000002003"});
}

TEST(DateReading, Number_GoesOnOverTheDigitsOfSeventeenScriptsButDoesNotStartWithThem) {
  constexpr char16_t kZeros[] = {0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66, 0x0AE6, 0x0B66, 0x0C66, 0x0CE6,
                                 0x0D66, 0x0E50, 0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};
  for (const char16_t zero : kZeros) {
    for (unsigned digit = 0; digit <= 9; ++digit) {
      const auto unit = static_cast<char16_t>(zero + digit);
      EXPECT_EQ(Read(Text(u"1") + unit + u"/2/2003"), Day(2003, 2, 10 + digit)) << std::hex << unsigned{unit};
      EXPECT_EQ(Read(unit + Text(u"/2/2003")), std::nullopt) << std::hex << unsigned{unit};
    }
  }
}

TEST(DateReading, Unit_OfAnyOtherKind_DoesNotContinueANumber) {
  std::size_t digits = 0;
  std::size_t blanks = 0;
  for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
    const std::optional<double> read = Read(Text(u"1") + static_cast<char16_t>(unit) + u"/2/2003");
    if (read == Day(2003, 2, 1)) ++blanks;  // blanks and the comma
    if (read >= Day(2003, 2, 10) && read < Day(2003, 2, 20)) ++digits;
  }
  EXPECT_EQ(digits, 18u * 10);
  EXPECT_EQ(blanks, 26u);
}

TEST(DateReading, Number_StaysAtItsLargestValue) {
  // 2^32-1 modulo 65,536 is 65,535, which is no year; 2^32 would be 0, the year 2000.
  ExpectNoDate({u"1/1/4294967295", u"1/1/4294967296", u"1/1/18446744073709551616"});
  ExpectDate(Day(2000, 1, 1), {u"1/1/4294901760"});  // 65,535 times 65,536
}

TEST(DateReading, SeventhNumber_IsNoDate) {
  ExpectDate(Day(2003, 2, 1) + 36630 / kSecond, {u"1/2/2003 10:10:30"});
  ExpectNoDate({u"1/2/2003 10:10:30 1", u"1/2/2003 10:10:30 dic"});
  EXPECT_EQ(Read(u"1/2/2003 10:10:30 lun").has_value(), true);
}

TEST(DateReading, MonthName_LongOrShortInAnyCaseWithoutBlanks_IsTheMonth) {
  ExpectDate(Day(1998, 12, 25), {u"25 dicembre 1998", u"25 DICEMBRE 1998", u"25 dic 1998", u"25dicembre1998",
                                 u"25DiC1998", u"dicembre 25 1998", u"1998 dicembre 25", u"25-dic-98"});
  ExpectNoDate({u"25 December 1998", u"25 dice 1998", u"25 dicembr 1998", u"25 1998 dic", u"dic 1998 25"});
}

TEST(DateReading, Name_WithAccents_MatchesInAnyCaseButNotWithoutThem) {
  ExpectDate(Day(2001, 8, 3), {u"3 août 2001", u"3 AOÛT 2001", u"3 Août 2001"}, u"fr-FR");
  ExpectDate(Day(2001, 12, 3), {u"3 décembre 2001", u"3 DÉCEMBRE 2001", u"3 DÉC. 2001"}, u"fr-FR");
  ExpectNoDate({u"3 aout 2001", u"3 decembre 2001", u"3 déc 2001"}, u"fr-FR");
  ExpectDate(Day(2001, 3, 3), {u"3 März 2001", u"3 MÄRZ 2001", u"3 mär 2001"}, u"de-DE");
  ExpectDate(Day(2001, 1, 3), {u"måndag 2001-01-03", u"MÅNDAG 2001-01-03", u"LÖR 2001-01-03"}, u"sv-SE");
  ExpectNoDate({u"Lunedi 31/12/1999"});
  ExpectDate(Day(1999, 12, 31), {u"LUNEDÌ 31/12/1999"});
}

TEST(DateReading, DayName_Anywhere_IsPassedOverAndNotChecked) {
  ExpectDate(Day(1999, 12, 31),
             {u"lunedì 31/12/1999", u"31/12/1999 dom", u"lun31mer/12/1999", u"31 venerdì dic sab 1999"});
}

TEST(DateReading, NameThatStartsWithAnEarlierName_IsNeverReached) {
  // "mar" is March before it is Tuesday, so "tedì" is left over; and March makes a fourth number.
  ExpectNoDate({u"martedì 1/2/2003", u"mar 1/2/2003"});
  ExpectDate(Day(2005, 3, 3), {u"mar mar 5"});
  // Long names come before short ones.
  ExpectDate(Day(2003, 3, 1), {u"1 marzo 2003", u"1 mar 2003"});
}

TEST(DateReading, NameThatStartsWithADigit_IsReadAsANumberAndTheRest) {
  ExpectDate(Day(2023, 3, 5), {u"3 5月"}, u"ja-JP");  // 月 is Monday
  ExpectDate(Day(2001, 12, 3), {u"2001/12/3 月曜日"}, u"ja-JP");
}

TEST(DateReading, HalfOfTheDay_BelongsToTheNumberBefore) {
  ExpectDate(17.0 / 24, {u"5 PM", u"5PM", u"5 pm", u"5 Pm", u"5 p", u"5p.", u"5 p1", u"5 PP", u"17 PM", u"17 AM"});
  ExpectDate(5.0 / 24, {u"5 AM", u"5a", u"5 a1", u"5 ax"});
  ExpectDate(0, {u"12 AM", u"0 AM", u"12:00 a"});
  ExpectDate(0.5, {u"12 PM", u"0 PM", u"12:00:00 p"});
  ExpectNoDate({u"PM 5", u"5 AM PM", u"5 p.m.", u"24 PM"});
  ExpectDate(17.0 / 24, {u"5 em", u"5 EM", u"5 PM"}, u"sv-SE");
  ExpectDate(17.0 / 24, {u"5 午後", u"5午後", u"5 PM"}, u"ja-JP");
  ExpectNoDate({u"5 em", u"5 午後"});
}

TEST(DateReading, HalfOfTheDay_OnADateNumber_IsNoDate) {
  ExpectDate(Day(2003, 1, 1) + 5.0 / 24, {u"5 AM 1/1/2003", u"1/1/2003 5 AM"});
  ExpectNoDate({u"1 2 AM 3", u"1 PM 2 3 4 5", u"1 AM 2/2003 10:30", u"10:30 1 PM 2 2003", u"1 2 AM"});
}

TEST(DateReading, Point_MarksATimeUnlessItPartsDates) {
  ExpectDate(0.4375, {u"10.30", u"10:30", u"10 . 30", u"10.:30"});
  ExpectNoDate({u"31.12.1999"});
  ExpectDate(Day(1999, 12, 31), {u"31.12.1999", u"31.12.99", u"31. 12. 1999"}, u"de-DE");
  ExpectDate(Day(2023, 10, 30), {u"30.10", u"10.30"}, u"de-DE");
  ExpectDate(0.4375, {u"10:30"}, u"de-DE");
}

TEST(DateReading, MoreThanTwoDateMarks_IsNoDate) {
  ExpectDate(Day(1999, 12, 31), {u"31/12/1999", u"31-12/1999", u"31 12-1999", u"31//12 1999", u"31 / / 12 1999"});
  ExpectNoDate({u"31//12/1999", u"10:20-1/2/3", u"-/-1 2 3"});
  ExpectNoDate({u"31..12.1999"}, u"de-DE");
}

TEST(DateReading, Mark_WithoutANumberBeforeOrAUnitBehind_IsNoDate) {
  ExpectNoDate({u"/1/2", u":10:30", u"1/2/", u"10:30:", u"1/2-", u"10:30."});
  ExpectDate(Day(2023, 2, 1), {u"1/2/ "});
  ExpectNoDate({u"10:30: "});
}

TEST(DateReading, Comma_IsABlankButNotTheLastUnit) {
  ExpectDate(Day(1999, 12, 31), {u"31,12,1999", u",31/12/1999", u"31, 12 ,1999", u"31/12/1999, "});
  ExpectNoDate({u"31/12/1999,"});
}

TEST(DateReading, EveryBlank_PartsNumbers) {
  for (const char16_t blank :
       u" \t\n\v\f\r\x0085\x00A0\x1680\x2000\x2001\x2002\x2003\x2004\x2005\x2006\x2007\x2008\x2009"
       u"\x200A\x2028\x2029\x202F\x205F\x3000") {
    if (blank == u'\0') continue;  // the end of the literal
    const Text text = blank + Text(u"31") + blank + u"12" + blank + blank + u"1999" + blank;
    EXPECT_EQ(Read(text), Day(1999, 12, 31)) << std::hex << unsigned{blank};
  }
  ExpectNoDate(
      {u"31\xFEFF"
       u"12 1999",
       u"31\x200B"
       u"12 1999",
       u"31\x180E"
       u"12 1999"});
}

TEST(DateReading, AnyOtherUnit_IsNoDate) {
  ExpectNoDate({u"1999-12-31T23:59:59", u"1999-12-31 23:59:59Z", u"+1/2/3", u"1/2/3'", u"10h30", u"1;2;3", u"1/2/3°",
                u"1／2／3", u"1/2/3\xD800", u"\xD835\xDFCF/2/2003", u"1_2_3", u"(1/2/3)", u"#1/2/3#", u"1\\2\\3"});
  ExpectDate(Day(1999, 12, 31) + 86399 / kSecond, {u"1999-12-31 23:59:59"});
}

TEST(DateReading, TimeAndDate_StandInEitherOrder) {
  const double day = Day(2003, 2, 1);
  ExpectDate(day + 37230 / kSecond, {u"1/2/2003 10:20:30", u"10:20:30 1/2/2003", u"1 2 2003 10:20:30"});
  ExpectDate(day + 37200 / kSecond, {u"1/2/2003 10:20", u"10:20 1/2/2003", u"10.20 1-2-2003"});
  ExpectDate(Day(2023, 2, 1) + 37230 / kSecond, {u"1/2 10:20:30", u"10:20:30 1/2"});
  ExpectDate(Day(2023, 2, 1) + 37200 / kSecond, {u"1/2 10:20", u"10:20 1/2"});
  ExpectDate(37230 / kSecond, {u"10:20:30"});
}

TEST(DateReading, AnyOtherRowOfNumbers_IsNoDate) {
  ExpectNoDate({u"1 2 3 4", u"1 2 3 4 5", u"1 2 3 4 5 6", u"1 10:20", u"10:20 1", u"10:20:30 1", u"1:2:3:4",
                u"1/2/2003 10:20:30:40", u"10:30:15.5", u"1:2 3 4:5"});
}

TEST(DateReading, TimeMarkBehindTheLastOfFiveNumbers_DropsTheThird) {
  ExpectDate(Day(2023, 2, 1) + 37200 / kSecond, {u"1/2/2003 10:20: ", u"1/2/99 10:20: "});
}

TEST(DateReading, Time_BeyondItsLimits_IsNoDate) {
  ExpectDate(86399 / kSecond, {u"23:59:59"});
  ExpectNoDate({u"24:00", u"24:00:00", u"23:60", u"23:59:60", u"1/2/2003 24:00"});
}

TEST(DateReading, Time_CountsModulo65536) { ExpectDate(36600 / kSecond, {u"65546:10", u"10:65546", u"10:10:65536"}); }

TEST(DateReading, ThreeNumbers_TheFirstOrderThatNamesARealDayWins) {
  struct Case {
    TextView text;
    double italian;
    double american;
    double swedish;
  };
  const Case cases[] = {
      {u"1/2/2003", Day(2003, 2, 1), Day(2003, 1, 2), Day(2003, 1, 2)},
      {u"31/12/1999", Day(1999, 12, 31), Day(1999, 12, 31), Day(1999, 12, 31)},
      {u"12/31/1999", Day(1999, 12, 31), Day(1999, 12, 31), Day(1999, 12, 31)},
      {u"1999/12/31", Day(1999, 12, 31), Day(1999, 12, 31), Day(1999, 12, 31)},
      {u"1999/31/12", Day(1999, 12, 31), Day(1999, 12, 31), Day(1999, 12, 31)},
      {u"31/12/24", Day(2024, 12, 31), Day(2031, 12, 24), Day(2031, 12, 24)},
      {u"24/12/31", Day(2031, 12, 24), Day(2024, 12, 31), Day(2024, 12, 31)},
      {u"5/7/6", Day(2006, 7, 5), Day(2006, 5, 7), Day(2005, 7, 6)},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Read(c.text, u"it-IT"), c.italian) << ToUtf8(c.text);
    EXPECT_EQ(Read(c.text, u"en-US"), c.american) << ToUtf8(c.text);
    EXPECT_EQ(Read(c.text, u"sv-SE"), c.swedish) << ToUtf8(c.text);
  }
  ExpectNoDate({u"13/13/2003", u"31/4/1999", u"29/2/2003", u"0/1/2003", u"32/1/2003", u"1/0/2003"});
}

TEST(DateReading, TwoNumbers_AreDayAndMonthOfTheCurrentYearElseMonthAndYear) {
  ExpectDate(Day(2023, 12, 31), {u"31/12", u"12/31"});
  ExpectDate(Day(2023, 2, 1), {u"1/2", u"1 feb", u"feb 1"});
  ExpectDate(Day(2023, 1, 2), {u"1/2"}, u"en-US");
  ExpectDate(Day(2023, 1, 2), {u"1/2"}, u"ja-JP");
  ExpectDate(Day(1999, 12, 1), {u"12/1999", u"1999/12", u"dicembre 1999", u"1999 dic"});
  ExpectDate(Day(2000, 1, 1), {u"0/1", u"1/0"});
  ExpectDate(Day(2031, 2, 1), {u"feb 31", u"31 feb"});
  ExpectNoDate({u"13/13", u"0/0", u"13/1999", u"32 13"});
}

TEST(DateReading, TwentyNinthOfFebruary_NeedsALeapYear) {
  EXPECT_EQ(Read(u"29/2", u"it-IT", 2024), Day(2024, 2, 29));
  EXPECT_EQ(Read(u"29/2", u"it-IT", 2023), Day(2029, 2, 1));
  EXPECT_EQ(Read(u"2/29", u"it-IT", 1900), Day(2029, 2, 1));
  EXPECT_EQ(Read(u"29/2", u"it-IT", 2000), Day(2000, 2, 29));
  ExpectDate(Day(2000, 2, 29), {u"29/2/2000", u"29/2/0"});
  ExpectNoDate({u"29/2/1900", u"29/2/2100", u"29/2/100"});
}

TEST(DateReading, YearOfFewDigits_IsOfTheCenturyAround2000) {
  ExpectDate(Day(2000, 1, 1), {u"1/1/0", u"1/1/00", u"1/1/0000"});
  ExpectDate(Day(2049, 1, 1), {u"1/1/49", u"1/1/0049"});
  ExpectDate(Day(1950, 1, 1), {u"1/1/50"});
  ExpectDate(Day(1999, 1, 1), {u"1/1/99", u"1/1/0099"});
  ExpectDate(Day(100, 1, 1), {u"1/1/100"});
  ExpectDate(Day(9999, 12, 31), {u"31/12/9999"});
  ExpectNoDate({u"1/1/10000", u"1/1/65535"});
}

TEST(DateReading, Year_CountsModulo65536ButIsALeapYearByItsWholeNumber) {
  ExpectDate(Day(2000, 1, 1), {u"1/1/65536", u"1/1/131072"});
  ExpectDate(Day(4464, 1, 1), {u"70000/1/1"});
  ExpectDate(Day(2100, 3, 1), {u"29/2/67636"});
}

TEST(DateReading, DateBeforeDayZero_CountsItsTimeDownwards) {
  ExpectDate(-1.25, {u"29/12/1899 6:00"});
  ExpectDate(-657434.0, {u"1/1/100"});
  ExpectDate(0, {u"30/12/1899", u"30/12/1899 0:00", u"0:00"});
}

TEST(DateReading, Moment_IsTheNearestDouble) {
  // 32 days and 58,088 seconds; adding the rounded fraction to 32 would round twice and give another double.
  ExpectDate(32.67231481481482, {u"31/1/1900 16:08:08"});
  EXPECT_NE(32 + 58088 / kSecond, 32.67231481481482);
}

TEST(DateReading, Clock_IsAskedOnlyForADateOfTwoNumbers) {
  int asked = 0;
  const DateReader reader(BuiltInRegion(u"it-IT").value(), [&asked] {
    ++asked;
    return 2023;
  });
  Date date;
  EXPECT_TRUE(reader.Read(u"1/2/2003 10:30", date));
  EXPECT_TRUE(reader.Read(u"10:30", date));
  EXPECT_FALSE(reader.Read(u"abc", date));
  EXPECT_EQ(asked, 0);
  EXPECT_TRUE(reader.Read(u"1/2", date));
  EXPECT_EQ(asked, 1);
}

TEST(DateReading, LongText_TakesTimeInProportion) {
  const Text blanks(8'000'000, u' ');
  EXPECT_EQ(Read(blanks + u"31/12/1999" + blanks), Day(1999, 12, 31));
  EXPECT_EQ(Read(u"1/1/" + Text(8'000'000, u'0') + u"7"), Day(2007, 1, 1));
  EXPECT_EQ(Read(Text(8'000'000, u'x')), std::nullopt);
}

}  // namespace
}  // namespace nerio::platform
