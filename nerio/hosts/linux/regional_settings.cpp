#include "nerio/hosts/linux/regional_settings.h"

#include "nerio/hosts/linux/locale_region.h"
#include "nerio/hosts/linux/region_choice.h"
#include "nerio/hosts/portable/regional/conversion_status.h"

namespace nerio::platform {
namespace {

RegionalData EnvironmentRegion() {
  const RegionChoice dates = ChooseRegion("LC_TIME");
  const RegionChoice numbers = ChooseRegion("LC_NUMERIC");
  const RegionalData product = BuiltInRegion(kProductRegion).value();
  RegionalData region = dates.source == RegionChoice::Source::kInstalled
                            ? InstalledRegion(dates.locale).value_or(product)
                            : BuiltInRegion(dates.region).value();
  region.decimalMark = numbers.source == RegionChoice::Source::kInstalled
                           ? InstalledDecimalMark(numbers.locale).value_or(product.decimalMark)
                           : BuiltInRegion(numbers.region).value().decimalMark;
  return region;
}

}  // namespace

PortableRegionalSettings& LinuxRegionalSettings::Settings() {
  std::call_once(made_, [this] { settings_.emplace(EnvironmentRegion()); });
  return *settings_;
}

Text LinuxRegionalSettings::RegionName() { return Settings().RegionName(); }

AutomationStatus LinuxRegionalSettings::DateFromText(TextView text, Date& date) {
  return AnswerConversion([&] { return Settings().DateFromText(text, date); });
}

AutomationStatus LinuxRegionalSettings::TextFromDate(Date date, Text& text) {
  return AnswerConversion([&] { return Settings().TextFromDate(date, text); });
}

AutomationStatus LinuxRegionalSettings::TextFromDouble(double value, Text& text) {
  return AnswerConversion([&] { return Settings().TextFromDouble(value, text); });
}

AutomationStatus LinuxRegionalSettings::TextFromSingle(float value, Text& text) {
  return AnswerConversion([&] { return Settings().TextFromSingle(value, text); });
}

AutomationStatus LinuxRegionalSettings::TextFromCurrency(Currency value, Text& text) {
  return AnswerConversion([&] { return Settings().TextFromCurrency(value, text); });
}

AutomationStatus LinuxRegionalSettings::TextFromDecimal(Decimal value, Text& text) {
  return AnswerConversion([&] { return Settings().TextFromDecimal(value, text); });
}

}  // namespace nerio::platform
