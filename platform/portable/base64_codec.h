#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "types/text.h"
#include "types/variant.h"

namespace nerio::platform {

/// Returns the length of the Base64 form of `byteCount` bytes, in UTF-16 code units: four for every three bytes begun.
constexpr std::size_t Base64Length(std::size_t byteCount) { return byteCount / 3 * 4 + (byteCount % 3 != 0 ? 4 : 0); }

/// Writes the Base64 form of `bytes` in one line, padded with "=", without terminator.
/// @param out room for exactly `Base64Length(bytes.size())` code units. Raises nothing.
void WriteBase64(std::span<const std::uint8_t> bytes, char16_t* out) noexcept;

/// Reads Base64. Blanks, tabs, CR and LF may stand anywhere; without them the text is groups of four characters of the
/// standard alphabet, with one or two "=" at the end of the last group only. The bits of the last character that belong
/// to no byte are free. An empty text is no bytes.
/// @param bytes replaced by what was read; empty when the text is not Base64.
/// @return whether the text is Base64. Raises nothing but std::bad_alloc.
bool ReadBase64(TextView text, Bytes& bytes);

}  // namespace nerio::platform
