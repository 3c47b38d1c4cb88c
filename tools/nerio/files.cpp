#include "tools/nerio/files.h"

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "nerio/types/utf8.h"
#include "tools/nerio/whole_file.h"

namespace nerio::tool {
namespace {

std::filesystem::path PathOf(const std::string& file) { return std::u8string(file.begin(), file.end()); }

Exit ExitOf(platform::SystemStatus status) {
  const std::error_code code(NumberOf(status), std::system_category());
  if (code == std::errc::no_such_file_or_directory) return Exit::kNotFound;
  if (code == std::errc::permission_denied || code == std::errc::operation_not_permitted) return Exit::kAccessDenied;
  return Exit::kFailed;
}

void CheckSize(const std::string& file, std::uintmax_t size, std::size_t most) {
  if (size <= most) return;
  throw Failure(Exit::kBadInput, file + " has more than " + std::to_string(most >> 20) + " MiB",
                "that is the most that is read of such a file");
}

}  // namespace

Failure FileFailure(Session& session, platform::SystemStatus status, const std::string& doing) {
  return Failure(ExitOf(status), doing + ": " + ToUtf8(session.host.files.Describe(status)))
      .WithStatus(NumberOf(status));
}

bool ReadPiece(Session& session, std::string& piece) {
  constexpr std::size_t kMost = std::size_t{1} << 16;
  piece.resize(kMost);
  session.in.read(piece.data(), kMost);
  if (session.in.bad()) throw Failure(Exit::kFailed, "cannot read standard input");
  piece.resize(static_cast<std::size_t>(session.in.gcount()));
  return !piece.empty();
}

std::uint64_t SizeOfStandardInput(Session& session) {
  const auto here = session.in.tellg();
  if (here < 0 || !session.in.seekg(0, std::ios::end)) {
    session.in.clear();
    return 0;
  }
  const auto end = session.in.tellg();
  session.in.seekg(here);
  return end > here ? static_cast<std::uint64_t>(end - here) : 0;
}

std::string ReadStandardInput(Session& session) { return ReadInput(session, "-"); }

std::string ReadFile(Session& session, const std::string& file, std::size_t most) {
  // An ordinary file is refused before it is read: a process of 32 bits may not have the memory to find out by reading.
  std::error_code no_size;
  const std::uintmax_t size = std::filesystem::file_size(PathOf(file), no_size);
  if (!no_size) CheckSize(file, size, most);
  std::string bytes;
  const platform::SystemStatus status = ReadWholeFile(PathOf(file), bytes, most);
  if (status != platform::SystemStatus::kSuccess) throw FileFailure(session, status, "cannot read " + file);
  CheckSize(file, bytes.size(), most);
  return bytes;
}

std::string ReadInput(Session& session, const std::string& file, std::size_t most) {
  if (file != "-") return ReadFile(session, file, most);
  std::string bytes;
  for (std::string piece; bytes.size() <= most && ReadPiece(session, piece);) bytes += piece;
  CheckSize(file, bytes.size(), most);
  return bytes;
}

void WriteOutput(Session& session, const std::string& file, const std::string& bytes) {
  const platform::SystemStatus status = ReplaceWholeFile(PathOf(file), bytes);
  if (status != platform::SystemStatus::kSuccess) throw FileFailure(session, status, "cannot write " + file);
}

void CreateOutput(Session& session, const std::string& file, const std::string& bytes) {
  const platform::SystemStatus status = CreateWholeFile(PathOf(file), bytes);
  if (status == platform::SystemStatus::kSuccess) return;
  std::error_code ignored;
  if (std::filesystem::exists(PathOf(file), ignored)) {
    throw Failure(Exit::kRefused, file + " is there already", "delete it first, or choose another name");
  }
  throw FileFailure(session, status, "cannot create " + file);
}

std::string BackupNote(const std::optional<std::string>& file) { return file ? "; backup in " + *file : ""; }

}  // namespace nerio::tool
