#include "nerio/hosts/portable/regional/regional_settings.h"

#include <chrono>
#include <new>

#include "nerio/hosts/portable/regional/date_writing.h"
#include "nerio/hosts/portable/regional/number_writing.h"

namespace nerio::platform {

std::int32_t CurrentYear() {
  const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  return int{std::chrono::year_month_day{today}.year()};
}

const PortableRegionalSettings::Customs& PortableRegionalSettings::Known() {
  if (find_ != nullptr) std::call_once(found_, [this] { customs_.emplace(find_(), CurrentYear); });
  return *customs_;
}

template <typename Conversion>
AutomationStatus PortableRegionalSettings::Write(Text& text, Conversion convert) noexcept try {
  text = convert(Known().region);
  return AutomationStatus::kSuccess;
} catch (const std::bad_alloc&) {
  return kOutOfMemory;
}

Text PortableRegionalSettings::RegionName() { return Known().region.name; }

AutomationStatus PortableRegionalSettings::DateFromText(TextView text, Date& date) try {
  return Known().reader.Read(text, date) ? AutomationStatus::kSuccess : kTypeMismatch;
} catch (const std::bad_alloc&) {
  return kOutOfMemory;
}

AutomationStatus PortableRegionalSettings::TextFromDate(Date date, Text& text) try {
  return WriteDate(Known().region, date, text) ? AutomationStatus::kSuccess : kInvalidArgument;
} catch (const std::bad_alloc&) {
  return kOutOfMemory;
}

AutomationStatus PortableRegionalSettings::TextFromDouble(double value, Text& text) {
  return Write(text, [=](const auto& region) { return WriteDouble(value, kDoubleDigits, region.decimalMark); });
}

AutomationStatus PortableRegionalSettings::TextFromSingle(float value, Text& text) {
  return Write(text, [=](const auto& region) { return WriteDouble(value, kSingleDigits, region.decimalMark); });
}

AutomationStatus PortableRegionalSettings::TextFromCurrency(Currency value, Text& text) {
  return Write(text, [=](const auto& region) { return WriteCurrency(value, region.decimalMark); });
}

AutomationStatus PortableRegionalSettings::TextFromDecimal(Decimal value, Text& text) {
  return Write(text, [=](const auto& region) { return WriteDecimal(value, region.decimalMark); });
}

}  // namespace nerio::platform
