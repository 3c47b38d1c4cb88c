#include "nerio/hosts/portable/regional/number_writing.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

namespace nerio::platform {
namespace {

// Digits d1 d2 d3 ... that mean 0.d1d2d3... times 10 to the power of `point`: the mark stands after `point` digits.
struct Digits {
  std::string digits;
  int point;
};

void CutZerosAtEnd(std::string& digits) { digits.erase(digits.find_last_not_of('0') + 1); }

// Returns all the digits of a positive number: a double is a whole multiple of a power of two, so it has an end.
Digits ExactDigits(double value) {
  constexpr int kMostDigits = 767;         // of the largest subnormal double; every other has fewer
  std::array<char, kMostDigits + 8> text;  // the mark, "e-308" and to spare
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific, kMostDigits - 1).ptr;
  std::string digits(text.data(), text.data() + 1);
  digits.append(text.data() + 2, kMostDigits - 1);
  const char* exponentText = text.data() + 1 + kMostDigits + 1;  // after the mark, the digits and the "e"
  int exponent = 0;
  std::from_chars(exponentText + (*exponentText == '+' ? 1 : 0), end, exponent);
  return {std::move(digits), exponent + 1};
}

// Rounds to so many digits, halves away from zero.
void Round(Digits& number, std::size_t count) {
  const bool up = number.digits[count] >= '5';
  number.digits.resize(count);
  if (up) {
    std::size_t at = count;
    while (at > 0 && number.digits[at - 1] == '9') number.digits[--at] = '0';
    if (at > 0) {
      ++number.digits[at - 1];
    } else {
      number.digits.insert(0, 1, '1');
      ++number.point;
    }
  }
  CutZerosAtEnd(number.digits);
}

void AppendAscii(Text& text, std::string_view ascii) { text.append(ascii.begin(), ascii.end()); }

// Appends digits with the mark after `point` of them, zeros put in wherever digits are missing.
void AppendFixed(Text& text, std::string_view digits, int point, TextView decimalMark) {
  const auto before = static_cast<std::size_t>(point > 0 ? point : 0);
  const auto zerosBehind = static_cast<std::size_t>(point < 0 ? -point : 0);
  AppendAscii(text, before == 0 ? "0" : digits.substr(0, before));
  if (digits.size() <= before) {
    text.append(before - digits.size(), u'0');
    return;
  }
  text += decimalMark;
  text.append(zerosBehind, u'0');
  AppendAscii(text, digits.substr(before));
}

void AppendExponent(Text& text, int exponent) {
  text += exponent < 0 ? u"E-" : u"E+";
  const std::string digits = std::to_string(std::abs(exponent));
  if (digits.size() < 2) text += u'0';
  AppendAscii(text, digits);
}

Text WriteNoNumber(double value) {
  if (std::isinf(value)) return std::signbit(value) ? u"-INF" : u"INF";
  return std::signbit(value) ? u"-NAN(IND)" : u"NAN";
}

// Writes digits / 10^scale.
Text WriteScaled(bool negative, std::string digits, int scale, TextView decimalMark) {
  digits.erase(0, digits.find_first_not_of('0'));
  const int point = static_cast<int>(digits.size()) - scale;
  CutZerosAtEnd(digits);
  if (digits.empty()) return u"0";
  Text text = negative ? u"-" : u"";
  AppendFixed(text, digits, point, decimalMark);
  return text;
}

}  // namespace

Text WriteDouble(double value, int digits, TextView decimalMark) {
  if (!std::isfinite(value)) return WriteNoNumber(value);
  if (value == 0) return u"0";
  Digits number = ExactDigits(std::fabs(value));
  Round(number, static_cast<std::size_t>(digits));
  Text text = value < 0 ? u"-" : u"";
  const int exponent = number.point - 1;
  if (exponent >= -4 && exponent < digits) {
    AppendFixed(text, number.digits, number.point, decimalMark);
  } else {
    AppendFixed(text, number.digits, 1, decimalMark);
    AppendExponent(text, exponent);
  }
  return text;
}

Text WriteCurrency(Currency value, TextView decimalMark) {
  constexpr int kScale = 4;
  const bool negative = value.tenThousandths < 0;
  const auto bits = static_cast<std::uint64_t>(value.tenThousandths);
  return WriteScaled(negative, std::to_string(negative ? 0 - bits : bits), kScale, decimalMark);
}

Text WriteDecimal(const Decimal& value, TextView decimalMark) {
  // Divides the 96 bits, highest 32 first, by ten again and again.
  std::array<std::uint32_t, 3> parts{value.high, static_cast<std::uint32_t>(value.low >> 32),
                                     static_cast<std::uint32_t>(value.low)};
  constexpr std::size_t kMostDigits = 29;  // 2^96-1 has so many
  std::string digits(kMostDigits, '0');
  for (std::size_t i = kMostDigits; i-- > 0;) {
    std::uint64_t rest = 0;
    for (std::uint32_t& part : parts) {
      const std::uint64_t dividend = rest << 32 | part;
      part = static_cast<std::uint32_t>(dividend / 10);
      rest = dividend % 10;
    }
    digits[i] = static_cast<char>('0' + rest);
  }
  return WriteScaled(value.negative, std::move(digits), value.scale, decimalMark);
}

}  // namespace nerio::platform
