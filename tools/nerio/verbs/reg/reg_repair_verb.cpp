#include <nlohmann/json.hpp>

#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry_system.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

struct RepairOptions {
  std::string key;
};

Exit Repair(Session& session, const RepairOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  const std::string shown = Shown(session, key);
  RepairedKey repaired;
  const platform::Status status = RepairKey(key.root, key.path, repaired);
  if (status != platform::kSuccess) throw RegistryFailure(status, "cannot repair " + shown);
  if (repaired.otherVersion) {
    throw Failure(Exit::kRefused, repaired.place + ": " + repaired.what, "repair it with the Nerio that wrote it");
  }
  Json object{{"key", shown}, {"repaired", repaired.isRepaired}};
  if (!repaired.isRepaired) {
    Open(session, key, platform::kKeyQueryValue);
    session.output.Result(object, shown + ": " + kNothingToRepair);
    return Exit::kDone;
  }
  object.update({{"file", repaired.place},
                 {"offset", repaired.offset},
                 {"what", repaired.what},
                 {"values", repaired.values},
                 {"kept", repaired.kept}});
  session.output.Line(repaired.place + ": at " + std::to_string(repaired.offset) + ": " + repaired.what);
  if (!repaired.kept.empty()) session.output.Line("the damaged file is kept as " + repaired.kept);
  session.output.Result(object, "repaired " + shown + ": it has " + Count(repaired.values, "value") + " now");
  return Exit::kDone;
}

}  // namespace

void AddRepair(Verb reg) {
  const auto repair = std::make_shared<RepairOptions>();
  Verb verb =
      reg.Leaf("repair", "Bring back what can be read of a damaged key's values, and keep the damaged file; on Linux",
               "nerio reg repair \"HKLM\\Software\\Nerio\\App\"", repair, Repair);
  verb.Required("KEY", repair->key, kKeyHelp);
}

}  // namespace nerio::tool
