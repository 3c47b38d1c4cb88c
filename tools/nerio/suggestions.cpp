#include "tools/nerio/suggestions.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

namespace nerio::tool {
namespace {

std::string InSmallLetters(std::string text) {
  for (char& letter : text) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return text;
}

// How many letters are to be added, left out, changed or swapped with the next one to make a word of another.
std::size_t Distance(const std::string& from, const std::string& to) {
  std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      if (i == 0 || j == 0) {
        steps[i][j] = i + j;
        continue;
      }
      const bool same = from[i - 1] == to[j - 1];
      steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
    }
  }
  return steps[from.size()][to.size()];
}

// Writes an argument so that a shell hands it on as it is; where double quotes do, other shells than bash take it too.
std::string ShellWord(const std::string& argument) {
  const auto isPlain = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '.' || c == '_' ||
           c == '-' || c == '/' || c == ':';
  };
  if (!argument.empty() && std::all_of(argument.begin(), argument.end(), isPlain)) return argument;
  const bool special = argument.find_first_of("\"$`!") != std::string::npos ||
                       argument.find("\\\\") != std::string::npos || argument.ends_with('\\');
  if (!special) return '"' + argument + '"';
  std::string word = "'";
  for (const char c : argument) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + '\'';
}

// A command line of the platform's tool: what is not an option, and the options in small letters.
struct TheirWords {
  std::vector<std::string> arguments;
  std::map<std::string, std::string> options;

  bool Has(const char* option) const { return options.contains(option); }
  std::string Argument(std::size_t at, const char* otherwise) const {
    return at < arguments.size() ? ShellWord(arguments[at]) : otherwise;
  }
  // The value that /v or /ve names, with a blank before it; nothing where neither is given.
  std::string Name() const {
    if (Has("/ve")) return " \"\"";
    const auto named = options.find("/v");
    return named == options.end() ? "" : ' ' + ShellWord(named->second);
  }
  // The option for a type that is not a text's, with a blank before it.
  std::string Type() const {
    constexpr std::pair<const char*, const char*> kTypes[] = {{"reg_dword", "dword"},
                                                              {"reg_qword", "qword"},
                                                              {"reg_binary", "binary"},
                                                              {"reg_expand_sz", "expand"},
                                                              {"reg_multi_sz", "multi"}};
    const auto given = options.find("/t");
    for (const auto& [theirs, ours] : kTypes) {
      if (given != options.end() && InSmallLetters(given->second) == theirs) return std::string(" --type ") + ours;
    }
    return "";
  }
};

TheirWords Read(const std::vector<std::string>& arguments) {
  TheirWords words;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i].starts_with('-')) continue;
    if (!arguments[i].starts_with('/')) {
      words.arguments.push_back(arguments[i]);
      continue;
    }
    const std::string option = InSmallLetters(arguments[i]);
    const bool takesValue = option == "/v" || option == "/d" || option == "/t";
    std::string& value = words.options[option];
    if (takesValue && i + 1 < arguments.size()) value = arguments[++i];
  }
  return words;
}

std::string OursFor(const std::string& verb, const TheirWords& words) {
  const std::string key = words.Argument(0, "KEY");
  const std::string name = words.Name();
  const std::string yes = words.Has("/f") ? " --yes" : "";
  if (verb == "query" || verb == "get" || verb == "list") {
    if (words.Has("/s")) return "tree " + key + " --values";
    return name.empty() ? "list " + key : "get " + key + name;
  }
  if (verb == "add" || verb == "set" || verb == "create") {
    if (name.empty()) return "create " + key;
    const auto data = words.options.find("/d");
    return "set " + key + name + ' ' + (data == words.options.end() ? "\"\"" : ShellWord(data->second)) + words.Type();
  }
  if (verb == "delete") return "delete " + key + (name.empty() ? " --recursive" : name) + yes;
  if (verb == "export") return "export " + key + " -o " + words.Argument(1, "FILE");
  if (verb == "import") return "import " + words.Argument(0, "FILE");
  if (verb == "compare") return "diff " + key + ' ' + words.Argument(1, "KEY");
  if (verb == "copy") return "copy " + key + ' ' + words.Argument(1, "KEY");
  return "";
}

// What other tools call what this one does, and what it is called here.
constexpr std::pair<const char*, const char*> kMeanings[] = {
    {"append", "add"},    {"compare", "diff"}, {"cp", "copy"},        {"del", "delete"},     {"dir", "list"},
    {"disable", "off"},   {"dump", "export"},  {"duplicate", "copy"}, {"enable", "on"},      {"erase", "delete"},
    {"exists", "test"},   {"fix", "repair"},   {"grep", "find"},      {"indent", "format"},  {"load", "import"},
    {"ls", "list"},       {"make", "create"},  {"make", "new"},       {"mkdir", "create"},   {"monitor", "watch"},
    {"move", "rename"},   {"mv", "rename"},    {"new", "create"},     {"pretty", "format"},  {"put", "set"},
    {"query", "get"},     {"read", "get"},     {"recover", "repair"}, {"remove", "delete"},  {"restore", "import"},
    {"rm", "delete"},     {"save", "export"},  {"search", "find"},    {"show", "get"},       {"start", "on"},
    {"stop", "off"},      {"unset", "delete"}, {"uuid", "guid"},      {"validate", "check"}, {"verify", "check"},
    {"verify", "doctor"}, {"write", "set"},
};

}  // namespace

std::string SameMeaning(const std::string& word, const std::vector<std::string>& names) {
  const std::string typed = InSmallLetters(word);
  for (const auto& [theirs, ours] : kMeanings) {
    if (typed == theirs && std::find(names.begin(), names.end(), ours) != names.end()) return ours;
  }
  return "";
}

std::string Nearest(const std::string& word, const std::vector<std::string>& names) {
  constexpr std::size_t kLettersForTwo = 5;
  const std::string typed = InSmallLetters(word);
  std::size_t least = typed.size() >= kLettersForTwo ? 3 : typed.size() > 1 ? 2 : 1;
  std::string nearest;
  for (const std::string& name : names) {
    const bool begins = typed.size() > 1 && name.starts_with(typed);
    const std::size_t distance = begins ? std::min<std::size_t>(1, Distance(typed, name)) : Distance(typed, name);
    if (distance >= least) continue;
    least = distance;
    nearest = name;
  }
  return nearest;
}

std::string InOurWords(const std::vector<std::string>& arguments) {
  TheirWords words = Read(arguments);
  if (!words.arguments.empty() && words.arguments.front() == "reg") words.arguments.erase(words.arguments.begin());
  if (words.arguments.empty()) return "";
  const std::string verb = InSmallLetters(words.arguments.front());
  words.arguments.erase(words.arguments.begin());
  constexpr const char* kTheirOptions[] = {"/v", "/ve", "/d", "/t", "/f", "/s", "/y"};
  const bool theirs = verb == "query" || verb == "add" || verb == "compare" ||
                      (verb == "export" && words.arguments.size() == 2) ||
                      std::any_of(std::begin(kTheirOptions), std::end(kTheirOptions),
                                  [&](const char* option) { return words.Has(option); });
  const std::string ours = theirs ? OursFor(verb, words) : "";
  return ours.empty() ? "" : "nerio reg " + ours;
}

}  // namespace nerio::tool
