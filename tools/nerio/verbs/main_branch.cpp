#include "tools/nerio/verbs/main_branch.h"

#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry_system.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::Status;

// The one access mask of `CRegistry`, whatever it does.
constexpr std::uint32_t kLayerAccess =
    platform::kKeyRead | platform::kKeySetValue | platform::kKeyCreateSubKey | platform::kKeyCreateLink;

Status TryToOpen(Session& session, const RegistryKey& key) {
  KeyGuard opened;
  return OpenKey(session.host.registry, key, kLayerAccess, opened);
}

// Answers what stops a write: it opens the root, and creates or opens each level above the key before the key itself.
Status WhatStopsAWrite(Session& session, const RegistryKey& key) {
  const Status root = TryToOpen(session, {key.root, {}});
  if (root != kSuccess) return root;
  for (RegistryKey above = UpperKey(key); !above.path.empty(); above = UpperKey(above)) {
    const Status status = TryToOpen(session, above);
    if (status != kSuccess && status != kFileNotFound) return status;
  }
  return CheckDisk(key.root);
}

}  // namespace

MainBranch ExamineMainBranch(Session& session) {
  const RegistryKey key{platform::kHkeyLocalMachine, AnsiText("Software\\Nerio")};
  const std::string shown = Shown(session, key);
  const Status opening = TryToOpen(session, key);
  MainBranch branch;
  branch.present = opening != kFileNotFound;
  branch.canRead = opening == kSuccess;
  branch.status = opening == kSuccess || opening == kFileNotFound ? WhatStopsAWrite(session, key) : opening;
  branch.canChange = branch.status == kSuccess;
  if (branch.canChange) {
    branch.what = branch.present ? "CRegistry can read and change " + shown
                                 : shown + " is not there yet; CRegistry makes it with the first write";
    return branch;
  }
  branch.what = branch.canRead   ? "CRegistry can read " + shown + " and not change it"
                : branch.present ? "CRegistry can neither read nor change " + shown
                                 : shown + " is not there and CRegistry cannot make it";
  branch.what = branch.status == kFileNotFound ? branch.what + ": there is no root key, and you may not make it (2)"
                                               : RegistryFailure(branch.status, branch.what).what();
  return branch;
}

}  // namespace nerio::tool
