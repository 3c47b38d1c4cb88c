#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/nerio/command_line.h"
#include "tools/nerio/registry/reg_file.h"

namespace nerio::tool {

/// How every verb that destroys something describes its backup.
inline constexpr const char* kBackupHelp =
    "Before anything is changed, write what undoes it as a new .reg file, which nerio reg import takes";

/// Writes a .reg file whose import brings back what importing these entries destroys: what they delete or change comes
/// back as it is now, what they make is deleted. Does nothing without a file.
/// @throws Failure when what is to be destroyed cannot be read, when there is a file of that name, or when it cannot be
/// written; there is no new file then.
void WriteBackup(Session& session, const std::optional<std::string>& file, const std::vector<RegSection>& sections);

}  // namespace nerio::tool
