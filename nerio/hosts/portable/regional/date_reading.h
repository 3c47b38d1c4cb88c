#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "nerio/hosts/portable/regional/regional_data.h"
#include "nerio/types/date.h"
#include "nerio/types/text.h"

namespace nerio::platform {

/// Gives the current year, in universal time.
using YearClock = std::function<std::int32_t()>;

/// Reads texts as dates under the customs of one region. Immutable once made, so any number of threads may read at
/// once; reading allocates nothing.
///
/// A text is a row of at most six numbers, with names and marks between them. It ends at its first NUL.
/// - A number starts with an ASCII digit and runs on over the decimal digits of other scripts too. Beyond 2^32-1 it
/// stays
///   there.
/// - A name is recognised wherever it starts, whatever its case, that of accented letters included ("LUNEDÌ"), and
///   whatever stands around it. A month's name is a number; the name of a day of the week is passed over and never checked against the date. Long months come first,
///   then short months, long days, short days and the halves of the day: where one name starts with another that comes
///   earlier, it is never reached (it-IT reads "martedì" as March and three letters too many).
/// - The region's AM or PM, or any other "a" or "p" together with the one unit after it ("5 PM", "5 p.", "5 a1"),
/// belongs
///   to the number before. There may be one.
/// - ":" and "." make the number before them a part of the time, unless the unit is the region's date separator; "-",
///   "/" and the date separator are at most two in all. Each needs a number somewhere before it and a unit after it.
/// - Blanks and commas part numbers; a comma is not the last unit.
///
/// The numbers of the time stand together, before or after those of the date: hour and minute, hour, minute and
/// second, or an hour with AM or PM. There is no fraction of a second. A date has three numbers or two: day and month
/// of the current year, or month and year with day 1. The region's order of numbers is tried first, then others, and
/// the first that names a real day wins: "12/31/1999" is 31 December also where the day comes first. A month's name
/// stays the month. Years below 50 are of the century from 2000 on, years from 50 to 99 of the one before.
class DateReader {
 public:
  /// @param region the customs; names are kept, the rest is copied.
  /// @param currentYear called for each date of two numbers only, from the thread that reads.
  DateReader(const RegionalData& region, YearClock currentYear);

  /// Reads a text.
  /// @param[out] date untouched unless the answer is true.
  /// @return false when the text is not a date. Raises nothing.
  bool Read(TextView text, Date& date) const;

 private:
  enum class NameKind : std::uint8_t { kMonth, kDay, kMorning, kAfternoon };
  struct Name {
    Text folded;
    NameKind kind;
    std::uint8_t month;  ///< 1 to 12; 0 for anything but a month
    std::uint8_t next;   ///< the next name in the same bucket
  };
  struct Scan;

  void AddName(const Text& name, NameKind kind, std::uint8_t month = 0);
  const Name* NameAt(TextView text) const;
  bool ScanText(TextView text, Scan& scan) const;
  bool DayOf(const Scan& scan, std::size_t first, std::size_t count, std::int32_t& day) const;

  // Names are found by the low bits of their first unit, so that a unit that starts none costs one look.
  static constexpr std::size_t kBuckets = 128;
  static constexpr std::uint8_t kNoName = 0xFF;
  static constexpr std::size_t BucketOf(char16_t unit) { return unit % kBuckets; }

  std::vector<Name> names_;                       ///< in the order in which they are looked for
  std::array<std::uint8_t, kBuckets> firstName_;  ///< of each bucket
  char16_t dateSeparator_;
  DateOrder dateOrder_;
  YearClock currentYear_;
};

}  // namespace nerio::platform
