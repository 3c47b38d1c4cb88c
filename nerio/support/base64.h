#pragma once

#include <cstdint>

#include "nerio/platform/host.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Answered by `EncodeBase64` when there is not enough memory.
constexpr std::int32_t kErrOutOfMemory = 7;
/// Answered by `EncodeBase64` for a failure that carries no number of its own.
constexpr std::int32_t kErrInternal = 51;

/// Turns a text into Base64, through an element of data type "bin.base64" of a private document of the XML DOM. What is
/// encoded is the text's byte view: its UTF-16 code units, low byte first, two bytes each, without byte-order mark or
/// terminator; no conversion to a code page or to UTF-8 takes place. "A" is the bytes 41 00 and gives "QQA=".
///
/// Never raises.
///
/// @param text any text, NULs and lone surrogates included, of less than 2^31 code units; more of them, 4 GiB, are
///   `kErrOutOfMemory`. May be the same variable as `encoded`.
/// @param encoded receives the Base64 text: the standard alphabet, padded with "=". Whether it is broken into lines is
///   the host's DOM's own way; `DecodeBase64` takes both. Untouched on failure.
/// @return 0 on success, otherwise the number of the error that stopped it: the DOM's own, `kErrOutOfMemory` or
///   `kErrInternal`.
NERIO_PUBLIC std::int32_t EncodeBase64(TextView text, Text& encoded, const platform::Host& host = platform::ThisHost());

/// Turns Base64 back into a text, through a private document of the XML DOM. Pairs of bytes, low byte first, become
/// UTF-16 code units; a last byte without a pair forms no unit and is left out. A text that `EncodeBase64` encoded
/// comes back unchanged. On purpose, Base64 of 8-bit text becomes characters made of pairs of its bytes: "YWJjZA==",
/// the bytes of "abcd" in ASCII, gives U+6261 U+6463.
///
/// Blanks, tabs, CR and LF may stand anywhere; the input ends at its first NUL.
///
/// Never raises.
///
/// @param encoded the Base64 text.
/// @return the text; empty for an empty input and for any failure alike, such as input that is not Base64.
NERIO_PUBLIC Text DecodeBase64(const Text& encoded, const platform::Host& host = platform::ThisHost());

}  // namespace nerio
