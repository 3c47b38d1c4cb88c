#include "nerio/hosts/linux/regional_settings.h"

#include <cstdlib>
#include <string>

#include "nerio/hosts/linux/locale_region.h"
#include "nerio/hosts/portable/regional/conversion_status.h"

namespace nerio::platform {
namespace {

constexpr TextView kProductRegion = u"it-IT";

// Returns the locale that the environment names for a category, empty for none.
std::string LocaleFor(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

std::optional<RegionalData> RegionOf(const std::string& locale) {
  const Text name = RegionNameOf(locale);
  if (name.empty()) return std::nullopt;
  std::optional<RegionalData> region = BuiltInRegion(name);
  return region ? region : InstalledRegion(locale);
}

std::optional<Text> DecimalMarkOf(const std::string& locale) {
  const Text name = RegionNameOf(locale);
  if (name.empty()) return std::nullopt;
  const std::optional<RegionalData> region = BuiltInRegion(name);
  return region ? region->decimalMark : InstalledDecimalMark(locale);
}

RegionalData EnvironmentRegion() {
  const RegionalData product = BuiltInRegion(kProductRegion).value();
  RegionalData region = RegionOf(LocaleFor("LC_TIME")).value_or(product);
  region.decimalMark = DecimalMarkOf(LocaleFor("LC_NUMERIC")).value_or(product.decimalMark);
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
