#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "nerio/hosts/portable/regional/regional_data.h"
#include "nerio/types/text.h"

namespace nerio::platform {

/// What the C library knows of a locale's dates, in its own terms: formats are those of strftime.
struct LocaleTexts {
  Text dateFormat;
  Text timeFormat;
  Text halfDayTimeFormat;
  RegionalData region;  ///< its name, the names of months and days, and the texts of the halves of the day
};

/// Turns a locale's texts into the customs of a region, so that every date and time written with them reads back as
/// what it was:
/// - the names, without blanks at their ends;
/// - day, month and year in the format's order, as numbers, with four digits for the year, and with the format's
/// separator
///   where it is "/", "-" or "." ("/" otherwise);
/// - hours, minutes and seconds, separated by ":" or "." where the format has it so and it does not separate dates (":"
///   otherwise), by 12 hours only where the format is and the locale has texts for both halves of the day.
/// The decimal mark is left empty.
RegionalData RegionFromLocale(LocaleTexts texts);

/// Reads bytes in the encoding of the thread's locale, as the C library's own texts are, up to the first that it does
/// not allow.
Text TextInLocale(std::string_view bytes);

/// Returns the customs of a locale that is installed on this system, nothing when it is not. The decimal mark is left
/// empty. Leaves the process's and the thread's locale as they are.
/// @param locale the name as the C library takes it, such as "es_ES.UTF-8".
std::optional<RegionalData> InstalledRegion(const std::string& locale);

/// Tells whether a locale is installed on this system. Leaves the process's and the thread's locale as they are.
bool IsInstalled(const std::string& locale);

/// Returns the decimal mark of a locale that is installed on this system, nothing when it is not.
std::optional<Text> InstalledDecimalMark(const std::string& locale);

/// Returns the name of the region that a locale's name stands for: "it-IT" for "it_IT.UTF-8" and "it_IT@euro". Empty
/// for the locales that stand for none, "C" and "POSIX" with or without an encoding.
Text RegionNameOf(const std::string& locale);

}  // namespace nerio::platform
