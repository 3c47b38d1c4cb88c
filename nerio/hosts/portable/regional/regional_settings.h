#pragma once

#include <mutex>
#include <optional>
#include <utility>

#include "nerio/hosts/portable/regional/date_reading.h"
#include "nerio/hosts/portable/regional/regional_data.h"
#include "nerio/platform/regional_settings.h"

namespace nerio::platform {

/// Returns the current year of the system's clock, in universal time.
std::int32_t CurrentYear();

/// Converts under the customs of one region, given as a value, as the platform's own conversions do under theirs.
/// Any number of threads may use one object at once.
///
/// Two things follow Windows proper: the decimal mark of the region stands in numbers with an exponent too, and a
/// value that is not a number has a name ("INF", "NAN") and is not a failure.
class PortableRegionalSettings final : public RegionalSettings {
 public:
  /// @param region the customs.
  /// @param currentYear the year of a date that names only day and month.
  explicit PortableRegionalSettings(RegionalData region, YearClock currentYear = CurrentYear)
      : customs_(std::in_place, std::move(region), std::move(currentYear)) {}
  /// @param find asked for the customs by the first call, which then stay. Where it finds no memory, the call fails and
  ///   the next one asks again.
  explicit PortableRegionalSettings(RegionalData (*find)()) noexcept : find_(find) {}

  Text RegionName() override;
  AutomationStatus DateFromText(TextView text, Date& date) override;
  AutomationStatus TextFromDate(Date date, Text& text) override;
  AutomationStatus TextFromDouble(double value, Text& text) override;
  AutomationStatus TextFromSingle(float value, Text& text) override;
  AutomationStatus TextFromCurrency(Currency value, Text& text) override;
  AutomationStatus TextFromDecimal(Decimal value, Text& text) override;

 private:
  struct Customs {
    Customs(RegionalData of, YearClock currentYear) : region(std::move(of)), reader(region, std::move(currentYear)) {}

    RegionalData region;
    DateReader reader;
  };

  // Finds the customs where they are not known yet. @throws std::bad_alloc.
  const Customs& Known();
  // Makes a conversion to a text; a lack of memory is a status like every other failure.
  template <typename Conversion>
  AutomationStatus Write(Text& text, Conversion convert) noexcept;

  RegionalData (*find_)() = nullptr;
  std::once_flag found_;
  std::optional<Customs> customs_;
};

}  // namespace nerio::platform
