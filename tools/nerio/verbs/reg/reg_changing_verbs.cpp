#include <nlohmann/json.hpp>

#include "nerio/types/utf8.h"
#include "tools/nerio/files.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry/value_input.h"
#include "tools/nerio/registry/value_text.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg/backup.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::Status;

// What CRegistry reads of a value at most, in bytes.
constexpr std::size_t kReadBufferSize = 1024;

struct SetOptions {
  std::string key;
  std::string name;
  std::optional<std::string> value;
  std::optional<std::string> type;
  std::optional<std::string> backup;
  bool standardInput = false;
};

// A text that a pipe gives usually ends with a line end that belongs to the pipe.
std::string WithoutLineEnd(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  if (text.ends_with('\r')) text.pop_back();
  return text;
}

Exit Set(Session& session, const SetOptions& options) {
  if (options.value.has_value() == options.standardInput) {
    throw Failure(Exit::kRefused, "one of the two is needed: VALUE or --stdin", "see nerio reg set --help");
  }
  const RegistryKey key = KeyOf(session, options.key);
  StoredValue value{NameOf(session, options.name), TypeOfWord(options.type.value_or("string")), {}};
  const std::string given = options.standardInput ? WithoutLineEnd(ReadStandardInput(session)) : *options.value;
  const Text written = TextOf(given, options.standardInput ? "standard input" : "the value");
  value.data = DataOf(value.type, written, session.host.codePage);
  WriteBackup(session, options.backup, {{key, false, {{value.name, false, value.type, value.data, 0}}, 0}});
  KeyGuard opened;
  bool created = false;
  Status status = CreateKey(session.host.registry, key, platform::kKeySetValue, opened, created);
  if (status != kSuccess) throw CreationFailure(status, "cannot open or create " + Shown(session, key));
  status = StoreValue(session.host.registry, opened.get(), value);
  const std::string where = ShownName(session, value.name) + " in " + Shown(session, key);
  if (status != kSuccess) throw RegistryFailure(status, "cannot write " + where);
  if (value.data.size() > kReadBufferSize) {
    session.output.Say(std::string(IsTextType(value.type) ? "this text" : "this value") + " of " +
                       std::to_string(value.data.size()) + " bytes is too long for CRegistry, which reads " +
                       std::to_string(kReadBufferSize) + " at most");
  }
  Json object{{"key", Shown(session, key)}, {"created", created}};
  object.update(ValueJson(session, value));
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(object, "stored " + where + BackupNote(options.backup));
  return Exit::kDone;
}

struct DeleteOptions {
  std::string key;
  std::optional<std::string> name;
  std::optional<std::string> backup;
  bool recursive = false;
  bool yes = false;
};

Exit DeleteValue(Session& session, const RegistryKey& key, const DeleteOptions& options) {
  const AnsiText name = NameOf(session, *options.name);
  const std::string what = ShownName(session, name) + " in " + Shown(session, key);
  StoredValue value;
  KeyGuard opened;
  Status status = OpenKey(session.host.registry, key, platform::kKeyQueryValue, opened);
  if (status == kSuccess) status = ReadValue(session.host.registry, opened.get(), name, value);
  if (status == kFileNotFound) throw RegistryFailure(status, "cannot delete " + what);
  Confirm(session, options.yes, "delete " + what);
  WriteBackup(session, options.backup, {{key, false, {{name, true, 0, {}, 0}}, 0}});
  status = OpenKey(session.host.registry, key, platform::kKeySetValue, opened);
  if (status == kSuccess) status = session.host.registry.DeleteValue(opened.get(), name);
  if (status != kSuccess) throw RegistryFailure(status, "cannot delete " + what);
  Json object{{"key", Shown(session, key)}, {"name", Utf8Name(session, name)}, {"deleted", true}};
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(object, "deleted " + what + BackupNote(options.backup));
  return Exit::kDone;
}

