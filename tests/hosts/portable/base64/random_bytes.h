#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

#include "nerio/types/text.h"

namespace nerio::testing {

/// Returns bytes that are the same in each run of a test.
inline Bytes RandomBytes(std::size_t count) {
  static std::mt19937 random(72);
  Bytes bytes(count);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

}  // namespace nerio::testing
