#pragma once

#include <cstddef>

namespace nerio::testing {

/// What this program's operator new does. While `counting`, the allocation of the number `failing`, from 1, is refused, and
/// with `lasting` every one after it.
struct CountedMemory {
  bool counting = false;
  bool lasting = false;
  std::size_t allocations = 0;  ///< while counting
  std::size_t failing = 0;
  std::size_t bytes = 0;  ///< in use, counted always
};
extern CountedMemory memory;

}  // namespace nerio::testing
