#include "tests/allocations/open_handles.h"

#include "tests/component/windows/long_runs/taken.h"

namespace nerio::testing {

std::size_t CountOpen() { return Measure().handles; }

}  // namespace nerio::testing
