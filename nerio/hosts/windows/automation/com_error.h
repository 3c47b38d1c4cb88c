#pragma once

#include <cstdint>

#include "nerio/types/error.h"

namespace nerio::platform {

/// Forgets the error information that an earlier call left on this thread, so that `RaiseComError` cannot take it for
/// that of the next one.
void ClearErrorInfo() noexcept;

/// Raises a failed COM call: the number is its answer; source and description are those that the object left on this
/// thread (IErrorInfo), otherwise an empty source and the system's own text for the number.
/// @throws Error always.
[[noreturn]] void RaiseComError(std::int32_t result);

/// Raises error 13 of the Variant type: a value has a type that it cannot have there.
/// @throws Error always.
[[noreturn]] void RaiseTypeMismatch();

}  // namespace nerio::platform
