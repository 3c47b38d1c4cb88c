#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nerio/types/text.h"

namespace nerio::equal_answers {

/// The branch that the operations work in, below HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER.
inline constexpr TextView kBranch = u"Software\\Nerio confronto";

/// Makes random operations on the registry and the support library, each one line: the operation's name and its
/// arguments, parted by tabs, texts with the escapes of `testing::Escape`. Most of them succeed. The same seed gives
/// the same script.
std::vector<std::string> RandomScript(std::uint32_t seed, std::size_t operations);

}  // namespace nerio::equal_answers
