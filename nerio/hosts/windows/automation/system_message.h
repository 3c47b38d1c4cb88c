#pragma once

#include <cstdint>

#include "nerio/types/text.h"

namespace nerio::platform {

/// Returns the system's own text, in the user's language, for an error number of its functions or a COM error code,
/// without a line end; the number itself where the system has no text.
Text SystemMessage(std::int32_t number);

}  // namespace nerio::platform
