#include "tools/nerio/verbs/arguments.h"

#include "nerio/types/utf8.h"

namespace nerio::tool {
Text TextOf(const std::string& argument, const char* what) {
  if (!IsUtf8(argument)) throw Failure(Exit::kBadInput, std::string(what) + " is not UTF-8");
  return FromUtf8(argument);
}

RegistryKey KeyOf(Session& session, const std::string& argument) {
  try {
    return ParseKey(TextOf(argument, "the key"), session.host.codePage);
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
