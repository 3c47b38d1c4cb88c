#pragma once

#include <cstddef>

namespace nerio::platform {

/// Tells the system that a place in memory, not written to yet, is about to be filled from end to end, so that a large
/// one is provided in large pages: providing millions of bytes page by page takes longer than writing them. A hint and
/// no more: the content of the memory stays as it is, and a system that knows no such thing does nothing. Raises
/// nothing.
void ExpectFilling(void* place, std::size_t size) noexcept;

}  // namespace nerio::platform
