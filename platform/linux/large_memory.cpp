#include "platform/large_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace nerio::platform {

void ExpectFilling(void* place, std::size_t size) noexcept {
  // Two of the large pages of most processors; below that the call is not worth its time.
  constexpr std::size_t kLarge = std::size_t{4} << 20;
  if (size < kLarge) return;
  // The call wants whole pages. What else lies in the first and the last one is allocated too and may be large as well.
  static const auto pageSize = static_cast<std::uintptr_t>(::getpagesize());
  const auto start = reinterpret_cast<std::uintptr_t>(place);
  const std::uintptr_t gap = start % pageSize;
  // Without large pages it fails, which is as good.
  static_cast<void>(::madvise(reinterpret_cast<void*>(start - gap), size + gap, MADV_HUGEPAGE));
}

}  // namespace nerio::platform
