#pragma once

#include "nerio/hosts/portable/regional/date_reading.h"
#include "nerio/hosts/portable/regional/regional_data.h"
#include "nerio/platform/regional_settings.h"

namespace nerio::platform {

/// Returns the current year of the system's clock, in universal time.
std::int32_t CurrentYear();

/// Converts under the customs of one region, given as a value, as the platform's own conversions do under theirs.
/// Immutable once made: any number of threads may use one object at once.
///
/// Two things follow Windows proper: the decimal mark of the region stands in numbers with an exponent too, and a
/// value that is not a number has a name ("INF", "NAN") and is not a failure.
class PortableRegionalSettings final : public RegionalSettings {
 public:
  /// @param region the customs.
  /// @param currentYear the year of a date that names only day and month.
  explicit PortableRegionalSettings(RegionalData region, YearClock currentYear = CurrentYear);

  Text RegionName() override;
  AutomationStatus DateFromText(TextView text, Date& date) override;
  AutomationStatus TextFromDate(Date date, Text& text) override;
  AutomationStatus TextFromDouble(double value, Text& text) override;
  AutomationStatus TextFromSingle(float value, Text& text) override;
  AutomationStatus TextFromCurrency(Currency value, Text& text) override;
  AutomationStatus TextFromDecimal(Decimal value, Text& text) override;

 private:
  RegionalData region_;
  DateReader reader_;
};

}  // namespace nerio::platform