Exit Delete(Session& session, const DeleteOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  if (options.name) return DeleteValue(session, key, options);
  if (key.path.empty()) throw Failure(Exit::kRefused, "a root key cannot be deleted");
  const std::vector<StoredKey> branch = ReadAll(session, key);
  const std::size_t below = branch.size() - 1;
  if (below > 0 && !options.recursive) {
    throw Failure(Exit::kRefused, Shown(session, key) + " has " + Count(below, "key") + " below it",
                  "--recursive deletes them as well");
  }
  std::string what = Shown(session, key);
  if (below > 0) what += " and the " + Count(below, "key") + " below it";
  Confirm(session, options.yes, "delete " + what);
  WriteBackup(session, options.backup, {{key, true, {}, 0}});
  std::size_t deleted = 0;
  for (auto stored = branch.rbegin(); stored != branch.rend(); ++stored) {
    const Status status = session.host.registry.DeleteKey(stored->key.root, stored->key.path);
    if (status != kSuccess && (status != kFileNotFound || branch.size() == 1)) {
      std::string doing = "cannot delete " + Shown(session, stored->key);
      if (below > 0) doing += ", " + Count(deleted, "key") + " below " + Shown(session, key) + " deleted before";
      throw RegistryFailure(status, doing);
    }
    ++deleted;
  }
  Json object{{"key", Shown(session, key)}, {"deleted", deleted}};
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(object, "deleted " + what + BackupNote(options.backup));
  return Exit::kDone;
}

struct KeyOptions {
  std::string key;
};

Exit Create(Session& session, const KeyOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  KeyGuard opened;
  bool created = false;
  const Status status = CreateKey(session.host.registry, key, platform::kKeyQueryValue, opened, created);
  if (status != kSuccess) throw CreationFailure(status, "cannot create " + Shown(session, key));
  session.output.Result({{"key", Shown(session, key)}, {"created", created}},
                        (created ? "created " : "already there: ") + Shown(session, key));
  return Exit::kDone;
}

}  // namespace

void AddChangingVerbs(Verb reg) {
  const auto set = std::make_shared<SetOptions>();
  Verb verb = reg.Leaf(
      "set",
      "Store a text (REG_SZ, without a terminator), or with --type another value, and make the keys that are missing",
      "nerio reg set \"HKLM\\Software\\Nerio\\App\" Nome \"prova\"\n"
      "nerio reg set \"HKLM\\Software\\Nerio\\App\" \"\" testo       # the key's unnamed value\n"
      "nerio reg set \"HKLM\\Software\\Nerio\\App\" Nota --stdin < nota.txt\n"
      "nerio reg set \"HKLM\\Software\\Nerio\\App\" Livello 10 --type dword\n"
      "nerio reg set \"HKLM\\Software\\Nerio\\App\" Segno -- -x",
      set, Set);
  verb.Required("KEY", set->key, kKeyHelp);
  verb.Required("NAME", set->name, "Name of the value; \"\" is the key's unnamed value");
  verb.Optional("VALUE", set->value, "Text to store; with --type a number, bytes or a list");
  verb.Optional("--type", set->type,
                "What VALUE is: dword or qword, a number; binary, pairs of hexadecimal digits; multi, a text on each "
                "line; expand, a text with %VARIABLES%; string, as without it");
  verb.Switch("--stdin", set->standardInput, "Take the text from standard input; one line end at its end is removed");
  verb.Optional("--backup", set->backup, kBackupHelp);

  const auto create = std::make_shared<KeyOptions>();
  verb = reg.Leaf("create", "Make a key and the keys above it that are missing",
                  "nerio reg create \"HKLM\\Software\\Nerio\\App\"", create, Create);
  verb.Required("KEY", create->key, kKeyHelp);

  const auto deleted = std::make_shared<DeleteOptions>();
  verb = reg.Leaf("delete", "Delete a value, or a key with its values; asks first",
                  "nerio reg delete \"HKLM\\Software\\Nerio\\App\" Nome\n"
                  "nerio reg delete \"HKLM\\Software\\Nerio\\App\" \"\"          # the key's unnamed value\n"
                  "nerio reg delete \"HKLM\\Software\\Nerio\\App\" --recursive --yes",
                  deleted, Delete);
  verb.Required("KEY", deleted->key, kKeyHelp);
  verb.Optional("NAME", deleted->name, "Name of the value to delete; without it the key itself is deleted");
  verb.Switch("-r,--recursive", deleted->recursive, "Delete the keys below the key as well");
  verb.Switch("-y,--yes", deleted->yes, "Do not ask");
  verb.Optional("--backup", deleted->backup, kBackupHelp);
}

}  // namespace nerio::tool
