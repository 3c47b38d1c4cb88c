#pragma once

#include <string>

#include "tools/nerio/output.h"
#include "tools/nerio/registry_system.h"

namespace nerio::tool {

/// Says in one line which view of the registry a program has, and what that means.
std::string ViewText(const RegistryView& view);

/// Gives the view as a result.
void ShowView(Output& output, const RegistryView& view);

}  // namespace nerio::tool
