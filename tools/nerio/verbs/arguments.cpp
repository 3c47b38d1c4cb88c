#include "tools/nerio/verbs/arguments.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

// Yes in English and in Italian. A console of Windows gives the accent in its own code page, 850 or 1252.
constexpr std::array<std::string_view, 11> kYes = {"y",  "Y",         "yes",       "s",     "S",    "si",
                                                   "Si", "s\xC3\xAC", "S\xC3\xAC", "s\x8D", "s\xEC"};

}  // namespace

Text TextOf(const std::string& argument, const char* what) {
  if (!IsUtf8(argument)) throw Failure(Exit::kBadInput, std::string(what) + " is not UTF-8");
  return FromUtf8(argument);
}

RegistryKey KeyOf(Session& session, const std::string& argument) {
  Text text = TextOf(argument, "the key");
  const std::size_t root = RootNameLength(text);
  const bool bare = root > 0 && root < text.size() && text.find(u'\\') == Text::npos;
  const bool slashes = bare && text[root] == u'/';
  if (slashes) std::replace(text.begin(), text.end(), u'/', u'\\');
  try {
    return ParseKey(text, session.host.codePage);
  } catch (const BadText& bad) {
    throw Failure(Exit::kBadInput, bad.what(),
                  bare && !slashes
                      ? "put the key in quotes, as in \"HKLM\\Software\\Nerio\": a shell takes a \\ outside them away"
                      : "");
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
  if (std::find(kYes.begin(), kYes.end(), answer) == kYes.end()) throw Failure(Exit::kRefused, "left as it was");
}

}  // namespace nerio::tool
