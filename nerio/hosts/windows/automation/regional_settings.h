#pragma once

#include "nerio/platform/regional_settings.h"

namespace nerio::platform {

/// Converts with oleaut32 under the current user's settings (LOCALE_USER_DEFAULT), what the user changed in the Control
/// Panel included.
class WindowsRegionalSettings final : public RegionalSettings {
 public:
  Text RegionName() override;
  /// The text is passed on as a copy that ends with several NULs: the system's reader may look two units past the end.
  AutomationStatus DateFromText(TextView text, Date& date) override;
  AutomationStatus TextFromDate(Date date, Text& text) override;
  AutomationStatus TextFromDouble(double value, Text& text) override;
  AutomationStatus TextFromSingle(float value, Text& text) override;
  AutomationStatus TextFromCurrency(Currency value, Text& text) override;
  AutomationStatus TextFromDecimal(Decimal value, Text& text) override;
};

}  // namespace nerio::platform
