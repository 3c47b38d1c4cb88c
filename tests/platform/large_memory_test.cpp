#include "nerio/platform/large_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace nerio::platform {
namespace {

TEST(LargeMemory, ExpectFilling_OfAnyPlaceAndSize_LeavesTheContent) {
  for (const std::size_t size : {0u, 1u, 4095u, 1u << 20, (4u << 20) - 1, 4u << 20, 20'000'001u}) {
    for (const std::size_t offset : {0u, 1u, 4096u, 5000u}) {
      std::vector<unsigned char> memory(offset + size + 1, 0x5A);
      ExpectFilling(memory.data() + offset, size);
      EXPECT_EQ(std::count(memory.begin(), memory.end(), 0x5A), static_cast<std::ptrdiff_t>(memory.size()))
          << size << " from " << offset;
    }
  }
}

TEST(LargeMemory, ExpectFilling_OfNoPlace_DoesNothing) { ExpectFilling(nullptr, 0); }

}  // namespace
}  // namespace nerio::platform
