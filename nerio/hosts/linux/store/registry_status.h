#pragma once

#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// Returns the registry's return code for an error number of the system: 2 for what is missing, 5 for what is refused,
/// 8 for lack of memory or descriptors, 112 for a full disk, 1015 for something else than a file or folder where one
/// belongs, 1016 for everything else.
Status RegistryStatus(int systemError);

}  // namespace nerio::platform
