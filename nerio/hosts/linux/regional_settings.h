#pragma once

#include <mutex>
#include <optional>

#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/platform/regional_settings.h"

namespace nerio::platform {

/// Converts under the customs of the region that the environment names: dates and times under LC_TIME, the decimal mark
/// of LC_NUMERIC; LC_ALL counts before either, LANG where it is missing. An empty variable counts as missing.
///
/// it-IT, en-US, en-GB, de-DE, fr-FR, sv-SE and ja-JP are built in and need no locale on the system. Any other
/// installed locale gives its names, order and separators through the C library, whose own locale is neither asked nor
/// changed. For a locale that is not installed a built-in region with the same customs stands in where there is one
/// (`StandInFor`: de-DE for de_AT). An environment that names no region (C, POSIX, nothing at all), or a locale that is
/// not installed and that none stands in for, gets it-IT.
///
/// The environment is read once, on the first call, and what it named then stays: a date's text is always read back
/// under the settings that it was written with, and no thread sees them change. Any number of threads may use one
/// object.
class LinuxRegionalSettings final : public RegionalSettings {
 public:
  LinuxRegionalSettings() noexcept = default;

  Text RegionName() override;
  AutomationStatus DateFromText(TextView text, Date& date) override;
  AutomationStatus TextFromDate(Date date, Text& text) override;
  AutomationStatus TextFromDouble(double value, Text& text) override;
  AutomationStatus TextFromSingle(float value, Text& text) override;
  AutomationStatus TextFromCurrency(Currency value, Text& text) override;
  AutomationStatus TextFromDecimal(Decimal value, Text& text) override;

 private:
  // Makes the settings on the first call. @throws std::bad_alloc; the next call then tries again.
  PortableRegionalSettings& Settings();

  std::once_flag made_;
  std::optional<PortableRegionalSettings> settings_;
};

}  // namespace nerio::platform
