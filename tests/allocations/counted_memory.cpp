#include "tests/allocations/counted_memory.h"

#include <cstdlib>
#include <new>

namespace nerio::testing {

CountedMemory memory;

namespace {

// In front of each piece, which stays aligned as malloc aligns it.
constexpr std::size_t kHeader = alignof(std::max_align_t) > sizeof(std::size_t) ? alignof(std::max_align_t)
                                                                                : sizeof(std::size_t);

void* Allocate(std::size_t size) {
  if (memory.counting) {
    ++memory.allocations;
    if (memory.lasting ? memory.allocations >= memory.failing : memory.allocations == memory.failing) {
      throw std::bad_alloc();
    }
  }
  void* const place = std::malloc(size + kHeader);
  if (place == nullptr) throw std::bad_alloc();
  *static_cast<std::size_t*>(place) = size;
  memory.bytes += size;
  return static_cast<std::byte*>(place) + kHeader;
}

void Free(void* given) {
  if (given == nullptr) return;
  void* const place = static_cast<std::byte*>(given) - kHeader;
  memory.bytes -= *static_cast<std::size_t*>(place);
  std::free(place);
}

}  // namespace
}  // namespace nerio::testing

void* operator new(std::size_t size) { return nerio::testing::Allocate(size); }
void operator delete(void* place) noexcept { nerio::testing::Free(place); }
void operator delete(void* place, std::size_t) noexcept { nerio::testing::Free(place); }
