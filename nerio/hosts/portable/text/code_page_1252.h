#pragma once

#include <cstdint>
#include <string_view>

#include "nerio/platform/code_page.h"

namespace nerio::platform {

/// Converts between text and code page 1252 (Western European) by the platform's own tables.
///
/// To bytes: always one byte per code unit. The 256 characters of the code page map exactly, the five bytes without a
/// character (81, 8D, 8F, 90, 9D) to the control characters of the same number; 441 more units have a best fit (full
/// width forms, Latin letters with other accents, some Greek letters and symbols; U+2216 and U+FF3C become "\"); every
/// other unit is "?". Surrogates count one by one, so a character outside the basic plane becomes "??".
/// To text: always one code unit per byte.
///
/// Stateless: one object serves any number of threads.
class CodePage1252 final : public CodePage {
 public:
  std::uint32_t Identifier() override { return 1252; }
  AnsiText ToAnsi(TextView text) override;
  Text ToText(std::string_view bytes) override;
};

/// Returns the UTF-16 code unit of one byte of code page 1252.
char16_t UnitOf1252(char byte);

}  // namespace nerio::platform
