#pragma once

#include "nerio/hosts/portable/regional/regional_data.h"
#include "nerio/types/date.h"
#include "nerio/types/text.h"

namespace nerio::platform {

/// Writes a date in the general form under the customs of a region: the date part unless the date is of day 0, the time
/// part unless it is midnight of another day, one blank between them. Times are rounded to the second, half a second
/// up. Which parts are written is settled before that, so the last half second of day 0 is "00:00:00".
/// @param[out] text untouched unless the answer is true.
/// @return false for days that are not a number or outside of 1 January 100 to 31 December 9999.
bool WriteDate(const RegionalData& region, Date date, Text& text);

}  // namespace nerio::platform
