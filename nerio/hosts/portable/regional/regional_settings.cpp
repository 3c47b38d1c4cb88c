#include "nerio/hosts/portable/regional/regional_settings.h"

#include <chrono>
#include <utility>

#include "nerio/hosts/portable/regional/conversion_status.h"
#include "nerio/hosts/portable/regional/date_writing.h"
#include "nerio/hosts/portable/regional/number_writing.h"

namespace nerio::platform {

std::int32_t CurrentYear() {
  const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  return int{std::chrono::year_month_day{today}.year()};
}

PortableRegionalSettings::PortableRegionalSettings(RegionalData region, YearClock currentYear)
    : region_(std::move(region)), reader_(region_, std::move(currentYear)) {}

Text PortableRegionalSettings::RegionName() { return region_.name; }

AutomationStatus PortableRegionalSettings::DateFromText(TextView text, Date& date) {
  return reader_.Read(text, date) ? AutomationStatus::kSuccess : kTypeMismatch;
}

AutomationStatus PortableRegionalSettings::TextFromDate(Date date, Text& text) {
  return AnswerConversion(
      [&] { return WriteDate(region_, date, text) ? AutomationStatus::kSuccess : kInvalidArgument; });
}

AutomationStatus PortableRegionalSettings::TextFromDouble(double value, Text& text) {
  return AnswerConversion([&] {
    text = WriteDouble(value, kDoubleDigits, region_.decimalMark);
    return AutomationStatus::kSuccess;
  });
}

AutomationStatus PortableRegionalSettings::TextFromSingle(float value, Text& text) {
  return AnswerConversion([&] {
    text = WriteDouble(value, kSingleDigits, region_.decimalMark);
    return AutomationStatus::kSuccess;
  });
}

AutomationStatus PortableRegionalSettings::TextFromCurrency(Currency value, Text& text) {
  return AnswerConversion([&] {
    text = WriteCurrency(value, region_.decimalMark);
    return AutomationStatus::kSuccess;
  });
}

AutomationStatus PortableRegionalSettings::TextFromDecimal(Decimal value, Text& text) {
  return AnswerConversion([&] {
    text = WriteDecimal(value, region_.decimalMark);
    return AutomationStatus::kSuccess;
  });
}

}  // namespace nerio::platform
