#pragma once

#include <functional>

#include "tools/nerio/command_line.h"
#include "tools/nerio/registry/registry_key.h"

namespace nerio::tool {

/// Shows what comes, goes and changes below a key, one line each, by comparing what is there with what was there before:
/// so the last state is never missed, whatever happened in between, and what was undone in between is not seen. The key
/// itself may go and come again. What cannot be read is said once, and counts as unchanged until it can be read again.
/// @param next waits, and answers whether to compare once more.
/// @throws Failure when the key is not there, or may not be read, in the beginning.
void Watch(Session& session, const RegistryKey& key, const std::function<bool()>& next);

}  // namespace nerio::tool
