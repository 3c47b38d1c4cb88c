#pragma once

#include "nerio/platform/regional_settings.h"

namespace nerio::platform {

/// Converts with oleaut32 under the current user's settings (LOCALE_USER_DEFAULT), what the user changed in the Control
/// Panel included.
class WindowsRegionalSettings final : public RegionalSettings {
 public:
  Text RegionName() override;
  /// The text is passed on as a copy that ends with several NULs: the system's reader may look two units past the end.
  Status DateFromText(TextView text, Date& date) override;
  Status TextFromDate(Date date, Text& text) override;
  Status TextFromDouble(double value, Text& text) override;
  Status TextFromSingle(float value, Text& text) override;
  Status TextFromCurrency(Currency value, Text& text) override;
  Status TextFromDecimal(Decimal value, Text& text) override;
};

}  // namespace nerio::platform
