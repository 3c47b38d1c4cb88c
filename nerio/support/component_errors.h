#pragma once

#include <cstdint>

#include "nerio/platform/host.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Raises one of the component's own errors.
/// @param code the error's number: `ErrNullOrEmptyParameter` and its like, or any other number.
/// @param operation the error's source: the name of the raising operation.
/// @param detail what the code's template calls {0}, such as the parameter's name.
/// @throws Error always; its description is the template of `GetErrorMessage`, filled by `FormatTemplate` with `detail`
///   as its only value.
[[noreturn]] NERIO_PUBLIC void RaiseError(std::int32_t code, TextView operation, TextView detail,
                                          const platform::Host& host = platform::ThisHost());

/// Refuses an empty required parameter. Only the length counts: a value of nothing but blanks passes.
/// @throws Error `ErrNullOrEmptyParameter`, source "ValidateParam", when `value` is empty; its description names
///   `parameterName`: "Il parametro [sTesto] non può essere nullo o vuoto".
NERIO_PUBLIC void ValidateParam(TextView value, TextView parameterName,
                                const platform::Host& host = platform::ThisHost());

}  // namespace nerio
