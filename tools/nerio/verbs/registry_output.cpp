#include "tools/nerio/verbs/registry_output.h"

#include <nlohmann/json.hpp>

#include "nerio/types/utf8.h"
#include "tools/nerio/progress.h"
#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry/value_text.h"

namespace nerio::tool {

using platform::kSuccess;
using platform::Status;

std::string Shown(Session& session, const RegistryKey& key) { return ShownKey(key, session.host.codePage); }

std::string ShownName(Session& session, const AnsiText& name) { return ShownName(name, session.host.codePage); }

std::string Utf8Name(Session& session, const AnsiText& name) {
  return ToUtf8(session.host.codePage.ToText(name.bytes()));
}

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

KeyGuard Open(Session& session, const RegistryKey& key, std::uint32_t access) {
  KeyGuard opened;
  const Status status = OpenKey(session.host.registry, key, access, opened);
  if (status != kSuccess) throw RegistryFailure(status, "cannot open " + Shown(session, key));
  return opened;
}

std::vector<StoredKey> ReadAll(Session& session, const RegistryKey& key) {
  std::vector<StoredKey> branch;
  RegistryKey failed;
  Progress progress(session, "reading");
  const Status status =
      ReadBranch(session.host.registry, key, branch, failed, [&](double share) { progress.At(share); });
  if (status != kSuccess) throw RegistryFailure(status, "cannot read " + Shown(session, failed));
  return branch;
}

ImportPlan Plan(Session& session, const std::vector<RegSection>& sections) {
  Progress progress(session, "planning");
  return PlanImport(sections, session.host.registry, session.host.codePage, [&](double share) { progress.At(share); });
}

}  // namespace nerio::tool
