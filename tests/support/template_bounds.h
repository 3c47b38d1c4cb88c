#pragma once

#include <cstddef>
#include <cstdint>

namespace nerio::testing {

/// The bounds of a list and what becomes of a template that is filled with it, whoever hands the list over.
struct TemplateBounds {
  std::int32_t lowerBound;
  std::size_t count;
  bool overflows;
  /// How many values are looked at: all of them, or none where the bounds alone fail.
  std::size_t passes;
};

inline constexpr TemplateBounds kTemplateBounds[] = {
    // The last index is below the limit.
    {0, 32767, false, 32767},
    {-32768, 65535, false, 65535},
    {32766, 1, false, 1},
    // It is 32,767: after the last pass.
    {32767, 1, true, 1},
    {32766, 2, true, 2},
    {0, 32768, true, 32768},
    {-32768, 65536, true, 65536},
    // Above: before the first pass.
    {32768, 1, true, 0},
    {32767, 2, true, 0},
    {0, 32769, true, 0},
    {-32768, 65537, true, 0},
    {0, 1'000'000, true, 0},
    {2147483647, 1, true, 0},
    {2147483647, 2, true, 0},
    // A first index below what 16 bits hold: before the first pass.
    {-32769, 1, true, 0},
    {-2147483647 - 1, 3, true, 0},
    // No values: the bounds count all the same, and the last index is the one before the first.
    {0, 0, false, 0},
    {-1, 0, false, 0},
    {-32768, 0, false, 0},
    {32767, 0, false, 0},
    {32768, 0, true, 0},
    {40000, 0, true, 0},
    {2147483647, 0, true, 0},
    {-32769, 0, true, 0},
    {-2147483647 - 1, 0, true, 0},
};

}  // namespace nerio::testing
