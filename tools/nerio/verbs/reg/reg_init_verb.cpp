#include <memory>
#include <nlohmann/json.hpp>

#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry_system.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

struct InitOptions {
  std::string group;
};

Exit Init(Session& session, const InitOptions& options) {
  SharedRegistry shared;
  const platform::Status status = ShareRegistry(options.group, shared);
  for (const std::string& made : shared.made) session.output.Line("made " + made);
  for (const std::string& opened : shared.opened) session.output.Line("opened " + opened);
  if (shared.keys > 0) session.output.Line("opened " + Count(shared.keys, "key") + " below");
  for (const std::string& kept : shared.kept) session.output.Line("left as it is: " + kept + " has rights of its own");
  if (status != platform::kSuccess) {
    throw RegistryFailure(status, "cannot open " + shared.failed + " to the group " + options.group);
  }
  if (!shared.closed.empty()) {
    session.output.Say("the members cannot reach it: " + shared.closed + " is closed to them");
  }
  const bool changed = !shared.made.empty() || !shared.opened.empty() || shared.keys > 0;
  session.output.Result({{"folder", shared.folder},
                         {"group", options.group},
                         {"made", shared.made},
                         {"opened", shared.opened},
                         {"keysOpened", shared.keys},
                         {"kept", shared.kept},
                         {"changed", changed}},
                        "the machine's registry in " + shared.folder + (changed ? " is" : " was already") +
                            " for the members of " + options.group);
  return Exit::kDone;
}

}  // namespace

void AddInit(Verb reg) {
  const auto options = std::make_shared<InitOptions>();
  Verb verb = reg.Leaf("init", "Make the machine's registry for the members of a group; for root, on Linux",
                       "nerio reg init --group nerio", options, Init);
  verb.Required("--group", options->group, "Whose members may read and change every key, and share those they make");
}

}  // namespace nerio::tool
