#pragma once

#include <string>

#include "nerio/types/text.h"
#include "tools/nerio/command_line.h"
#include "tools/nerio/registry/registry_key.h"

namespace nerio::tool {

/// Reads an argument as text. @throws Failure when it is not UTF-8; `what` names the argument in the message.
Text TextOf(const std::string& argument, const char* what);

/// Reads an argument as a key. Where it holds no "\" and a "/" follows the root's name, its "/" separate the levels.
/// @throws Failure saying why it is not one.
RegistryKey KeyOf(Session& session, const std::string& argument);

/// Reads an argument as the name of a value. @throws Failure saying why it is not one.
AnsiText NameOf(Session& session, const std::string& argument);

/// Asks whether to go on, in English, and takes the yes of that language or of Italian. `yes` answers for the user; where nobody can be asked and nothing answers, that is a refusal.
/// @param question without its question mark, as in "delete the value".
/// @throws Failure kRefused unless the answer is yes.
void Confirm(Session& session, bool yes, const std::string& question);

}  // namespace nerio::tool
