#include "tests/platform/conformance/regional_conformance.h"

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <thread>

#include "nerio/types/utf8.h"
#include "tests/testing/status_output.h"

namespace nerio::testing {

using platform::AutomationStatus;
using platform::kInvalidArgument;
using platform::kTypeMismatch;
using platform::RegionalSettings;

std::optional<double> RegionalConformance::Read(TextView text) {
  constexpr Date kJunk{-12345.678};
  Date date = kJunk;
  const AutomationStatus status = settings_->DateFromText(text, date);
  if (status == AutomationStatus::kSuccess) return date.days;
  EXPECT_EQ(status, kTypeMismatch) << ToUtf8(text);
  EXPECT_EQ(date, kJunk) << ToUtf8(text);
  return std::nullopt;
}

Text RegionalConformance::Write(double days) {
  Text text = u"junk";
  EXPECT_EQ(settings_->TextFromDate({days}, text), AutomationStatus::kSuccess) << days;
  return text;
}

void RegionalConformance::ExpectNotWritten(double days) {
  Text text = u"junk";
  EXPECT_EQ(settings_->TextFromDate({days}, text), kInvalidArgument) << days;
  EXPECT_EQ(text, u"junk") << days;
}

template <typename Value>
std::string RegionalConformance::Number(AutomationStatus (RegionalSettings::*convert)(Value, Text&), Value value) {
  Text half;
  EXPECT_EQ(settings_->TextFromDouble(0.5, half), AutomationStatus::kSuccess);
  if (half.size() < 3) return "no decimal mark in " + ToUtf8(half);
  const Text mark = half.substr(1, half.size() - 2);
  Text text = u"junk";
  EXPECT_EQ((settings_.get()->*convert)(value, text), AutomationStatus::kSuccess);
  if (const std::size_t at = text.find(mark); at != Text::npos) text.replace(at, mark.size(), u".");
  return ToUtf8(text);
}

TEST_P(RegionalConformance, RegionName_IsALanguageAndARegion) {
  const std::string name = ToUtf8(settings_->RegionName());
  EXPECT_GE(name.size(), 5u) << name;
  EXPECT_NE(name.find('-'), std::string::npos) << name;
}

TEST_P(RegionalConformance, DateFromText_NoDate_IsATypeMismatchAndLeavesTheOutput) {
  for (const TextView text : {u"", u" ", u"1", u"xyz", u"1/2/3/4", u"24:00", u"10:60", u"1/2/3'", u"1/2/2003,",
                              u"36526", u"31/2/2003", u"99/99/99", u"1999-12-31T23:59:59", u"\xD800"}) {
    EXPECT_EQ(Read(text), std::nullopt) << ToUtf8(text);
  }
}

TEST_P(RegionalConformance, DateFromText_YearFirst_IsTheSameDateInEveryRegion) {
  EXPECT_EQ(Read(u"1999-12-31"), 36525);
  EXPECT_EQ(Read(u"1999/12/31"), 36525);
  EXPECT_EQ(Read(u"  2000-02-29  18:00 "), 36585.75);
  EXPECT_EQ(Read(u"23:59:59 1899-12-29"), -1 - 86399.0 / 86400);
  EXPECT_EQ(Read(u"10:30"), 0.4375);
}

TEST_P(RegionalConformance, DateFromText_FirstNul_EndsTheText) {
  EXPECT_EQ(Read(TextView(u"1999-12-31\0xyz", 14)), 36525);
  EXPECT_EQ(Read(TextView(u"\0"
                          u"1999-12-31",
                          11)),
            std::nullopt);
}

TEST_P(RegionalConformance, DateFromText_EnglishHalfOfTheDay_IsReadInEveryRegionUpToTheEndOfTheText) {
  EXPECT_EQ(Read(u"5 PM"), 17.0 / 24);
  EXPECT_EQ(Read(u"5:00 p"), 17.0 / 24);
  EXPECT_EQ(Read(u"12 a"), 0);
}

TEST_P(RegionalConformance, TextFromDate_ZeroDate_ReadsBackAsExactlyZero) {
  const Text zero = Write(0);
  EXPECT_FALSE(zero.empty());
  EXPECT_EQ(Read(zero), 0.0) << ToUtf8(zero);
  EXPECT_FALSE(std::signbit(Read(zero).value_or(-1)));
  EXPECT_EQ(Write(-0.0), zero);
}

TEST_P(RegionalConformance, TextFromDate_TheYears100To9999_CanBeWritten) {
  for (const double days : {-657434.0, -657434.5, 2958465.0, 2958465.5}) EXPECT_FALSE(Write(days).empty());
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double days : {-657435.0, -657436.0, 2958466.0, 1e300, -1e300, infinity, -infinity})
    ExpectNotWritten(days);
}

