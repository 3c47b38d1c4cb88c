#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "tools/nerio/console.h"
#include "tools/nerio/files.h"
#include "tools/nerio/progress.h"
#include "tools/nerio/registry/reg_import.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg/backup.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::Status;

// A branch as entries of a .reg file that make it at another place.
struct Moved {
  std::vector<RegSection> sections;
  std::size_t keys = 0;
  std::size_t values = 0;
};

Moved ReadMoved(Session& session, const RegistryKey& from, const RegistryKey& to) {
  Moved moved;
  for (StoredKey& stored : ReadAll(session, from)) {
    std::string below = stored.key.path.bytes().substr(from.path.bytes().size());
    if (below.starts_with('\\')) below.erase(0, 1);
    stored.key = {to.root, JoinPath(to.path, AnsiText(below))};
    moved.sections.push_back(SectionOf(std::move(stored)));
    moved.values += moved.sections.back().values.size();
  }
  moved.keys = moved.sections.size();
  return moved;
}

// The new place has to be free: nothing is merged and nothing overwritten.
void CheckFree(Session& session, const RegistryKey& key) {
  KeyGuard opened;
  const Status status = OpenKey(session.host.registry, key, platform::kKeyQueryValue, opened);
  if (status == kFileNotFound) return;
  if (status != kSuccess) throw RegistryFailure(status, "cannot tell whether there is " + Shown(session, key));
  throw Failure(Exit::kRefused, Shown(session, key) + " is there already", "delete it first, or choose another name");
}

// What would be refused is not even begun: a key that was deleted could be one that this user may not make again.
void CheckAllowed(Session& session, const std::vector<RegSection>& sections) {
  try {
    CheckRights(Plan(session, sections), session.host.registry, session.host.codePage);
  } catch (const RefusedCall& refused) {
    throw refused.ToFailure("; nothing was changed");
  }
}

// All of it is done, or nothing.
void Apply(Session& session, std::vector<RegSection> sections) {
  const HeldInterrupts interrupts;
  Progress progress(session, "copying");
  Import(
      std::move(sections), session.host.registry, session.host.codePage, [&] { return interrupts.Requested(); },
      [&](double share) { progress.At(share); }, "nothing was changed");
}

struct CopyOptions {
  std::string from;
  std::string to;
};

Exit Copy(Session& session, const CopyOptions& options) {
  const RegistryKey from = KeyOf(session, options.from);
  const RegistryKey to = KeyOf(session, options.to);
  Moved moved = ReadMoved(session, from, to);
  CheckFree(session, to);
  CheckAllowed(session, moved.sections);
  Apply(session, std::move(moved.sections));
  session.output.Result(
      {{"from", Shown(session, from)}, {"to", Shown(session, to)}, {"keys", moved.keys}, {"values", moved.values}},
      "copied " + Count(moved.keys, "key") + " and " + Count(moved.values, "value") + " to " + Shown(session, to));
  return Exit::kDone;
}

struct RenameOptions {
  std::string key;
  std::string name;
  std::optional<std::string> backup;
};

// Reads the new name: that of one level.
RegistryKey RenamedKey(Session& session, const RegistryKey& key, const std::string& name) {
  if (key.path.empty()) throw Failure(Exit::kRefused, "a root key cannot be renamed");
  if (name.empty() || name.find('\\') != std::string::npos) {
    throw Failure(Exit::kBadInput, "\"" + name + "\" is not a name for a key",
                  "name the last level alone; nerio reg copy takes a whole key to another place");
  }
  const RegistryKey upper = UpperKey(key);
  return KeyOf(session, Shown(session, upper) + '\\' + name);
}

Exit Rename(Session& session, const RenameOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  const RegistryKey renamed = RenamedKey(session, key, options.name);
  Moved moved = ReadMoved(session, key, renamed);
  CheckFree(session, renamed);
  moved.sections.push_back({key, true, {}, 0});
  CheckAllowed(session, moved.sections);
  WriteBackup(session, options.backup, moved.sections);
  Apply(session, std::move(moved.sections));
  Json object{{"key", Shown(session, key)}, {"renamed", Shown(session, renamed)}};
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(
      object, "renamed " + Shown(session, key) + " to " + Shown(session, renamed) + BackupNote(options.backup));
  return Exit::kDone;
}

}  // namespace

void AddCopying(Verb reg) {
  const auto copy = std::make_shared<CopyOptions>();
  Verb verb = reg.Leaf("copy", "Copy a key with its values and everything below it to a key that is not there yet",
                       "nerio reg copy \"HKLM\\Software\\Nerio\\App\" \"HKCU\\Software\\Prova\"", copy, Copy);
  verb.Required("FROM", copy->from, "Key to copy");
  verb.Required("TO", copy->to, "Key to make; the keys above it that are missing are made too");

  const auto rename = std::make_shared<RenameOptions>();
  verb = reg.Leaf("rename", "Give a key another name, by a copy and a delete, both or neither",
                  "nerio reg rename \"HKLM\\Software\\Nerio\\App\" Programma", rename, Rename);
  verb.Required("KEY", rename->key, kKeyHelp);
  verb.Required("NEWNAME", rename->name, "New name of the key's last level, which no other key beside it has");
  verb.Optional("--backup", rename->backup, kBackupHelp);
}

}  // namespace nerio::tool
