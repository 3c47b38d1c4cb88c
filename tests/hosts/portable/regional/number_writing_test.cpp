#include "nerio/hosts/portable/regional/number_writing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

std::string Double(double value, TextView mark = u".") { return ToUtf8(WriteDouble(value, kDoubleDigits, mark)); }
std::string Single(float value, TextView mark = u".") { return ToUtf8(WriteDouble(value, kSingleDigits, mark)); }
std::string Money(std::int64_t value, TextView mark = u".") { return ToUtf8(WriteCurrency({value}, mark)); }
std::string Plain(const Decimal& value, TextView mark = u".") { return ToUtf8(WriteDecimal(value, mark)); }

// A whole number in nine decimal digits at a time, lowest first, with the arithmetic of schoolbooks.
class Schoolbook {
 public:
  explicit Schoolbook(std::uint64_t value) {
    for (; value != 0; value /= kBase) parts_.push_back(value % kBase);
  }

  void MultiplyBy(std::uint64_t factor) {
    std::uint64_t carry = 0;
    for (std::uint64_t& part : parts_) {
      carry += part * factor;
      part = carry % kBase;
      carry /= kBase;
    }
    if (carry != 0) parts_.push_back(carry);
  }

  std::string Digits() const {
    std::ostringstream text;
    for (auto part = parts_.rbegin(); part != parts_.rend(); ++part) text << std::setw(9) << std::setfill('0') << *part;
    return text.str().substr(text.str().find_first_not_of('0'));
  }

 private:
  static constexpr std::uint64_t kBase = 1'000'000'000;
  std::vector<std::uint64_t> parts_;
};

// Writes a positive number as WriteDouble should: mantissa times a power of two, multiplied out, rounded by hand.
std::string Reference(double value, int count) {
  int exponent = 0;
  const auto mantissa = static_cast<std::uint64_t>(std::ldexp(std::frexp(value, &exponent), 53));
  exponent -= 53;
  Schoolbook whole(mantissa);
  int decimals = 0;  // value = digits / 10^decimals
  for (; exponent > 0; --exponent) whole.MultiplyBy(2);
  for (; exponent < 0; ++exponent, ++decimals) whole.MultiplyBy(5);
  std::string digits = whole.Digits();
  int point = static_cast<int>(digits.size()) - decimals;
  digits.resize(std::max<std::size_t>(digits.size(), static_cast<std::size_t>(count) + 1), '0');
  const bool up = digits[static_cast<std::size_t>(count)] >= '5';
  digits.resize(static_cast<std::size_t>(count));
  if (up) {
    while (!digits.empty() && digits.back() == '9') digits.pop_back();
    if (digits.empty()) {
      digits.assign(1, '1');
      ++point;
    } else {
      ++digits.back();
    }
  }
  digits.erase(digits.find_last_not_of('0') + 1);
  const int scientific = point - 1;
  if (scientific < -4 || scientific >= count) {
    if (digits.size() > 1) digits.insert(1, 1, '.');
    std::ostringstream text;
    text << digits << (scientific < 0 ? "E-" : "E+") << std::setw(2) << std::setfill('0') << std::abs(scientific);
    return text.str();
  }
  if (point <= 0) return digits.insert(0, static_cast<std::size_t>(1 - point), '0').insert(1, 1, '.');
  if (digits.size() <= static_cast<std::size_t>(point)) {
    return digits.append(static_cast<std::size_t>(point) - digits.size(), '0');
  }
  return digits.insert(static_cast<std::size_t>(point), 1, '.');
}

TEST(NumberWriting, Double_HasFifteenDigitsAndTiesGoAwayFromZero) {
  EXPECT_EQ(Double(123456789012344.5), "123456789012345");
  EXPECT_EQ(Double(123456789012345.5), "123456789012346");
  EXPECT_EQ(Double(-123456789012344.5), "-123456789012345");
  EXPECT_EQ(Double(0.1), "0.1");
  EXPECT_EQ(Double(1.0 / 3), "0.333333333333333");
  EXPECT_EQ(Double(2.0 / 3), "0.666666666666667");
  EXPECT_EQ(Double(999999999999999.9), "1E+15");
}

TEST(NumberWriting, Double_TakesAnExponentBelowOneTenThousandthAndFromFifteenZerosOn) {
  EXPECT_EQ(Double(999999999999999), "999999999999999");
  EXPECT_EQ(Double(1e15), "1E+15");
  EXPECT_EQ(Double(1.5e15), "1.5E+15");
  EXPECT_EQ(Double(0.0001), "0.0001");
  EXPECT_EQ(Double(0.00001), "1E-05");
  EXPECT_EQ(Double(0.00009999999999999999), "0.0001");
  EXPECT_EQ(Double(std::numeric_limits<double>::max()), "1.79769313486232E+308");
  EXPECT_EQ(Double(std::numeric_limits<double>::min()), "2.2250738585072E-308");
  EXPECT_EQ(Double(std::numeric_limits<double>::denorm_min()), "4.94065645841247E-324");
}

TEST(NumberWriting, Single_HasSevenDigits) {
  EXPECT_EQ(Single(0.1f), "0.1");
  EXPECT_EQ(Single(9999999.0f), "9999999");
  EXPECT_EQ(Single(1e7f), "1E+07");
  EXPECT_EQ(Single(654322.23456f), "654322.3");  // 654322.25, a tie
  EXPECT_EQ(Single(std::numeric_limits<float>::max()), "3.402823E+38");
  EXPECT_EQ(Single(std::numeric_limits<float>::denorm_min()), "1.401298E-45");
}

