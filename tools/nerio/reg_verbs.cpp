#include <algorithm>
#include <nlohmann/json.hpp>

#include "nerio/types/utf8.h"
#include "tools/nerio/branch.h"
#include "tools/nerio/command_line.h"
#include "tools/nerio/io.h"
#include "tools/nerio/reg_file.h"
#include "tools/nerio/reg_import.h"
#include "tools/nerio/value_text.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::Status;
using Json = nlohmann::ordered_json;

// What CRegistry reads of a value at most, in bytes.
constexpr std::size_t kReadBufferSize = 1024;

std::string Utf8Name(Session& session, const AnsiText& name) { return ToUtf8(session.host.codePage.ToText(name)); }

std::string Count(std::size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

Json ValueJson(Session& session, const StoredValue& value) {
  platform::CodePage& codePage = session.host.codePage;
  Json object{{"name", Utf8Name(session, value.name)}, {"type", TypeName(value.type)}};
  std::uint64_t number = 0;
  if (value.type == platform::kRegMultiSz) {
    object["data"] = Json::array();
    for (const Text& text : ReadStrings(value.data, codePage)) object["data"].push_back(ToUtf8(text));
  } else if (ReadNumber(value.type, value.data, number)) {
    object["data"] = number;
  } else {
    object["data"] = DataText(value.type, value.data, codePage);
  }
  object["bytes"] = HexText(value.data, "");
  return object;
}

std::string TypeAndData(Session& session, const StoredValue& value, const char* between) {
  return TypeName(value.type) + between + OneLine(DataText(value.type, value.data, session.host.codePage));
}

std::string ValueLine(Session& session, const StoredValue& value) {
  const std::string name = value.name.empty() ? "@" : OneLine(Utf8Name(session, value.name));
  return name + '\t' + TypeAndData(session, value, "\t");
}

OpenedKey Open(Session& session, const KeyPath& key, std::uint32_t access) {
  OpenedKey opened;
  const Status status = OpenKey(session.host.registry, key, access, opened);
  if (status != kSuccess) throw RegistryFailure(status, "cannot open " + Shown(session, key));
  return opened;
}

std::vector<StoredKey> Read(Session& session, const KeyPath& key) {
  std::vector<StoredKey> branch;
  KeyPath failed;
  const Status status = ReadBranch(session.host.registry, key, branch, failed);
  if (status != kSuccess) throw RegistryFailure(status, "cannot read " + Shown(session, failed));
  return branch;
}

struct GetOptions {
  std::string key;
  std::optional<std::string> name;
  std::optional<std::string> fallback;
};

Exit Get(Session& session, const GetOptions& options) {
  const KeyPath key = KeyOf(session, options.key);
  const AnsiText name = NameOf(session, options.name.value_or(""));
  OpenedKey opened;
  StoredValue value;
  Status status = OpenKey(session.host.registry, key, platform::kKeyQueryValue, opened);
  if (status == kSuccess) status = ReadValue(session.host.registry, opened.get(), name, value);
  Json object{{"key", Shown(session, key)}};
  if (status == kFileNotFound && options.fallback) {
    object.update({{"name", Utf8Name(session, name)}, {"data", *options.fallback}, {"default", true}});
    session.output.Result(object, *options.fallback);
    return Exit::kDone;
  }
  if (status != kSuccess) {
    throw RegistryFailure(status, "cannot read " + ShownName(session, name) + " in " + Shown(session, key));
  }
  object.update(ValueJson(session, value));
  session.output.Result(object, DataText(value.type, value.data, session.host.codePage));
  return Exit::kDone;
}

struct SetOptions {
  std::string key;
  std::string name;
  std::optional<std::string> value;
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
  const KeyPath key = KeyOf(session, options.key);
  StoredValue value{NameOf(session, options.name), platform::kRegSz, {}};
  const std::string given = options.standardInput ? WithoutLineEnd(ReadStandardInput(session)) : *options.value;
  const Text text = TextOf(given, options.standardInput ? "standard input" : "the value");
  if (text.find(u'\0') != Text::npos) throw Failure(Exit::kBadInput, "a text with a NUL is not stored");
  try {
    value.data = ToAnsiExactly(text, session.host.codePage);
  } catch (const BadText& bad) {
    throw Failure(Exit::kBadInput, bad.what(), "nothing was stored; write the text without this character");
  }
  OpenedKey opened;
  bool created = false;
  Status status = CreateKey(session.host.registry, key, platform::kKeySetValue, opened, created);
  if (status != kSuccess) throw CreationFailure(status, "cannot open or create " + Shown(session, key));
  status = StoreValue(session.host.registry, opened.get(), value);
  const std::string where = ShownName(session, value.name) + " in " + Shown(session, key);
  if (status != kSuccess) throw RegistryFailure(status, "cannot write " + where);
  if (value.data.size() > kReadBufferSize) {
    session.output.Say("this text of " + std::to_string(value.data.size()) +
                       " bytes is too long for CRegistry, which reads " + std::to_string(kReadBufferSize) + " at most");
  }
  Json object{{"key", Shown(session, key)}, {"created", created}};
  object.update(ValueJson(session, value));
  session.output.Result(object, "stored " + where);
  return Exit::kDone;
}

struct DeleteOptions {
  std::string key;
  std::optional<std::string> name;
  bool recursive = false;
  bool yes = false;
};

Exit DeleteValue(Session& session, const KeyPath& key, const DeleteOptions& options) {
  const AnsiText name = NameOf(session, *options.name);
  const std::string what = ShownName(session, name) + " in " + Shown(session, key);
  StoredValue value;
  OpenedKey opened;
  Status status = OpenKey(session.host.registry, key, platform::kKeyQueryValue, opened);
  if (status == kSuccess) status = ReadValue(session.host.registry, opened.get(), name, value);
  if (status == kFileNotFound) throw RegistryFailure(status, "cannot delete " + what);
  Confirm(session, options.yes, "delete " + what);
  status = OpenKey(session.host.registry, key, platform::kKeySetValue, opened);
  if (status == kSuccess) status = session.host.registry.DeleteValue(opened.get(), name);
  if (status != kSuccess) throw RegistryFailure(status, "cannot delete " + what);
  session.output.Result({{"key", Shown(session, key)}, {"name", Utf8Name(session, name)}, {"deleted", true}},
                        "deleted " + what);
  return Exit::kDone;
}

Exit Delete(Session& session, const DeleteOptions& options) {
  const KeyPath key = KeyOf(session, options.key);
  if (options.name) return DeleteValue(session, key, options);
  if (key.path.empty()) throw Failure(Exit::kRefused, "a root key cannot be deleted");
  const std::vector<StoredKey> branch = Read(session, key);
  const std::size_t below = branch.size() - 1;
  if (below > 0 && !options.recursive) {
    throw Failure(Exit::kRefused, Shown(session, key) + " has " + Count(below, "key") + " below it",
                  "--recursive deletes them as well");
  }
  std::string what = Shown(session, key);
  if (below > 0) what += " and the " + Count(below, "key") + " below it";
  Confirm(session, options.yes, "delete " + what);
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
  session.output.Result({{"key", Shown(session, key)}, {"deleted", deleted}}, "deleted " + what);
  return Exit::kDone;
}

struct KeyOptions {
  std::string key;
};

Exit Create(Session& session, const KeyOptions& options) {
  const KeyPath key = KeyOf(session, options.key);
  OpenedKey opened;
  bool created = false;
  const Status status = CreateKey(session.host.registry, key, platform::kKeyQueryValue, opened, created);
  if (status != kSuccess) throw CreationFailure(status, "cannot create " + Shown(session, key));
  session.output.Result({{"key", Shown(session, key)}, {"created", created}},
                        (created ? "created " : "already there: ") + Shown(session, key));
  return Exit::kDone;
}

struct TestOptions {
  std::string key;
  std::optional<std::string> name;
};

Exit Test(Session& session, const TestOptions& options) {
  const KeyPath key = KeyOf(session, options.key);
  OpenedKey opened;
  Status status = OpenKey(session.host.registry, key, platform::kKeyQueryValue, opened);
  Json object{{"key", Shown(session, key)}};
  if (options.name) {
    const AnsiText name = NameOf(session, *options.name);
    object["name"] = Utf8Name(session, name);
    StoredValue value;
    if (status == kSuccess) status = ReadValue(session.host.registry, opened.get(), name, value);
  }
  if (status != kSuccess && status != kFileNotFound) {
    throw RegistryFailure(status, "cannot tell whether it is there in " + Shown(session, key));
  }
  const bool there = status == kSuccess;
  object["there"] = there;
  session.output.Result(object, there ? "yes" : "no");
  return there ? Exit::kDone : Exit::kNotFound;
}

Exit List(Session& session, const KeyOptions& options) {
  const KeyPath key = KeyOf(session, options.key);
  const OpenedKey opened = Open(session, key, platform::kKeyRead);
  std::vector<StoredValue> values;
  std::vector<AnsiText> keys;
  Status status = ListValues(session.host.registry, opened.get(), values);
  if (status == kSuccess) status = ListKeys(session.host.registry, opened.get(), keys);
  if (status != kSuccess) throw RegistryFailure(status, "cannot list " + Shown(session, key));
  Json object{{"key", Shown(session, key)}, {"values", Json::array()}, {"keys", Json::array()}};
  std::string text;
  for (const StoredValue& value : values) {
    object["values"].push_back(ValueJson(session, value));
    text += ValueLine(session, value) + '\n';
  }
  for (const AnsiText& name : keys) {
    object["keys"].push_back(Utf8Name(session, name));
    text += OneLine(Utf8Name(session, name)) + "\\\n";
  }
  if (session.output.json()) {
    session.output.Result(object, {});
  } else {
    session.output.Bytes(text);
  }
  return Exit::kDone;
}

struct TreeOptions {
  std::string key;
  bool values = false;
};

Exit Tree(Session& session, const TreeOptions& options) {
  const KeyPath top = KeyOf(session, options.key);
  // Only the key itself has to be there and readable; below it, what is refused is shown as such.
  Open(session, top, platform::kKeyRead);
  Json keys = Json::array();
  Exit exit = Exit::kDone;
  WalkBranch(session.host.registry, top, platform::kKeyQueryValue, [&](const Visit& here) {
    std::vector<StoredValue> values;
    Status status = here.status;
    if (status == kSuccess && options.values) status = ListValues(session.host.registry, here.handle, values);
    const std::string name = here.depth == 0
                                 ? Shown(session, here.key)
                                 : Utf8Name(session, here.key.path.substr(here.key.path.rfind('\\') + 1)) + '\\';
    const std::string indent(2 * here.depth, ' ');
    Json object{{"key", Shown(session, here.key)}};
    if (status != kSuccess) {
      const Failure failure = RegistryFailure(status, "cannot read " + Shown(session, here.key));
      session.output.Say(failure.what());
      exit = failure.exit();
      object["error"] = failure.ToJson();
    }
    session.output.Line(indent + OneLine(name));
    for (const StoredValue& value : values) {
      session.output.Line(indent + "  " + ValueLine(session, value));
      object["values"].push_back(ValueJson(session, value));
    }
    if (session.output.json()) keys.push_back(std::move(object));
    return true;
  });
  if (session.output.json()) session.output.Result({{"key", Shown(session, top)}, {"keys", std::move(keys)}}, {});
  return exit;
}

struct ExportOptions {
  std::string key;
  std::optional<std::string> file;
};

Exit Export(Session& session, const ExportOptions& options) {
  const KeyPath key = KeyOf(session, options.key);
  std::vector<RegSection> sections;
  std::size_t values = 0;
  for (StoredKey& stored : Read(session, key)) {
    RegSection section;
    section.key = std::move(stored.key);
    for (StoredValue& value : stored.values) {
      section.values.push_back({std::move(value.name), false, value.type, std::move(value.data), 0});
    }
    values += section.values.size();
    sections.push_back(std::move(section));
  }
  const Text text = WriteRegText(sections, session.host.codePage);
  Json object{{"key", Shown(session, key)}, {"keys", sections.size()}, {"values", values}};
  if (options.file) {
    WriteOutput(session, *options.file, EncodeUtf16(text));
    object["file"] = *options.file;
    session.output.Result(object, "exported " + Count(sections.size(), "key") + " and " + Count(values, "value") +
                                      " to " + *options.file);
  } else if (session.output.json()) {
    object["text"] = ToUtf8(text);
    session.output.Result(object, {});
  } else {
    session.output.Bytes(EncodeUtf16(text));
  }
  return Exit::kDone;
}

struct ImportOptions {
  std::string file;
  bool dryRun = false;
};

std::string ChangeLine(Session& session, const Change& change) {
  const std::string key = Shown(session, change.key);
  switch (change.kind) {
    case Change::kCreateKey:
      return "create key " + key;
    case Change::kDeleteKey:
      return "delete key " + key + (change.keys > 1 ? " and " + Count(change.keys - 1, "key") + " below it" : "");
    case Change::kSetValue:
      return "set " + ShownName(session, change.after.name) + " in " + key + ": " +
             TypeAndData(session, change.after, " ");
    case Change::kChangeValue:
      return "change " + ShownName(session, change.after.name) + " in " + key + ": " +
             TypeAndData(session, change.before, " ") + " -> " + TypeAndData(session, change.after, " ");
    case Change::kDeleteValue:
      break;
  }
  return "delete " + ShownName(session, change.before.name) + " in " + key;
}

Json ChangeJson(Session& session, const Change& change) {
  constexpr const char* kKinds[] = {"create key", "delete key", "set value", "change value", "delete value"};
  Json object{{"change", kKinds[change.kind]}, {"key", Shown(session, change.key)}};
  if (change.kind == Change::kCreateKey || change.kind == Change::kDeleteKey) object["keys"] = change.keys;
  if (change.kind == Change::kChangeValue || change.kind == Change::kDeleteValue) {
    object["before"] = ValueJson(session, change.before);
  }
  if (change.kind == Change::kChangeValue || change.kind == Change::kSetValue) {
    object["after"] = ValueJson(session, change.after);
  }
  return object;
}

std::string Summary(const ImportCounts& counts, bool dryRun) {
  const std::pair<std::size_t, const char*> parts[] = {
      {counts.keysCreated, "created"},   {counts.keysDeleted, "deleted"},
      {counts.valuesSet, "set"},         {counts.valuesChanged, "changed"},
      {counts.valuesDeleted, "deleted"}, {counts.valuesKept, "already as in the file"},
  };
  std::string text;
  for (std::size_t i = 0; i < std::size(parts); ++i) {
    if (parts[i].first == 0) continue;
    if (!text.empty()) text += ", ";
    text += Count(parts[i].first, i < 2 ? "key" : "value") + ' ' + parts[i].second;
  }
  return (dryRun ? "would import: " : "imported: ") + (text.empty() ? "nothing" : text);
}

Exit ImportFile(Session& session, const ImportOptions& options) {
  const std::string bytes = ReadInput(session, options.file);
  std::vector<RegSection> sections;
  try {
    sections = ReadRegFile(bytes, session.host.codePage);
  } catch (const BadRegFile& bad) {
    throw Failure(Exit::kBadInput, options.file + ":" + std::to_string(bad.line()) + ": " + bad.what(),
                  "nothing was imported")
        .AtLine(bad.line());
  }
  Json object{{"file", options.file}, {"dryRun", options.dryRun}};
  ImportCounts counts;
  if (options.dryRun) {
    Json changes = Json::array();
    counts = PreviewImport(sections, session.host.registry, session.host.codePage, [&](const Change& change) {
      session.output.Line(ChangeLine(session, change));
      if (session.output.json()) changes.push_back(ChangeJson(session, change));
    });
    object["changes"] = std::move(changes);
  } else {
    counts = Import(sections, session.host.registry, session.host.codePage);
  }
  object.update({{"keysCreated", counts.keysCreated},
                 {"keysDeleted", counts.keysDeleted},
                 {"valuesSet", counts.valuesSet},
                 {"valuesChanged", counts.valuesChanged},
                 {"valuesDeleted", counts.valuesDeleted},
                 {"valuesKept", counts.valuesKept}});
  session.output.Result(object, Summary(counts, options.dryRun));
  return Exit::kDone;
}

constexpr const char* kKeyHelp =
    "Key below HKLM, HKCU, HKCR, HKU or HKCC (long names too), such as HKLM\\Software\\Nerio";

void AddReading(Verb reg) {
  const auto get = std::make_shared<GetOptions>();
  Verb verb =
      reg.Leaf("get", "Print a value: a text as it is, several one per line, a number in decimal, bytes in hexadecimal",
               "nerio reg get HKLM\\Software\\Nerio\\App Nome\n"
               "nerio reg get HKLM\\Software\\Nerio\\App Nome --default prova",
               get, Get);
  verb.Required("KEY", get->key, kKeyHelp);
  verb.Optional("NAME", get->name, "Name of the value; without it the key's unnamed value");
  verb.Optional("--default", get->fallback, "Print this when the value or its key is missing");

  const auto test = std::make_shared<TestOptions>();
  verb = reg.Leaf("test", "Tell whether a key or a value is there: yes, or no and exit code 3",
                  "nerio reg test HKLM\\Software\\Nerio\\App\n"
                  "nerio reg test HKLM\\Software\\Nerio\\App Nome",
                  test, Test);
  verb.Required("KEY", test->key, kKeyHelp);
  verb.Optional("NAME", test->name, "Name of a value of the key");

  const auto list = std::make_shared<KeyOptions>();
  verb = reg.Leaf("list", "List the values of a key (name, type, data) and the keys right below it",
                  "nerio reg list HKLM\\Software\\Nerio\n"
                  "nerio reg list HKLM\\Software\\Nerio --json",
                  list, List);
  verb.Required("KEY", list->key, kKeyHelp);

  const auto tree = std::make_shared<TreeOptions>();
  verb = reg.Leaf("tree", "Show all keys below a key",
                  "nerio reg tree HKLM\\Software\\Nerio\n"
                  "nerio reg tree HKLM\\Software\\Nerio --values",
                  tree, Tree);
  verb.Required("KEY", tree->key, kKeyHelp);
  verb.Switch("--values", tree->values, "Show their values too");

  const auto exported = std::make_shared<ExportOptions>();
  verb = reg.Leaf("export", "Write a key and everything below it as a .reg file (UTF-16 with byte-order mark, CR LF)",
                  "nerio reg export HKLM\\Software\\Nerio -o nerio.reg\n"
                  "nerio reg export HKLM\\Software\\Nerio > nerio.reg",
                  exported, Export);
  verb.Required("KEY", exported->key, kKeyHelp);
  verb.Optional("-o,--output", exported->file, "File to write, whole or not at all; without it standard output");
}

void AddWriting(Verb reg) {
  const auto set = std::make_shared<SetOptions>();
  Verb verb = reg.Leaf("set", "Store a text (REG_SZ, without a terminator) and make the keys that are missing",
                       "nerio reg set HKLM\\Software\\Nerio\\App Nome \"prova\"\n"
                       "nerio reg set HKLM\\Software\\Nerio\\App \"\" testo      the key's unnamed value\n"
                       "nerio reg set HKLM\\Software\\Nerio\\App Nota --stdin < nota.txt\n"
                       "nerio reg set HKLM\\Software\\Nerio\\App Segno -- -x",
                       set, Set);
  verb.Required("KEY", set->key, kKeyHelp);
  verb.Required("NAME", set->name, "Name of the value; \"\" is the key's unnamed value");
  verb.Optional("VALUE", set->value, "Text to store");
  verb.Switch("--stdin", set->standardInput, "Take the text from standard input; one line end at its end is left out");

  const auto create = std::make_shared<KeyOptions>();
  verb = reg.Leaf("create", "Make a key and the keys above it that are missing",
                  "nerio reg create HKLM\\Software\\Nerio\\App", create, Create);
  verb.Required("KEY", create->key, kKeyHelp);

  const auto deleted = std::make_shared<DeleteOptions>();
  verb = reg.Leaf("delete", "Delete a value, or a key with its values; asks first",
                  "nerio reg delete HKLM\\Software\\Nerio\\App Nome\n"
                  "nerio reg delete HKLM\\Software\\Nerio\\App \"\"         the key's unnamed value\n"
                  "nerio reg delete HKLM\\Software\\Nerio\\App --recursive --yes",
                  deleted, Delete);
  verb.Required("KEY", deleted->key, kKeyHelp);
  verb.Optional("NAME", deleted->name, "Name of the value to delete; without it the key itself is deleted");
  verb.Switch("-r,--recursive", deleted->recursive, "Delete the keys below the key as well");
  verb.Switch("-y,--yes", deleted->yes, "Do not ask");

  const auto import = std::make_shared<ImportOptions>();
  verb = reg.Leaf("import", "Apply a .reg file, all of it or nothing",
                  "nerio reg import nerio.reg --dry-run\n"
                  "nerio reg import nerio.reg\n"
                  "nerio reg export HKLM\\Software\\Nerio | nerio reg import -",
                  import, ImportFile);
  verb.Required("FILE", import->file,
                "File in UTF-16 or UTF-8, or in the ANSI code page (REGEDIT4); - is standard input");
  verb.Switch("-n,--dry-run", import->dryRun, "Show what would change, and change nothing");
}

}  // namespace

void AddRegistryVerbs(Verb program) {
  Verb reg = program.Group("reg", "Read, write, export and import the registry",
                           "nerio reg set HKLM\\Software\\Nerio\\App Nome \"prova\"\n"
                           "nerio reg get HKLM\\Software\\Nerio\\App Nome\n"
                           "nerio reg tree HKLM\\Software\\Nerio --values\n"
                           "nerio reg export HKLM\\Software\\Nerio -o nerio.reg");
  AddReading(reg);
  AddWriting(reg);
  AddRegistryDoctor(reg);
}

}  // namespace nerio::tool
