#pragma once

#include <cstdint>

#include "nerio/platform/host.h"
#include "nerio/types/text.h"
#include "nerio/types/variant.h"

namespace nerio {

/// Fills the numbered placeholders of a template. The value of the list's index k stands for every "{k}"; k is written
/// in plain decimal, with "-" when negative. Placeholders without a value and all other braces stay as they are.
///
/// There is one pass for each index, in ascending order, and each works on the text that the one before left. So text
/// inserted for a lower index is searched for the placeholders of higher ones and never the other way round, on
/// purpose:
/// "{0}{1}" with "{1}" and "z" gives "zz", with "a" and "{0}" it gives "a{0}". Text that a pass inserts is not searched
/// by the same pass.
///
/// The index is a 16-bit signed integer. A list whose last index is above 32,767, or whose first one is below -32,768,
/// fails before its first pass; one whose last index is exactly 32,767 fails behind its last pass, when the index
/// cannot go on. Traps nothing and leaves no text on failure.
///
/// @param messageTemplate any text.
/// @param arguments the values, turned into text by `VariantToText` under the host's regional settings, each by its own
///   pass and whether or not its placeholder occurs. An empty list has no index: the template comes back unchanged.
/// @throws Error `kErrInvalidUseOfNull` for a null value; `kErrOverflow` for the indices above; the failure of the
///   conversion for a value that the regional settings cannot write.
Text FormatTemplate(TextView messageTemplate, const ArgumentList& arguments,
                    const platform::Host& host = platform::ThisHost());

/// Raises one of the component's own errors.
/// @param code the error's number: `ErrNullOrEmptyParameter` and its like, or any other number.
/// @param operation the error's source: the name of the raising operation.
/// @param detail what the code's template calls {0}, such as the parameter's name.
/// @throws Error always; its description is the template of `GetErrorMessage`, filled by `FormatTemplate` with `detail`
///   as its only value.
[[noreturn]] void RaiseError(std::int32_t code, TextView operation, TextView detail,
                             const platform::Host& host = platform::ThisHost());

/// Refuses an empty required parameter. Only the length counts: a value of nothing but blanks passes.
/// @throws Error `ErrNullOrEmptyParameter`, source "ValidateParam", when `value` is empty; its description names
///   `parameterName`: "Il parametro [sTesto] non può essere nullo o vuoto".
void ValidateParam(TextView value, TextView parameterName, const platform::Host& host = platform::ThisHost());

}  // namespace nerio
