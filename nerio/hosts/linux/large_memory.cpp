#include "nerio/platform/large_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace nerio::platform {

void AskForLargePages(void* place, std::size_t size) noexcept {
  // The call wants whole pages. What else lies in the first and the last one is allocated too and may be large as well.
  static const auto pageSize = static_cast<std::uintptr_t>(::getpagesize());
  const std::uintptr_t gap = reinterpret_cast<std::uintptr_t>(place) % pageSize;
  // Without large pages it fails, which is as good.
  static_cast<void>(::madvise(static_cast<char*>(place) - gap, size + gap, MADV_HUGEPAGE));
}

}  // namespace nerio::platform
