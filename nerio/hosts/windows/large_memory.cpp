#include "nerio/platform/large_memory.h"

namespace nerio::platform {

// Large pages need a privilege here that no ordinary process has.
void AskForLargePages(void* /*place*/, std::size_t /*size*/) noexcept {}

}  // namespace nerio::platform
