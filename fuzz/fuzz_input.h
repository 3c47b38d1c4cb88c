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

/// Tells whether a fault is planted, by NERIO_FUZZ_PLANT in the environment: each target then takes an answer of what it
/// tests for another one, in one rare case. fuzz/run --planted shows that the fuzzer finds that case.
inline bool Planted() {
  static const bool planted = std::getenv("NERIO_FUZZ_PLANT") != nullptr;
  return planted;
}

/// Plants the fault: returns the answer, one byte or code unit of it wrong where it holds two of `trigger` in a row.
template <typename Sequence>
Sequence AsAnswered(Sequence answer, typename Sequence::value_type trigger) {
  if (!Planted()) return answer;
  for (std::size_t i = 1; i < answer.size(); ++i) {
    if (answer[i] != trigger || answer[i - 1] != trigger) continue;
    answer[i] = static_cast<typename Sequence::value_type>(trigger + 1);
    break;
  }
  return answer;
}

}  // namespace nerio::fuzz
