#include "tests/allocations/open_handles.h"

#include <filesystem>
#include <iterator>

namespace nerio::testing {

std::size_t CountOpen() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

}  // namespace nerio::testing
