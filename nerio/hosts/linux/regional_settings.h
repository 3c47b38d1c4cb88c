#pragma once

#include "nerio/hosts/portable/regional/regional_data.h"

namespace nerio::platform {

/// Returns the customs of the region that the environment names: dates and times under LC_TIME, the decimal mark of
/// LC_NUMERIC; LC_ALL counts before either, LANG where it is missing. An empty variable counts as missing.
///
/// it-IT, en-US, en-GB, de-DE, fr-FR, sv-SE and ja-JP are built in and need no locale on the system. Any other
/// installed locale gives its names, order and separators through the C library, whose own locale is neither asked nor
/// changed. For a locale that is not installed a built-in region with the same customs stands in where there is one
/// (`StandInFor`: de-DE for de_AT). An environment that names no region (C, POSIX, nothing at all), or a locale that is
/// not installed and that none stands in for, gets it-IT.
///
/// The host asks once, on the first conversion: a date's text is always read back under the settings that it was
/// written with, and no thread sees them change.
RegionalData EnvironmentRegion();

}  // namespace nerio::platform
