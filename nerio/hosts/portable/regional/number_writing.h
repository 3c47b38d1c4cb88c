#pragma once

#include "nerio/types/text.h"
#include "nerio/types/variant.h"

namespace nerio::platform {

/// The significant digits that are written of a double and of a single.
constexpr int kDoubleDigits = 15;
constexpr int kSingleDigits = 7;

/// Writes a number with at most so many significant digits, rounded from its exact value with halves away from zero,
/// and without zeros at the end: "1234,5". Below 0.0001, and from a one with `digits` zeros on, with an exponent of at
/// least two digits: "1,5E-05". Zero has no sign. What is not a number is "INF", "-INF", "NAN", "-NAN(IND)".
/// @param decimalMark what parts the decimals, in both forms.
Text WriteDouble(double value, int digits, TextView decimalMark);

/// Writes an amount exactly, with up to 4 decimals and without zeros at the end.
Text WriteCurrency(Currency value, TextView decimalMark);

/// Writes a decimal number exactly, whatever its scale, without zeros at the end. Zero has no sign.
Text WriteDecimal(const Decimal& value, TextView decimalMark);

}  // namespace nerio::platform
