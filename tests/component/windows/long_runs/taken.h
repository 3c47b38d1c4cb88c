#pragma once

#include <cstddef>

namespace nerio::testing {

/// What this process has taken of the system.
struct Taken {
  int slots = 0;            ///< of thread-local storage
  std::size_t handles = 0;  ///< of the kernel's objects
  std::size_t heapBytes = 0;
};

/// Counts what this process has taken.
/// @throws std::runtime_error when the system does not tell.
Taken Measure();

}  // namespace nerio::testing
