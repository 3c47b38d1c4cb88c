#pragma once

#include <cstddef>

#include "nerio/types/text.h"

namespace nerio {

/// Tells whether a code unit is the half of a surrogate pair that comes first.
constexpr bool IsHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }

/// Tells whether a code unit is the half of a surrogate pair that comes second.
constexpr bool IsLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

/// Tells whether a surrogate pair begins at a place of a text.
constexpr bool IsPairAt(TextView text, std::size_t place) {
  return place + 1 < text.size() && IsHighSurrogate(text[place]) && IsLowSurrogate(text[place + 1]);
}

/// Returns the code point that a surrogate pair stands for.
constexpr char32_t PointOfPair(char16_t high, char16_t low) {
  return 0x10000 + ((high & 0x3FFu) << 10 | (low & 0x3FFu));
}

/// Returns the halves of the surrogate pair of a code point above U+FFFF.
constexpr char16_t HighSurrogateOf(char32_t point) { return static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)); }
constexpr char16_t LowSurrogateOf(char32_t point) { return static_cast<char16_t>(0xDC00 + (point & 0x3FF)); }

/// Appends a code point to a text, as one code unit or as a pair. Raises nothing but std::bad_alloc.
inline void AppendPoint(Text& text, char32_t point) {
  if (point < 0x10000) {
    text += static_cast<char16_t>(point);
  } else {
    text += HighSurrogateOf(point);
    text += LowSurrogateOf(point);
  }
}

}  // namespace nerio
