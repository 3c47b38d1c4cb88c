#include <nlohmann/json.hpp>
#include <utility>

#include "nerio/types/utf8.h"
#include "tools/nerio/console.h"
#include "tools/nerio/files.h"
#include "tools/nerio/progress.h"
#include "tools/nerio/registry/ini_file.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/reg_import.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg/backup.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

struct ExportOptions {
  std::string key;
  std::optional<std::string> file;
  bool utf8 = false;
};

Exit Export(Session& session, const ExportOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  std::vector<RegSection> sections;
  std::size_t values = 0;
  for (StoredKey& stored : ReadAll(session, key)) {
    sections.push_back(SectionOf(std::move(stored)));
    values += sections.back().values.size();
  }
  if (options.utf8) SortSections(sections, session.host.codePage);
  const Text text = WriteRegText(sections, session.host.codePage);
  const auto encoded = [&] { return options.utf8 ? Utf8WithLineFeeds(text) : EncodeUtf16(text); };
  Json object{{"key", Shown(session, key)}, {"keys", sections.size()}, {"values", values}};
  if (options.file && *options.file != "-") {
    WriteOutput(session, *options.file, encoded());
    object["file"] = *options.file;
    session.output.Result(object, "exported " + Count(sections.size(), "key") + " and " + Count(values, "value") +
                                      " to " + *options.file);
  } else if (session.output.json()) {
    object["text"] = options.utf8 ? encoded() : ToUtf8(text);
    session.output.Result(object, {});
  } else {
    session.output.Bytes(encoded());
  }
  return Exit::kDone;
}

struct ImportOptions {
  std::string file;
  std::optional<std::string> backup;
  std::optional<std::string> from;
  std::optional<std::string> below;
  bool dryRun = false;
};

std::string ChangeLine(Session& session, const Change& change) {
  const std::string key = Shown(session, change.key);
  switch (change.kind) {
    case Change::kCreateKey:
      return "create key " + key;
    case Change::kDeleteKey:
      return "delete key " + key +
             (change.keys.size() > 1 ? " and " + Count(change.keys.size() - 1, "key") + " below it" : "");
    case Change::kSetValue:
      return "set " + ShownName(session, change.after->name) + " in " + key + ": " +
             TypeAndData(session, *change.after, " ");
    case Change::kChangeValue:
      return "change " + ShownName(session, change.after->name) + " in " + key + ": " +
             TypeAndData(session, *change.before, " ") + " -> " + TypeAndData(session, *change.after, " ");
    case Change::kDeleteValue:
      break;
  }
  return "delete " + ShownName(session, change.before->name) + " in " + key;
}

