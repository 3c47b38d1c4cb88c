#pragma once

#include <string>

#include "nerio/platform/status.h"
#include "tools/nerio/output.h"

namespace nerio::tool {

/// Makes the failure that a registry call's return code stands for.
/// @param status not 0.
/// @param doing what was tried on which key or value, as in "cannot open HKEY_LOCAL_MACHINE\Software".
Failure RegistryFailure(platform::Status status, const std::string& doing);

/// Makes the failure of a call that makes what is missing of a key. Where even that is not found, the root key itself
/// has no place and the user may not make it: access denied, not a key that is missing.
Failure CreationFailure(platform::Status status, const std::string& doing);

}  // namespace nerio::tool
