#pragma once

#include <cstdint>

namespace nerio::platform {

/// A native return code: 0 is success, everything else failure. Which numbers there are, the interface that answers
/// them says.
using Status = std::int32_t;

constexpr Status kSuccess = 0;

}  // namespace nerio::platform