Json ChangeJson(Session& session, const Change& change) {
  constexpr const char* kKinds[] = {"create key", "delete key", "set value", "change value", "delete value"};
  Json object{{"change", kKinds[change.kind]}, {"key", Shown(session, change.key)}};
  if (!change.keys.empty()) object["keys"] = change.keys.size();
  if (change.before) object["before"] = ValueJson(session, *change.before);
  if (change.after) object["after"] = ValueJson(session, *change.after);
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

// Shows what an import would do; one that would be refused fails here as it would.
ImportCounts Preview(Session& session, const std::vector<RegSection>& sections, Json& changes) {
  try {
    const ImportPlan plan = Plan(session, sections);
    CheckRights(plan, session.host.registry, session.host.codePage);
    for (const Change& change : plan.changes) {
      session.output.Line(ChangeLine(session, change));
      if (session.output.json()) changes.push_back(ChangeJson(session, change));
    }
    return plan.counts;
  } catch (const RefusedCall& refused) {
    throw refused.ToFailure("");
  }
}

// What was read of the file is freed before the import, which takes more memory than its entries.
std::vector<RegSection> ReadSections(Session& session, const ImportOptions& options) {
  const bool isIni = options.from == "ini";
  if (options.from && !isIni && options.from != "reg") {
    throw Failure(Exit::kRefused, "\"" + *options.from + "\" is no form of a file that can be imported",
                  "--from takes reg or ini");
  }
  if (isIni != options.below.has_value()) {
    throw Failure(Exit::kRefused, isIni ? "an ini file is imported below a key" : "--below is for --from ini",
                  "as in nerio reg import FILE --from ini --below \"HKLM\\Software\\Nerio\"");
  }
  const RegistryKey below = isIni ? KeyOf(session, *options.below) : RegistryKey();
  const std::string bytes = ReadInput(session, options.file);
  try {
    return isIni ? ReadIniFile(bytes, below, session.host.codePage) : ReadRegFile(bytes, session.host.codePage);
  } catch (const BadRegFile& bad) {
    throw Failure(Exit::kBadInput, options.file + ":" + std::to_string(bad.line()) + ": " + bad.what(),
                  "nothing was imported")
        .AtLine(bad.line());
  }
}

Exit ImportFile(Session& session, const ImportOptions& options) {
  if (options.dryRun && options.backup) {
    throw Failure(Exit::kRefused, "--dry-run changes nothing, so there is nothing to back up",
                  "leave one of the two out");
  }
  std::vector<RegSection> sections = ReadSections(session, options);
  Json object{{"file", options.file}, {"dryRun", options.dryRun}};
  ImportCounts counts;
  if (options.dryRun) {
    object["changes"] = Json::array();
    counts = Preview(session, sections, object["changes"]);
  } else {
    const HeldInterrupts interrupts;
    WriteBackup(session, options.backup, sections);
    Progress progress(session, "importing");
    counts = Import(
        std::move(sections), session.host.registry, session.host.codePage, [&] { return interrupts.Requested(); },
        [&](double share) { progress.At(share); });
  }
  object.update({{"keysCreated", counts.keysCreated},
                 {"keysDeleted", counts.keysDeleted},
                 {"valuesSet", counts.valuesSet},
                 {"valuesChanged", counts.valuesChanged},
                 {"valuesDeleted", counts.valuesDeleted},
                 {"valuesKept", counts.valuesKept}});
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(object, Summary(counts, options.dryRun) + BackupNote(options.backup));
  return Exit::kDone;
}

}  // namespace

void AddExport(Verb reg) {
  const auto exported = std::make_shared<ExportOptions>();
  Verb verb =
      reg.Leaf("export", "Write a key and everything below it as a .reg file (UTF-16 with byte-order mark, CR LF)",
               "nerio reg export \"HKLM\\Software\\Nerio\" -o nerio.reg\n"
               "nerio reg export \"HKLM\\Software\\Nerio\" > nerio.reg\n"
               "nerio reg export \"HKLM\\Software\\Nerio\" --utf8 -o nerio.reg",
               exported, Export);
  verb.Required("KEY", exported->key, kKeyHelp);
  verb.Optional("-o,--output", exported->file,
                "File to write, whole or not at all; without it, or with -, standard output");
  verb.Switch("--utf8", exported->utf8, "In UTF-8 with LF, keys and values sorted by name: fit for version control");
}

void AddImport(Verb reg) {
  const auto import = std::make_shared<ImportOptions>();
  Verb verb = reg.Leaf("import", "Apply a .reg file, all of it or nothing",
                       "nerio reg import nerio.reg --dry-run\n"
                       "nerio reg import nerio.reg\n"
                       "nerio reg export \"HKLM\\Software\\Nerio\" | nerio reg import -\n"
                       "nerio reg import programma.ini --from ini --below \"HKLM\\Software\\Programma\"",
                       import, ImportFile);
  verb.Required("FILE", import->file,
                "File in UTF-16 or UTF-8, or in the ANSI code page (REGEDIT4); - is standard input");
  verb.Optional("--from", import->from, "What the file is: reg, as without it, or ini, whose sections become keys");
  verb.Optional("--below", import->below, "Key below which the sections of an ini file are imported");
  verb.Switch("-n,--dry-run", import->dryRun, "Show what would change, and change nothing");
  verb.Optional("--backup", import->backup, kBackupHelp);
}

}  // namespace nerio::tool
