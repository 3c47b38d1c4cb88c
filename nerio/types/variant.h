#pragma once

#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

#include "nerio/types/boolean.h"
#include "nerio/types/date.h"
#include "nerio/types/text.h"

namespace nerio {

/// The value of a variable that was never assigned. Its text is empty.
struct Empty {
  constexpr Empty() noexcept = default;
  // Written out so that it is not trivial, deliberately: where every type of a variant is cheap to move, version 12 of
  // GNU's library takes the variant to hold a value always, and destroys one when its copy found no memory for it.
  constexpr Empty(const Empty&) noexcept {}
  constexpr Empty& operator=(const Empty&) noexcept = default;

  friend bool operator==(const Empty&, const Empty&) = default;
};

/// The value of a database field that holds no value. It has no text: turning it into one raises error 94.
struct Null {
  friend bool operator==(const Null&, const Null&) = default;
};

/// A fixed-point amount in ten-thousandths of the unit.
struct Currency {
  std::int64_t tenThousandths = 0;

  friend bool operator==(const Currency&, const Currency&) = default;
};

/// A decimal number: (-1 when negative) * (high * 2^64 + low) / 10^scale, with a 96-bit magnitude.
struct Decimal {
  std::uint8_t scale = 0;  ///< digits after the decimal mark, 0 to 28
  bool negative = false;
  std::uint32_t high = 0;
  std::uint64_t low = 0;

  friend bool operator==(const Decimal&, const Decimal&) = default;
};

/// The content of a binary field.
using Bytes = std::vector<std::uint8_t>;

/// Holds one value of any type that a database field can have. A value keeps its type: nothing is narrowed, widened or
/// converted by holding it.
using Variant =
    std::variant<Empty, Null, Boolean, std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                 std::uint32_t, std::int64_t, std::uint64_t, float, double, Currency, Decimal, Date, Text, Bytes>;

/// Holds an array of values with a lower bound of its own: the first value has the index `lowerBound`.
struct ArgumentList {
  std::vector<Variant> values;
  std::int32_t lowerBound = 0;
};

}  // namespace nerio