TEST(NumberWriting, DecimalMark_OfTheRegionStandsInBothForms) {
  EXPECT_EQ(Double(-1234.5, u","), "-1234,5");
  EXPECT_EQ(Double(1.5e-7, u","), "1,5E-07");
  EXPECT_EQ(Double(1e-7, u","), "1E-07");
  EXPECT_EQ(Double(0.5, u"<>"), "0<>5");
  EXPECT_EQ(Money(-12345, u","), "-1,2345");
  EXPECT_EQ(Plain({2, true, 0, 1250}, u","), "-12,5");
}

TEST(NumberWriting, Zero_HasNoSign) {
  EXPECT_EQ(Double(0.0), "0");
  EXPECT_EQ(Double(-0.0), "0");
  EXPECT_EQ(Single(-0.0f), "0");
  EXPECT_EQ(Money(0), "0");
  EXPECT_EQ(Plain({0, true, 0, 0}), "0");
  EXPECT_EQ(Plain({28, true, 0, 0}), "0");
}

TEST(NumberWriting, NoNumber_HasAName) {
  EXPECT_EQ(Double(std::numeric_limits<double>::infinity()), "INF");
  EXPECT_EQ(Double(-std::numeric_limits<double>::infinity()), "-INF");
  EXPECT_EQ(Double(std::bit_cast<double>(std::uint64_t{0x7FF8000000000000})), "NAN");
  EXPECT_EQ(Double(std::bit_cast<double>(std::uint64_t{0xFFF8000000000000})), "-NAN(IND)");
}

TEST(NumberWriting, AnyDouble_IsItsExactValueRounded) {
  std::mt19937_64 random(15);
  for (int i = 0; i < 1500; ++i) {
    const auto value = std::fabs(std::bit_cast<double>(random()));
    if (!std::isfinite(value) || value == 0) continue;
    ASSERT_EQ(Double(value), Reference(value, kDoubleDigits)) << std::hexfloat << value;
    const auto single = std::fabs(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    if (!std::isfinite(single) || single == 0) continue;
    ASSERT_EQ(Single(single), Reference(single, kSingleDigits)) << std::hexfloat << single;
  }
}

TEST(NumberWriting, DoublesWithFewBinaryPlaces_WhereTiesAre_AreTheirExactValueRounded) {
  std::mt19937_64 random(16);
  for (int i = 0; i < 20000; ++i) {
    const auto value = std::ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 12));
    if (value == 0) continue;
    ASSERT_EQ(Double(value), Reference(value, kDoubleDigits)) << std::hexfloat << value;
  }
  for (int i = 0; i < 20000; ++i) {
    const auto value = std::ldexp(static_cast<float>(random() >> 40), -static_cast<int>(random() % 12));
    if (value == 0) continue;
    ASSERT_EQ(Single(value), Reference(value, kSingleDigits)) << std::hexfloat << value;
  }
}

TEST(NumberWriting, PowersOfTwoAndTheirNeighbours_AreTheirExactValueRounded) {
  for (int exponent = -1074; exponent <= 1023; exponent += 7) {
    const double power = std::ldexp(1.0, exponent);
    for (const double value : {power, std::nextafter(power, 0), std::nextafter(power, INFINITY)}) {
      if (value == 0) continue;
      ASSERT_EQ(Double(value), Reference(value, kDoubleDigits)) << std::hexfloat << value;
    }
  }
}

TEST(NumberWriting, Currency_IsExactToItsLimits) {
  EXPECT_EQ(Money(1), "0.0001");
  EXPECT_EQ(Money(-10), "-0.001");
  EXPECT_EQ(Money(10000), "1");
  EXPECT_EQ(Money(1000000), "100");
  EXPECT_EQ(Money(123450), "12.345");
  EXPECT_EQ(Money(std::numeric_limits<std::int64_t>::max()), "922337203685477.5807");
  EXPECT_EQ(Money(std::numeric_limits<std::int64_t>::min()), "-922337203685477.5808");
}

TEST(NumberWriting, Decimal_IsExactAtEveryScale) {
  constexpr std::uint32_t kHigh = std::numeric_limits<std::uint32_t>::max();
  constexpr std::uint64_t kLow = std::numeric_limits<std::uint64_t>::max();
  const std::string digits = "79228162514264337593543950335";  // 2^96 - 1
  EXPECT_EQ(Plain({0, true, kHigh, kLow}), std::string("-").append(digits));
  for (std::size_t scale = 1; scale <= 28; ++scale) {
    std::string expected = digits;
    expected.insert(expected.size() - scale, 1, '.');
    EXPECT_EQ(Plain({static_cast<std::uint8_t>(scale), false, kHigh, kLow}), expected);
  }
  EXPECT_EQ(Plain({28, true, 0, 1}), "-0.0000000000000000000000000001");
  EXPECT_EQ(Plain({0, false, 1, 0}), "18446744073709551616");
  EXPECT_EQ(Plain({5, false, 0, 100000}), "1");
  EXPECT_EQ(Plain({2, false, 0, 120000}), "1200");
  EXPECT_EQ(Plain({3, false, 0, 1500}), "1.5");
  // No decimal has such a scale; it is still written for what it says.
  EXPECT_EQ(Plain({29, false, kHigh, kLow}), std::string("0.").append(digits));
  EXPECT_EQ(Plain({255, false, 0, 5}), std::string("0.").append(254, '0').append("5"));
}

}  // namespace
}  // namespace nerio::platform
