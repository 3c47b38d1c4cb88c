#pragma once

#include <cstddef>

namespace nerio::testing {

/// Counts what this process has open: descriptors, or handles of the kernel's objects.
std::size_t CountOpen();

}  // namespace nerio::testing
