#include "tools/nerio/io.h"

#include <filesystem>
#include <iterator>
#include <system_error>

#include "nerio/types/utf8.h"
#include "tools/nerio/whole_file.h"

namespace nerio::tool {
namespace {

std::filesystem::path PathOf(const std::string& file) { return std::u8string(file.begin(), file.end()); }

Exit ExitOf(platform::Status status) {
  const std::error_code code(status, std::system_category());
  if (code == std::errc::no_such_file_or_directory) return Exit::kNotFound;
  if (code == std::errc::permission_denied || code == std::errc::operation_not_permitted) return Exit::kAccessDenied;
  return Exit::kFailed;
}

}  // namespace

Failure FileFailure(Session& session, platform::Status status, const std::string& doing) {
  return Failure(ExitOf(status), doing + ": " + ToUtf8(session.host.files.Describe(status))).WithStatus(status);
}

Text TextOf(const std::string& argument, const char* what) {
  if (!IsUtf8(argument)) throw Failure(Exit::kBadInput, std::string(what) + " is not UTF-8");
  return FromUtf8(argument);
}

KeyPath KeyOf(Session& session, const std::string& argument) {
  try {
    return ParseKeyPath(TextOf(argument, "the key"), session.host.codePage);
  } catch (const BadText& bad) {
    throw Failure(Exit::kBadInput, bad.what());
  }
}

AnsiText NameOf(Session& session, const std::string& argument) {
  try {
    return ParseValueName(TextOf(argument, "the value's name"), session.host.codePage);
  } catch (const BadText& bad) {
    throw Failure(Exit::kBadInput, bad.what());
  }
}

std::string Shown(Session& session, const KeyPath& key) { return ToUtf8(KeyText(key, session.host.codePage)); }

std::string ShownName(Session& session, const AnsiText& name) {
  if (name.empty()) return "the unnamed value";
  std::string shown = "\"";
  shown += ToUtf8(session.host.codePage.ToText(name));
  return shown += '"';
}

std::string ReadStandardInput(Session& session) {
  std::string bytes;
  char block[1 << 16];
  do {
    session.in.read(block, sizeof block);
    bytes.append(block, static_cast<std::size_t>(session.in.gcount()));
  } while (session.in);
  if (session.in.bad()) throw Failure(Exit::kFailed, "cannot read standard input");
  return bytes;
}

std::string ReadFile(Session& session, const std::string& file) {
  std::string bytes;
  const platform::Status status = ReadWholeFile(PathOf(file), bytes);
  if (status != platform::kSuccess) throw FileFailure(session, status, "cannot read " + file);
  return bytes;
}

std::string ReadInput(Session& session, const std::string& file) {
  return file == "-" ? ReadStandardInput(session) : ReadFile(session, file);
}

void WriteOutput(Session& session, const std::string& file, const std::string& bytes) {
  const platform::Status status = ReplaceWholeFile(PathOf(file), bytes);
  if (status != platform::kSuccess) throw FileFailure(session, status, "cannot write " + file);
}

void CreateOutput(Session& session, const std::string& file, const std::string& bytes) {
  const platform::Status status = CreateWholeFile(PathOf(file), bytes);
  if (status == platform::kSuccess) return;
  std::error_code ignored;
  if (std::filesystem::exists(PathOf(file), ignored)) {
    throw Failure(Exit::kRefused, file + " is there already", "delete it first, or choose another name");
  }
  throw FileFailure(session, status, "cannot create " + file);
}

void Confirm(Session& session, bool yes, const std::string& question) {
  if (yes) return;
  if (!session.interactive) {
    throw Failure(Exit::kRefused, "this would " + question + "; nobody is at a terminal to be asked",
                  "--yes goes ahead without asking");
  }
  session.output.Ask(question + "? [y/N] ");
  std::string answer;
  std::getline(session.in, answer);
  if (answer.ends_with('\r')) answer.pop_back();  // a console of Windows ends its lines with CR LF
  if (answer != "y" && answer != "Y" && answer != "yes") throw Failure(Exit::kRefused, "left as it was");
}

}  // namespace nerio::tool
