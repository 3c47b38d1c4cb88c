#pragma once

namespace nerio {

/// Holds a date as days since 30 December 1899 at midnight; the fraction is the time of day. Before day 0 the fraction
/// still counts forward: -1.25 is 29 December 1899, 06:00. A type of its own, so that a date and a number never mix.
struct Date {
  double days = 0;

  friend bool operator==(const Date&, const Date&) = default;
};

}  // namespace nerio
