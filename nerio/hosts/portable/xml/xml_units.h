#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nerio/types/text.h"

namespace nerio::platform::xml {

// Names and values are short and come by the hundred thousand: a call of memcpy or memcmp for each takes longer than
// the work itself. What is done here is done in line, in blocks of 8 or 4 units of which the last may overlap the one
// before.

/// Copies code units to a place that does not overlap them.
inline void CopyUnits(char16_t* out, TextView units) noexcept {
  constexpr std::size_t kMostInLine = 64;
  const char16_t* const from = units.data();
  const std::size_t count = units.size();
  if (count > kMostInLine) {
    std::memcpy(out, from, count * sizeof(char16_t));
  } else if (count >= 8) {
    for (std::size_t i = 0; i < count - 8; i += 8) std::memcpy(out + i, from + i, 16);
    std::memcpy(out + count - 8, from + count - 8, 16);
  } else if (count >= 4) {
    std::memcpy(out, from, 8);
    std::memcpy(out + count - 4, from + count - 4, 8);
  } else {
    for (std::size_t i = 0; i < count; ++i) out[i] = from[i];
  }
}

/// Views a text up to its first NUL.
inline TextView UpToNul(TextView text) noexcept {
  // Four units in the lanes of one word. The highest bit of a lane, set before, is borrowed where all others are zero.
  constexpr std::uint64_t kEach = 0x0001000100010001;
  constexpr std::uint64_t kHighest = 0x8000 * kEach;
  std::size_t length = 0;
  for (; text.size() - length >= 4; length += 4) {
    std::uint64_t lanes;
    std::memcpy(&lanes, text.data() + length, sizeof lanes);
    if ((~(((lanes | kHighest) - kEach) | lanes) & kHighest) != 0) break;
  }
  while (length < text.size() && text[length] != u'\0') ++length;
  return text.substr(0, length);
}

/// Tells whether two texts are equal.
inline bool SameUnits(TextView left, TextView right) noexcept {
  const std::size_t count = left.size();
  if (count != right.size()) return false;
  const auto differ = [&](std::size_t at) {
    std::uint64_t a;
    std::uint64_t b;
    std::memcpy(&a, left.data() + at, sizeof a);
    std::memcpy(&b, right.data() + at, sizeof b);
    return a != b;
  };
  if (count < 4) {
    for (std::size_t i = 0; i < count; ++i) {
      if (left[i] != right[i]) return false;
    }
    return true;
  }
  for (std::size_t i = 0; i < count - 4; i += 4) {
    if (differ(i)) return false;
  }
  return !differ(count - 4);
}

}  // namespace nerio::platform::xml
