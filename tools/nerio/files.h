#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "nerio/platform/status.h"
#include "tools/nerio/command_line.h"

namespace nerio::tool {

/// Makes the failure that a file operation's error number stands for, in the system's own words.
Failure FileFailure(Session& session, platform::SystemStatus status, const std::string& doing);

/// Reads the next piece of standard input, some ten thousand bytes unless it ends before.
/// @return false when there is nothing more. @throws Failure when standard input cannot be read.
bool ReadPiece(Session& session, std::string& piece);

/// Returns how many bytes standard input will give; 0 where that is not known, as of a pipe.
std::uint64_t SizeOfStandardInput(Session& session);

/// Reads all of standard input.
std::string ReadStandardInput(Session& session);

/// Reads a whole file. @throws Failure naming the file and the reason: kBadInput for more than `most` bytes; an ordinary
/// file is not read then, of anything else only some more than these are.
std::string ReadFile(Session& session, const std::string& file, std::size_t most = std::string::npos);

/// Reads a whole file, standard input when it is called "-". @throws Failure as `ReadFile`.
std::string ReadInput(Session& session, const std::string& file, std::size_t most = std::string::npos);

/// Writes a file in place of the one that may be there, whole or not at all. @throws Failure naming the file and the
/// reason.
void WriteOutput(Session& session, const std::string& file, const std::string& bytes);

/// Writes a new file, whole or not at all. @throws Failure naming the file and the reason, kRefused when there is one.
void CreateOutput(Session& session, const std::string& file, const std::string& bytes);

/// Writes what a result says of the backup that was made before; nothing without a file.
std::string BackupNote(const std::optional<std::string>& file);

}  // namespace nerio::tool
