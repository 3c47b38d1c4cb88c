#pragma once

#include <string>

#include "nerio/platform/registry_doctor.h"
#include "tools/nerio/output.h"

namespace nerio::tool {

/// Says in one line which view of the registry a program has, and what that means.
std::string ViewText(const platform::RegistryView& view);

/// Gives the view as a result.
void ShowView(Output& output, const platform::RegistryView& view);

}  // namespace nerio::tool
