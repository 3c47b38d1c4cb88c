#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nerio/platform/code_page.h"
#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"

namespace nerio::tool {

constexpr std::uint32_t kRegDwordBigEndian = 5;
constexpr std::uint32_t kRegQword = 11;

/// Tells whether the registry's ANSI calls convert data of this type between code page and text: REG_SZ, REG_EXPAND_SZ
/// and REG_MULTI_SZ.
bool IsTextType(std::uint32_t type);

/// Returns the platform's name of a value type, "REG_SZ", or its number, "0x63", where it has none.
std::string TypeName(std::uint32_t type);

/// Reads the number of a REG_DWORD, REG_DWORD_BIG_ENDIAN or REG_QWORD.
/// @return false, and `number` untouched, for another type or a wrong count of bytes.
bool ReadNumber(std::uint32_t type, const std::string& data, std::uint64_t& number);

/// Splits the data of a REG_MULTI_SZ at its NULs. The closing one, and the last string's own, are not further strings.
std::vector<Text> ReadStrings(const std::string& data, platform::CodePage& codePage);

/// Writes bytes as pairs of lower-case hexadecimal digits with `separator` between them.
std::string HexText(const std::string& bytes, const char* separator);

/// Writes a value's data for a reader, in UTF-8: a text without its one terminator, strings one per line, a number in
/// decimal, anything else as pairs of hexadecimal digits separated by commas.
std::string DataText(std::uint32_t type, const std::string& data, platform::CodePage& codePage);

/// Writes a text on one line: control characters become \n, \r, \t or \xNN. For the eye; nothing reads it back.
std::string OneLine(const std::string& utf8);

}  // namespace nerio::tool
