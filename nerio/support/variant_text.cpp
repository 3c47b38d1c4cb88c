#include "nerio/support/variant_text.h"

#include <concepts>
#include <string>

#include "nerio/support/variant_errors.h"
#include "nerio/types/byte_view.h"

namespace nerio {
namespace {

using platform::AutomationStatus;
using platform::RegionalSettings;

// Writes a value of each type in turn.
class TextWriter {
 public:
  explicit TextWriter(RegionalSettings& regional) : regional_(regional) {}

  Text operator()(const Empty&) const { return {}; }
  Text operator()(Null) const { throw InvalidUseOfNullError(); }
  Text operator()(Boolean value) const { return Text(TextOf(value)); }
  Text operator()(std::integral auto value) const {
    const std::string digits = std::to_string(value);
    return {digits.begin(), digits.end()};
  }
  Text operator()(float value) const { return Convert(&RegionalSettings::TextFromSingle, value); }
  Text operator()(double value) const { return Convert(&RegionalSettings::TextFromDouble, value); }
  Text operator()(Currency value) const { return Convert(&RegionalSettings::TextFromCurrency, value); }
  Text operator()(const Decimal& value) const { return Convert(&RegionalSettings::TextFromDecimal, value); }
  Text operator()(Date value) const { return Convert(&RegionalSettings::TextFromDate, value); }
  Text operator()(const Text& value) const { return value; }
  Text operator()(const Bytes& value) const { return TextOfBytes(value); }

 private:
  template <typename Value>
  Text Convert(AutomationStatus (RegionalSettings::*convert)(Value, Text&), Value value) const {
    Text text;
    const AutomationStatus status = (regional_.*convert)(value, text);
    if (status != AutomationStatus::kSuccess) throw FailedConversionError(status);
    return text;
  }

  RegionalSettings& regional_;
};

}  // namespace

Text VariantToText(const Variant& value, platform::RegionalSettings& regional) {
  return std::visit(TextWriter(regional), value);
}

}  // namespace nerio
