// Converts any bytes and any text between UTF-8, UTF-16 and code page 1252 and compares the conversions with each other
// and with those of the C library.

#include <iconv.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/hosts/portable/text/fold_case.h"
#include "nerio/types/utf8.h"

namespace {

using nerio::Text;
using nerio::TextView;
using nerio::fuzz::Require;
using nerio::platform::CodePage1252;

// What the C library makes of UTF-8; nothing where it is not well-formed.
std::optional<Text> Reference(std::string_view utf8) {
  static const iconv_t converter = ::iconv_open("UTF-16LE", "UTF-8");
  Require(converter != reinterpret_cast<iconv_t>(-1));
  ::iconv(converter, nullptr, nullptr, nullptr, nullptr);
  Text text(utf8.size(), u'\0');
  std::string bytes(utf8);
  char* in = bytes.data();
  std::size_t inLeft = bytes.size();
  auto* out = reinterpret_cast<char*>(text.data());
  std::size_t outLeft = text.size() * sizeof(char16_t);
  if (::iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1)) return std::nullopt;
  text.resize(text.size() - outLeft / sizeof(char16_t));
  return text;
}

bool IsHigh(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// The text with U+FFFD in place of each lone surrogate.
Text WithoutLoneSurrogates(Text text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsHigh(text[i]) && i + 1 < text.size() && IsLow(text[i + 1])) {
      ++i;
    } else if (IsHigh(text[i]) || IsLow(text[i])) {
      text[i] = 0xFFFD;
    }
  }
  return text;
}

void ConvertBytes(std::string_view bytes) {
  const std::optional<Text> expected = Reference(bytes);
  Require(nerio::IsUtf8(bytes) == expected.has_value());
  const Text text = nerio::FromUtf8(bytes);
  if (expected) {
    Require(nerio::fuzz::AsAnswered(text, u'\u00E0') == *expected);
    Require(nerio::ToUtf8(text) == bytes);
  }
  // What is well-formed at the front is all that can be: with the next byte, or the next two or three, it is not.
  const std::size_t whole = nerio::WellFormedUtf8(bytes);
  Require(Reference(bytes.substr(0, whole)).has_value());
  for (std::size_t more = whole + 1; more <= bytes.size() && more <= whole + 4; ++more) {
    Require(!Reference(bytes.substr(0, more)).has_value());
  }
  // What is not well-formed becomes text all the same, and that text is as good as any other.
  Require(WithoutLoneSurrogates(text) == text);
  Require(Reference(nerio::ToUtf8(text)) == text);

  CodePage1252 codePage;
  const Text ansi = codePage.ToText(bytes);
  Require(ansi.size() == bytes.size());
  Require(codePage.ToAnsi(ansi).bytes() == bytes);
  // A name is folded byte for byte as its text is unit for unit.
  const std::string folded = nerio::platform::FoldAnsi(bytes);
  Require(nerio::platform::FoldAnsi(folded) == folded);
  Require(nerio::platform::SameAnsiName(bytes, folded));
  const nerio::platform::AnsiNameOrder order;
  Require(!order(bytes, folded) && !order(folded, bytes));
}

void ConvertText(const Text& text) {
  const std::string utf8 = nerio::ToUtf8(text);
  Require(Reference(utf8) == WithoutLoneSurrogates(text));
  CodePage1252 codePage;
  const std::string ansi = codePage.ToAnsi(text).bytes();
  Require(ansi.size() == text.size());
  // Each unit by itself, and what it became stays.
  for (std::size_t i = 0; i < text.size(); ++i) {
    Require(codePage.ToAnsi(TextView(text).substr(i, 1)).bytes() == ansi.substr(i, 1));
  }
  Require(codePage.ToAnsi(codePage.ToText(ansi)).bytes() == ansi);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ConvertBytes({reinterpret_cast<const char*>(data), size});
  ConvertText(nerio::fuzz::TextOf({data, size}, true));
  return 0;
}
