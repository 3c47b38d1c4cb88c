#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "tools/nerio/files.h"
#include "tools/nerio/registry/branch_state.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/value_text.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

// As of other programs that compare: 1 is an answer, so trouble begins at 2.
constexpr Exit kDifferent{1};
constexpr Exit kTrouble = Exit::kRefused;

struct DiffOptions {
  std::string first;
  std::string second;
};

// What one of the two arguments names.
struct Side {
  std::optional<RegistryKey> key;    // nothing: it is a file
  std::vector<RegSection> sections;  // of a file
  std::string name;
};

// A file may well have a name such as hkcu.reg.
bool IsKey(TextView argument) {
  const TextView below = argument.substr(RootNameLength(argument));
  return below.size() < argument.size() && (below.empty() || below.front() == u'\\' || below.front() == u'/');
}

Side ReadSide(Session& session, const std::string& argument) {
  Side side{std::nullopt, {}, argument};
  if (IsKey(TextOf(argument, "the argument"))) {
    side.key = KeyOf(session, argument);
    return side;
  }
  try {
    side.sections = ReadRegFile(ReadInput(session, argument), session.host.codePage);
  } catch (const BadRegFile& bad) {
    throw Failure(Exit::kBadInput, argument + ":" + std::to_string(bad.line()) + ": " + bad.what()).AtLine(bad.line());
  }
  return side;
}

// The keys of a branch, by their full names, or by their names below its top.
BranchState StateOfKey(Session& session, const RegistryKey& top, bool full) {
  platform::CodePage& codePage = session.host.codePage;
  const std::size_t skipped = full ? 0 : KeyText(top, codePage).size();
  BranchState state;
  for (StoredKey& stored : ReadAll(session, top)) {
    KeyState key{std::move(stored.key), {}};
    for (StoredValue& value : stored.values) {
      Text name = FoldedName(value.name, codePage);
      key.values.emplace(std::move(name), std::move(value));
    }
    Text name = Folded(KeyText(key.key, codePage).substr(skipped));
    state.emplace(std::move(name), std::move(key));
  }
  return state;
}

// The part of a file that a key can be compared with: the file may have nothing outside it but what the keys above
// need.
BranchState StateOfFile(Session& session, const Side& file, const RegistryKey& top) {
  platform::CodePage& codePage = session.host.codePage;
  const Text name = Folded(KeyText(top, codePage));
  const auto isInside = [&](const Text& key) {
    return key.starts_with(name) && (key.size() == name.size() || key[name.size()] == u'\\');
  };
  for (const RegSection& section : file.sections) {
    const Text key = Folded(KeyText(section.key, codePage));
    if (isInside(key) || (name.starts_with(key) && name[key.size()] == u'\\' && section.values.empty())) continue;
    throw Failure(Exit::kBadInput,
                  file.name + ":" + std::to_string(section.line) + ": " + Shown(session, section.key) + " is not in " +
                      Shown(session, top),
                  "name a key that holds all keys of the file")
        .AtLine(section.line);
  }
  BranchState state = StateOf(file.sections, codePage);
  std::erase_if(state, [&](const auto& entry) { return !isInside(entry.first); });
  return state;
}

BranchState StateOfSide(Session& session, const Side& side, const Side& other) {
  if (side.key) return StateOfKey(session, *side.key, !other.key);
  if (other.key) return StateOfFile(session, side, *other.key);
  return StateOf(side.sections, session.host.codePage);
}

Json DifferenceJson(Session& session, const Difference& difference) {
  const KeyState& key = difference.before != nullptr ? *difference.before : *difference.after;
  Json object{{"key", Shown(session, key.key)}};
  if (difference.OfKey()) {
    object["only"] = difference.before != nullptr ? "first" : "second";
    return object;
  }
  if (difference.valueBefore != nullptr) object["first"] = ValueJson(session, *difference.valueBefore);
  if (difference.valueAfter != nullptr) object["second"] = ValueJson(session, *difference.valueAfter);
  return object;
}

void Show(Session& session, const Difference& difference) {
  const StoredValue* const before = difference.valueBefore;
  const StoredValue* const after = difference.valueAfter;
  // Where two values look the same, their bytes tell them apart.
  const bool lookAlike = before != nullptr && after != nullptr && before->type == after->type &&
                         DataText(before->type, before->data, session.host.codePage) ==
                             DataText(after->type, after->data, session.host.codePage);
  const auto line = [&](const char* sign, const KeyState* key, const StoredValue* value) {
    if (key == nullptr || (value == nullptr && !difference.OfKey())) return;
    std::string text = sign + OneLine(Shown(session, key->key));
    if (value != nullptr) text += '\t' + ValueLine(session, *value);
    if (lookAlike) text += '\t' + HexText(value->data, "");
    session.output.Line(text);
  };
  line("- ", difference.before, before);
  line("+ ", difference.after, after);
}

Exit ShowDifferences(Session& session, const DiffOptions& options) {
  const Side first = ReadSide(session, options.first);
  const Side second = ReadSide(session, options.second);
  const BranchState before = StateOfSide(session, first, second);
  const BranchState after = StateOfSide(session, second, first);
  const std::vector<Difference> differences = Compare(before, after);
  Json shown = Json::array();
  for (const Difference& difference : differences) {
    if (session.output.json()) shown.push_back(DifferenceJson(session, difference));
    Show(session, difference);
  }
  if (session.output.json()) {
    session.output.Result({{"first", options.first},
                           {"second", options.second},
                           {"equal", differences.empty()},
                           {"differences", std::move(shown)}},
                          {});
  }
  if (!session.output.Flush()) throw Failure(kTrouble, "not all differences could be shown");
  return differences.empty() ? Exit::kDone : kDifferent;
}

Exit Diff(Session& session, const DiffOptions& options) {
  try {
    return ShowDifferences(session, options);
  } catch (const Failure& failure) {
    if (failure.exit() != Exit::kFailed) throw;
    throw Failure(failure).WithExit(kTrouble);
  } catch (const std::bad_alloc&) {
    throw Failure(kTrouble, "there is not enough memory");
  }
}

}  // namespace

void AddDiff(Verb reg) {
  const auto diff = std::make_shared<DiffOptions>();
  Verb verb = reg.Leaf("diff", "Compare two keys or .reg files: exit code 0 equal, 1 different, 2 and above trouble",
                       "nerio reg diff ieri.reg nerio.reg\n"
                       "nerio reg diff nerio.reg \"HKLM\\Software\\Nerio\"",
                       diff, Diff);
  verb.Required("A", diff->first, "Key, or .reg file: whatever does not begin with a root's name; - is standard input");
  verb.Required("B", diff->second, "Key or .reg file to compare it with");
}

}  // namespace nerio::tool
