#pragma once

#include <cstdint>

#include "nerio/platform/host.h"
#include "nerio/types/text.h"
#include "nerio/types/variant.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Checks the bounds of a list of values, so that whoever turns another kind of list into one can do so before looking
/// at any value. A list of no values has bounds too.
/// @param count how many values the list has; the last index is `lowerBound` + `count` - 1.
/// @throws Error `kErrOverflow` when `lowerBound` is not a 16-bit signed integer, or when the last index is above
///   32,767.
void CheckIndices(std::int64_t lowerBound, std::int64_t count);

/// Fills the numbered placeholders of a template. The value of the list's index k stands for every "{k}"; k is written
/// in plain decimal, with "-" when negative. Placeholders without a value and all other braces stay as they are.
///
/// There is one pass for each index, in ascending order, and each works on the text that the one before left. So text
/// inserted for a lower index is searched for the placeholders of higher ones and never the other way round, on
/// purpose:
/// "{0}{1}" with "{1}" and "z" gives "zz", with "a" and "{0}" it gives "a{0}". Text that a pass inserts is not searched
/// by the same pass.
///
/// The index is a 16-bit signed integer. A list that `CheckIndices` refuses fails before any value is looked at; one
/// whose last index is exactly 32,767 fails after its last pass, when the index cannot go on. Traps nothing and leaves
/// no text on failure.
///
/// @param messageTemplate any text.
/// @param arguments the values, turned into text by `VariantToText` under the host's regional settings, each by its own
///   pass and whether or not its placeholder occurs. With an empty list the template comes back unchanged.
/// @throws Error `kErrInvalidUseOfNull` for a null value; `kErrOverflow` for the indices above; the failure of the
///   conversion for a value that the regional settings cannot write.
NERIO_PUBLIC Text FormatTemplate(TextView messageTemplate, const ArgumentList& arguments,
                                 const platform::Host& host = platform::ThisHost());

}  // namespace nerio
