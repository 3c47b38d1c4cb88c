#pragma once

#include <chrono>
#include <cstdint>

namespace nerio::platform {

/// Midnight of 30 December 1899, where the days of a Date are counted from. The calendar is the Gregorian one at all
/// times, also before it was introduced.
constexpr std::chrono::sys_days kDateEpoch{std::chrono::year{1899} / std::chrono::December / 30};

/// Tells whether a year has a 29 February, for numbers too large to be a year as well.
constexpr bool IsLeapYear(std::uint32_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

}  // namespace nerio::platform
