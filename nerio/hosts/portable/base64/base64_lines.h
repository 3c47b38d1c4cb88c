#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/types/text.h"

namespace nerio::platform {

/// How a Base64 text is broken into lines. All lines but the last have the same number of characters.
struct Base64Lines {
  std::uint16_t columns = 0;  ///< of each line but the last, a multiple of 4; 0 where all is one line
  bool returns = false;       ///< whether a line ends with CR LF; otherwise with LF
  bool ended = false;         ///< whether the last line has an end, too

  TextView End() const noexcept { return returns ? u"\r\n" : u"\n"; }
};

/// Returns how a text is broken into lines if it is Base64 in lines of one length, by its first line and its end; one
/// line where it has no line end early on. Raises nothing.
Base64Lines LinesOf(TextView text) noexcept;

/// Reads a text that is exactly what `WriteBase64` writes for some bytes, broken into lines as `lines` says.
/// @param lines of more than one line.
/// @param out room for `text.size() / 4 * 3` bytes; what lies after the bytes read may be written to.
/// @return the end of the bytes, null when the text is anything else. Raises nothing.
std::uint8_t* ReadBase64Lines(TextView text, const Base64Lines& lines, std::uint8_t* out,
                              Base64Method method = ThisProcessorsBase64()) noexcept;

/// Returns the length of the Base64 form of `byteCount` bytes, 1 or more, that is broken into lines so.
std::size_t Base64Length(std::size_t byteCount, const Base64Lines& lines) noexcept;

/// Returns the Base64 form of 1 byte or more, broken into lines so. Raises nothing but std::bad_alloc and
/// std::length_error.
Text Base64Of(std::span<const std::uint8_t> bytes, const Base64Lines& lines);

}  // namespace nerio::platform
