#pragma once

#include "nerio/types/visibility.h"

namespace nerio {

/// Returns the version of the library, such as "0.1.0". The text lives as long as the library is loaded.
NERIO_PUBLIC const char* NerioVersion() noexcept;

}  // namespace nerio
