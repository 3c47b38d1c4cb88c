#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "nerio/platform/code_page.h"
#include "nerio/platform/registry_api.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/reg_plan.h"

namespace nerio::tool {

/// Applies a .reg file to the registry as `PlanImport` finds it, entry by entry in the file's order, all or nothing:
/// when a call fails, every change made before it is undone in reverse order. Where the registry changes the values of a
/// key at once (`platform::WholeKeys`), those of an entry are one call, whose failure is that of its first value. A key that was deleted and made again by
/// that is a new key (its old handles stay dead) with the creator's rights.
/// @param sections handed over, where they are many: they are freed once they are planned.
/// @param interrupted asked before each call that changes something; true ends the import as a failed call does.
/// @param reached told the share that is done, from 0 to 1, the planning included.
/// @param nothing what a failure says when everything was undone.
/// @throws Failure with the line of the file, what the registry answered, and whether everything was undone.
ImportCounts Import(std::vector<RegSection> sections, platform::RegistryApi& registry, platform::CodePage& codePage,
                    const std::function<bool()>& interrupted, const std::function<void(double share)>& reached = {},
                    const char* nothing = "nothing was imported");

}  // namespace nerio::tool
