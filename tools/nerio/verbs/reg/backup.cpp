#include "tools/nerio/verbs/reg/backup.h"

#include <utility>

#include "tools/nerio/files.h"
#include "tools/nerio/registry/reg_plan.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

// Undoes the change of a value. A value that is deleted comes back with its name as the registry spells it.
RegValue Undone(Session& session, const Change& change) {
  if (!change.before) return {change.after->name, true, 0, {}, 0};
  const StoredValue& before = *change.before;
  const AnsiText name = change.kind == Change::kDeleteValue
                            ? SpelledName(session.host.registry, session.host.codePage, change.key, before.name)
                            : before.name;
  return {name, false, before.type, before.data, 0};
}

// Undoes a plan, its last change first.
std::vector<RegSection> Undone(Session& session, ImportPlan& plan) {
  std::vector<RegSection> sections;
  for (auto change = plan.changes.rbegin(); change != plan.changes.rend(); ++change) {
    if (change->kind == Change::kCreateKey) {
      sections.push_back({change->keys.front().key, true, {}, 0});
    } else if (change->kind == Change::kDeleteKey) {
      for (auto key = change->keys.rbegin(); key != change->keys.rend(); ++key)
        sections.push_back(SectionOf(std::move(*key)));
    } else {
      if (sections.empty() || sections.back().removed || sections.back().key != change->key) {
        sections.push_back({change->key, false, {}, 0});
      }
      sections.back().values.push_back(Undone(session, *change));
    }
  }
  return sections;
}

}  // namespace

void WriteBackup(Session& session, const std::optional<std::string>& file, const std::vector<RegSection>& sections) {
  if (!file) return;
  try {
    ImportPlan plan = Plan(session, sections);
    const Text text = WriteRegText(Undone(session, plan), session.host.codePage);
    CreateOutput(session, *file, EncodeUtf16(text));
  } catch (const RefusedCall& refused) {
    throw refused.ToFailure("; there is no backup, and nothing was changed");
  }
}

}  // namespace nerio::tool
