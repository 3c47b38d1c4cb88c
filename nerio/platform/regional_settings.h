#pragma once

#include "nerio/platform/status.h"
#include "nerio/types/date.h"
#include "nerio/types/text.h"
#include "nerio/types/variant.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// Converts between text, dates and numbers under the user's regional settings, one native conversion per call (the
/// VarDateFromStr family, flags 0). The same settings serve every call, so that a date's text reads back. Nothing
/// raises; an answer other than success is the conversion's own HRESULT, and the output is then untouched.
class NERIO_PUBLIC RegionalSettings {
 public:
  virtual ~RegionalSettings() = default;

  /// Returns the name of the region whose customs are used, such as "it-IT".
  virtual Text RegionName() = 0;

  /// Reads a text as a date, a time of day or both. A text ends at its first NUL. Empty text is not a date.
  virtual AutomationStatus DateFromText(TextView text, Date& date) = 0;

  /// Writes a date in the general form: the date part unless it is day 0, the time part unless it is midnight of
  /// another day, in the short formats of the settings.
  virtual AutomationStatus TextFromDate(Date date, Text& text) = 0;

  /// Writes a double with up to 15 significant digits.
  virtual AutomationStatus TextFromDouble(double value, Text& text) = 0;

  /// Writes a single with up to 7 significant digits.
  virtual AutomationStatus TextFromSingle(float value, Text& text) = 0;

  /// Writes an amount with up to 4 decimals, zeros at the end cut.
  virtual AutomationStatus TextFromCurrency(Currency value, Text& text) = 0;

  /// Writes a decimal number exactly, zeros at the end cut.
  virtual AutomationStatus TextFromDecimal(Decimal value, Text& text) = 0;
};

}  // namespace nerio::platform
