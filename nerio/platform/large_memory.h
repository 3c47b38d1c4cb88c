#pragma once

#include <cstddef>

namespace nerio::platform {

/// What counts as large, in bytes: two of the large pages of most processors. Below that, asking for them is not worth
/// its time.
constexpr std::size_t kLargeMemory = std::size_t{4} << 20;

/// Asks the system to provide a place in memory, not written to yet, in large pages.
void AskForLargePages(void* place, std::size_t size) noexcept;

/// Tells the system that a place in memory, not written to yet, is about to be filled from end to end, so that a large
/// one is provided in large pages: providing millions of bytes page by page takes longer than writing them. A hint and
/// no more: the content of the memory stays as it is, and a system that knows no such thing does nothing. Raises
/// nothing.
inline void ExpectFilling(void* place, std::size_t size) noexcept {
  if (size >= kLargeMemory) AskForLargePages(place, size);
}

}  // namespace nerio::platform
