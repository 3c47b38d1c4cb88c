#pragma once

#include <array>
#include <optional>

#include "nerio/types/text.h"

namespace nerio::platform {

/// The order in which a region writes day, month and year.
enum class DateOrder { kMonthDayYear, kDayMonthYear, kYearMonthDay };

/// Holds the customs of one region, as the platform's locale information has them. All texts are as they are shown;
/// an empty one is a text that the region does not have.
///
/// The two pictures are made of d, dd, ddd, dddd (day, its two digits, short and long name), M to MMMM (month), y, yy,
/// yyyy (year), h, hh (hour of 12), H, HH (hour of 24), m, mm, s, ss, t, tt (first unit or whole of the text for the
/// half of the day), text between apostrophes, and everything else as it stands.
struct RegionalData {
  Text name;                      ///< such as "it-IT"
  Text shortDate;                 ///< picture of a date
  Text timeOfDay;                 ///< picture of a time
  char16_t dateSeparator = u'/';  ///< what parts the numbers of a date; decides whether "." marks a date or a time
  DateOrder dateOrder = DateOrder::kDayMonthYear;  ///< the order that numbers are tried in first
  Text morning;                                    ///< AM
  Text afternoon;                                  ///< PM
  Text decimalMark;
  std::array<Text, 12> months;  ///< from January on
  std::array<Text, 12> shortMonths;
  std::array<Text, 7> days;  ///< from Monday on
  std::array<Text, 7> shortDays;
};

/// Returns the platform's own values for it-IT, en-US, en-GB, de-DE, fr-FR, sv-SE or ja-JP, nothing for another name.
std::optional<RegionalData> BuiltInRegion(TextView name);

}  // namespace nerio::platform
