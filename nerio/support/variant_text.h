#pragma once

#include "nerio/platform/regional_settings.h"
#include "nerio/types/text.h"
#include "nerio/types/variant.h"

namespace nerio {

/// Converts a value of any type to text.
///
/// A text stays as it is, lone surrogates and NULs included. An empty value is empty text. A Boolean is "True" or
/// "False", in every region. Whole numbers are plain decimal, with "-" before a negative one. Bytes are read as UTF-16
/// code units, low byte first; an odd byte at the end is dropped. Single, double, currency, decimal and date are
/// written by the regional settings.
///
/// @throws Error `kErrInvalidUseOfNull` for a null value; the number of the failed conversion for a value that the
///   regional settings cannot write, such as a date after the year 9999. Source: "Variant".
Text VariantToText(const Variant& value, platform::RegionalSettings& regional);

}  // namespace nerio
