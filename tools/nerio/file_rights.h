#pragma once

#include <filesystem>
#include <string>

#include "nerio/platform/status.h"

namespace nerio::tool {

/// Names, in UTF-8, who may write to a file by its own rights: "root, the group adm", or "everybody". Those who may do
/// everything anyway are not named.
/// @return 0, or the system's own error number; `names` is untouched then.
platform::SystemStatus WhoMayWrite(const std::filesystem::path& file, std::string& names);

/// Lets everybody read and write an ordinary file. A link is not followed, nor is a file changed that has further names:
/// both may lead to a file that whoever owns the folder chose.
/// @return 0, or the system's own error number.
platform::SystemStatus LetEverybodyWrite(const std::filesystem::path& file);

}  // namespace nerio::tool