TEST_P(RegionalConformance, TextFromDate_WholeSecondsOfOurTimes_ReadBackAsTheyWere) {
  std::mt19937_64 random(1899);
  std::uniform_int_distribution<std::int64_t> dayOf(18264, 54788);  // 1950 to 2049, where two digits name a year
  std::uniform_int_distribution<std::int64_t> secondOf(0, 86399);
  for (int i = 0; i < 2000; ++i) {
    const std::int64_t day = dayOf(random);
    const std::int64_t second = i % 3 == 0 ? 0 : secondOf(random);
    const double days = static_cast<double>(day * 86400 + second) / 86400;
    const Text text = Write(days);
    ASSERT_EQ(Read(text), days) << ToUtf8(text);
  }
}

TEST_P(RegionalConformance, TextFromDouble_HasUpToFifteenDigits) {
  const auto number = [this](double value) { return Number(&RegionalSettings::TextFromDouble, value); };
  EXPECT_EQ(number(0), "0");
  EXPECT_EQ(number(-0.0), "0");
  EXPECT_EQ(number(-1234.5), "-1234.5");
  EXPECT_EQ(number(1.0 / 3), "0.333333333333333");
  EXPECT_EQ(number(123456789012344.5), "123456789012345");
  EXPECT_EQ(number(999999999999999), "999999999999999");
  EXPECT_EQ(number(1e15), "1E+15");
  EXPECT_EQ(number(0.0001), "0.0001");
  EXPECT_EQ(number(1e-5), "1E-05");
  EXPECT_EQ(number(1e-308), "1E-308");
}

TEST_P(RegionalConformance, TextFromSingle_HasUpToSevenDigits) {
  const auto number = [this](float value) { return Number(&RegionalSettings::TextFromSingle, value); };
  EXPECT_EQ(number(0.1f), "0.1");
  EXPECT_EQ(number(-1234.567f), "-1234.567");
  EXPECT_EQ(number(1e7f), "1E+07");
}

TEST_P(RegionalConformance, TextFromCurrency_HasUpToFourDecimals) {
  const auto number = [this](std::int64_t value) {
    return Number(&RegionalSettings::TextFromCurrency, Currency{value});
  };
  EXPECT_EQ(number(0), "0");
  EXPECT_EQ(number(12340000), "1234");
  EXPECT_EQ(number(-1), "-0.0001");
  EXPECT_EQ(number(std::numeric_limits<std::int64_t>::max()), "922337203685477.5807");
  EXPECT_EQ(number(std::numeric_limits<std::int64_t>::min()), "-922337203685477.5808");
}

TEST_P(RegionalConformance, TextFromDecimal_IsExact) {
  const auto number = [this](Decimal value) { return Number(&RegionalSettings::TextFromDecimal, value); };
  EXPECT_EQ(number({0, true, 0, 0}), "0");
  EXPECT_EQ(number({2, true, 0, 1250}), "-12.5");
  EXPECT_EQ(number({28, false, 0, 1}), "0.0000000000000000000000000001");
  EXPECT_EQ(number({0, false, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF}), "79228162514264337593543950335");
}

TEST_P(RegionalConformance, ManyThreads_UseOneObjectAtOnce) {
  std::array<int, 4> right{};
  std::array<std::thread, 4> threads;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    threads[i] = std::thread([this, &count = right[i]] {
      for (int round = 0; round < 200; ++round) {
        Date date;
        Text text;
        if (settings_->DateFromText(u"1999-12-31 18:00", date) == AutomationStatus::kSuccess && date.days == 36525.75 &&
            settings_->TextFromDouble(0.5, text) == AutomationStatus::kSuccess && text.size() >= 3) {
          ++count;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int count : right) EXPECT_EQ(count, 200);
}

}  // namespace nerio::testing
