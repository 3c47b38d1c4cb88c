#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include "nerio/types/text.h"

namespace nerio::fuzz {

/// Ends the process, which is a finding, unless the condition holds.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

/// Makes a text of bytes: a code unit of each, so that ASCII is met often, or a code unit of each pair, so that every
/// one is met.
inline Text TextOf(std::span<const std::uint8_t> bytes, bool ofPairs) {
  if (!ofPairs) return {bytes.begin(), bytes.end()};
  Text text(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
  return text;
}

}  // namespace nerio::fuzz
