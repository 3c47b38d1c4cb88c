#pragma once

#include "nerio/hosts/portable/regional/regional_data.h"

namespace nerio::testing {

/// Reads the current user's regional settings from the system, those that the user changed included.
/// @throws std::runtime_error when the system does not have one.
platform::RegionalData SystemRegion();

}  // namespace nerio::testing
