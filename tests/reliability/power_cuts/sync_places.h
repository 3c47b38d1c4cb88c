#pragma once

#include <string>
#include <vector>

#include "tests/hosts/linux/store/system_call_seam.h"

namespace nerio::testing {

/// Returns the name of the place in the store that a sync is made at, told by what it syncs and by what was done before.
/// @param before what its process did until then. @param place the folder of the roots.
std::string SyncPlace(const DiskEvent& sync, const std::vector<DiskEvent>& before, const std::string& place);

bool IsSyncPlace(const std::string& name);

/// Prints the places that a journal names. @return 1 when one of them has no name, else 0.
int TellPlaces(const std::string& journal);

}  // namespace nerio::testing
