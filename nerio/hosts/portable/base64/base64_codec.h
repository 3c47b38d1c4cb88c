#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "nerio/types/text.h"
#include "nerio/types/variant.h"

namespace nerio::platform {

/// The part of the codec that works on many characters at once. There is one for each kind of processor.
struct Base64Blocks {
  const char* name;
  /// Writes groups of three bytes as four characters each, from the front, as many groups as fit its way of working.
  /// @param out room for the characters of `count` bytes.
  /// @return how many bytes it took, a multiple of 3. Raises nothing, as `read`.
  std::size_t (*write)(const std::uint8_t* bytes, std::size_t count, char16_t* out) noexcept;
  /// Reads groups of four characters as three bytes each, from the front, as far as they are of the alphabet and fit
  /// its way of working.
  /// @param out room for `count / 4 * 3` bytes; what lies after the bytes read may be written to.
  /// @return how many characters it took, a multiple of 4.
  std::size_t (*read)(const char16_t* text, std::size_t count, std::uint8_t* out) noexcept;
};

/// Blocks that are used one after the other, each on what the one before left. The last one leaves no whole group.
using Base64Method = std::span<const Base64Blocks>;

/// Returns the fastest method that this processor supports. Each shorter one made by leaving out blocks at the front,
/// down to the last one alone, gives the same results.
Base64Method ThisProcessorsBase64() noexcept;

/// Returns the length of the Base64 form of `byteCount` bytes, in UTF-16 code units: four for every three bytes begun.
constexpr std::size_t Base64Length(std::size_t byteCount) { return byteCount / 3 * 4 + (byteCount % 3 != 0 ? 4 : 0); }

/// Writes the Base64 form of `bytes` in one line, padded with "=", without terminator.
/// @param out room for exactly `Base64Length(bytes.size())` code units. Raises nothing.
void WriteBase64(std::span<const std::uint8_t> bytes, char16_t* out,
                 Base64Method method = ThisProcessorsBase64()) noexcept;

/// Returns what `WriteBase64` writes as a text of its own. Raises nothing but std::bad_alloc and, for more than a text
/// can hold, std::length_error.
Text Base64Of(std::span<const std::uint8_t> bytes);

/// Reads Base64. Blanks, tabs, CR and LF may stand anywhere; without them the text is groups of four characters of the
/// standard alphabet, with one or two "=" at the end of the last group only. The bits of the last character that belong
/// to no byte are free. An empty text is no bytes.
/// @param bytes replaced by what was read; empty when the text is not Base64.
/// @return whether the text is Base64. Raises nothing but std::bad_alloc.
bool ReadBase64(TextView text, Bytes& bytes, Base64Method method = ThisProcessorsBase64());

/// Reads a text that is exactly what `WriteBase64` writes for some bytes: no blanks, the free bits zero.
/// @param out room for `text.size() / 4 * 3` bytes; what lies after the bytes read may be written to.
/// @return the end of the bytes, null when the text is anything else. Raises nothing.
std::uint8_t* ReadPlainBase64(TextView text, std::uint8_t* out, Base64Method method = ThisProcessorsBase64()) noexcept;

}  // namespace nerio::platform
