#pragma once

#include <string>

#include "nerio/types/text.h"
#include "tools/nerio/command_line.h"
#include "tools/nerio/key_path.h"

namespace nerio::tool {

/// Reads an argument as text. @throws Failure when it is not UTF-8; `what` names the argument in the message.
Text TextOf(const std::string& argument, const char* what);

/// Reads an argument as a key. @throws Failure saying why it is none.
KeyPath KeyOf(Session& session, const std::string& argument);

/// Reads an argument as the name of a value. @throws Failure saying why it is none.
AnsiText NameOf(Session& session, const std::string& argument);

/// Writes a key in UTF-8, with the long name of its root.
std::string Shown(Session& session, const KeyPath& key);

/// Writes the name of a value in quotes and UTF-8; "the unnamed value" for the empty name.
std::string ShownName(Session& session, const AnsiText& name);

/// Makes the failure that a file operation's error number stands for, in the system's own words.
Failure FileFailure(Session& session, platform::Status status, const std::string& doing);

/// Reads all of standard input.
std::string ReadStandardInput(Session& session);

/// Reads a whole file. @throws Failure naming the file and the reason.
std::string ReadFile(Session& session, const std::string& file);

/// Reads a whole file, standard input when it is called "-". @throws Failure naming the file and the reason.
std::string ReadInput(Session& session, const std::string& file);

/// Writes a file in place of the one that may be there, whole or not at all. @throws Failure naming the file and the
/// reason.
void WriteOutput(Session& session, const std::string& file, const std::string& bytes);

/// Writes a new file, whole or not at all. @throws Failure naming the file and the reason, kRefused when there is one.
void CreateOutput(Session& session, const std::string& file, const std::string& bytes);

/// Asks whether to go on. `yes` answers for the user; where nobody can be asked and nothing answers, that is a refusal.
/// @param question without its question mark, as in "delete the value".
/// @throws Failure kRefused unless the answer is yes.
void Confirm(Session& session, bool yes, const std::string& question);

}  // namespace nerio::tool
