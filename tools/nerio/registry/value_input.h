#pragma once

#include <cstdint>
#include <string>

#include "nerio/platform/code_page.h"
#include "nerio/types/text.h"

namespace nerio::tool {

/// The words for the types that a value can be given.
inline constexpr const char* kTypeWords = "dword, qword, binary, expand, multi or string";

/// Finds the type that a word such as "dword" stands for. @throws Failure kRefused for any other word.
std::uint32_t TypeOfWord(const std::string& word);

/// Makes the bytes that are stored for what a user wrote. `DataText` shows them as they are written here, but for the way
/// in which a number is written.
///
/// - REG_SZ: the text without a terminator, as CRegistry stores it; REG_EXPAND_SZ: with one, as other programs do.
/// - REG_MULTI_SZ: a text on each line, LF or CR LF between two; nothing is the list without texts. Each text gets its
///   terminator, and the list another one.
/// - REG_DWORD, REG_QWORD: a number in decimal, or in hexadecimal after 0x.
/// - REG_BINARY: pairs of hexadecimal digits; commas, blanks and line ends may stand between them.
/// @param type one of these six.
/// @throws Failure kBadInput with what is wrong and what would be right.
std::string DataOf(std::uint32_t type, TextView written, platform::CodePage& codePage);

}  // namespace nerio::tool
