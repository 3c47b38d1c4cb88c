#pragma once

#include <bit>
#include <cstdint>
#include <span>

#include "nerio/types/text.h"
#include "nerio/types/variant.h"

namespace nerio {

/// Changes the order of the two bytes of every code unit.
inline void SwapBytes(Text& text) {
  for (char16_t& unit : text) unit = static_cast<char16_t>(unit << 8 | unit >> 8);
}

/// Views the bytes of a text: its UTF-16 code units, low byte first, without byte-order mark.
/// @param swapped holds the bytes on a machine that keeps units high byte first; elsewhere it stays as it is. Both texts
/// must outlive the view.
inline std::span<const std::uint8_t> ByteView(TextView text, Text& swapped) {
  if constexpr (std::endian::native != std::endian::little) {
    swapped = text;
    SwapBytes(swapped);
    text = swapped;
  }
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size() * sizeof(char16_t)};
}

/// Returns the text that has these bytes as its byte view. An odd last byte forms no unit.
inline Text TextOfBytes(const Bytes& bytes) {
  // What a vector allocates suits a code unit too.
  Text text(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / sizeof(char16_t));
  if constexpr (std::endian::native != std::endian::little) SwapBytes(text);
  return text;
}

}  // namespace nerio
