#pragma once

#include "nerio/platform/host.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Makes a new GUID and returns it as 36 characters: hexadecimal digits, A to F as capitals, in groups of 8, 4, 4, 4
/// and 12 separated by "-", without braces. Empty text when the platform cannot make one. Never raises and traces nothing.
///
/// The 16 bytes are written in the order in which they lie in memory, on purpose. So the first three groups show their
/// bytes reversed compared with the usual form of a GUID, and the last two agree with it:
/// A1B2C3D4-E5F6-4A7B-9C8D-1E2F3A4B5C6D gives D4C3B2A1-F6E5-7B4A-9C8D-1E2F3A4B5C6D.
NERIO_PUBLIC Text GetGuid(const platform::Host& host = platform::ThisHost()) noexcept;

/// Checks that a text is a date: a date, a time of day or both, in any form that the host's regional settings read.
///
/// Hands two lines to `WriteLog`: "GetDate IN : " followed by the argument, then "GetDate OUT : " followed by the
/// result.
///
/// Never raises. When anything fails, tracing included, the result is the text of the zero date at once, without the
/// second line, also for an argument that is a date: on purpose, the routine does not look at where it failed.
///
/// @param text any text; empty text is not a date.
/// @return the argument itself, unchanged, when it is a date; otherwise the text of the zero date (30 December 1899 at
///   midnight), which is its time of day alone: "00:00:00" under it-IT, "12:00:00 AM" under en-US. It reads back as the
///   zero date under the same settings. Should the settings fail to write even that, "00:00:00"; empty text only when
///   no memory is left for a result.
NERIO_PUBLIC Text GetDate(TextView text, const platform::Host& host = platform::ThisHost()) noexcept;

}  // namespace nerio
