#pragma once

#include <string_view>
#include <vector>

#include "nerio/platform/code_page.h"
#include "tools/nerio/registry/reg_file.h"

namespace nerio::tool {

/// Reads a whole ini file, in UTF-8 or in UTF-16LE with byte-order mark, as the entries of a .reg file below a key.
///
/// `[name]` is the key `name` below that one, where "\" separates levels; it may come again and goes on then. What
/// stands before the first section belongs to the key itself. `name=text` is a value of type REG_SZ, without a terminator: the
/// first "=" ends the name, blanks and tabs around both are dropped, and so is one pair of equal quotes, " or ', around
/// the whole text. Everything else in the text stands for itself. Empty lines, and lines that begin with ";" or "#",
/// say nothing.
/// @throws BadRegFile at the first line that is none of these, and for a name that comes twice in a section.
std::vector<RegSection> ReadIniFile(std::string_view bytes, const RegistryKey& below, platform::CodePage& codePage);

}  // namespace nerio::tool
