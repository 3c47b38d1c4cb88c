#include "tests/testing/recorded_regions.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "tests/testing/tables.h"

namespace nerio::testing {
namespace {

template <std::size_t count>
std::array<Text, count> Numbered(const RegionValues& values, const std::string& name) {
  std::array<Text, count> texts;
  for (std::size_t i = 0; i < count; ++i) texts[i] = values.at(name + std::to_string(i + 1));
  return texts;
}

}  // namespace

platform::RegionalData RegionOf(const RegionValues& values) {
  using platform::DateOrder;
  constexpr DateOrder kOrders[] = {DateOrder::kMonthDayYear, DateOrder::kDayMonthYear, DateOrder::kYearMonthDay};
  platform::RegionalData region;
  region.name = values.at("LOCALE_SNAME");
  region.shortDate = values.at("LOCALE_SSHORTDATE");
  region.timeOfDay = values.at("LOCALE_STIMEFORMAT");
  region.dateSeparator = values.at("LOCALE_SDATE").at(0);
  region.dateOrder = kOrders[values.at("LOCALE_IDATE").at(0) - u'0'];
  region.morning = values.at("LOCALE_S1159");
  region.afternoon = values.at("LOCALE_S2359");
  region.decimalMark = values.at("LOCALE_SDECIMAL");
  region.months = Numbered<12>(values, "LOCALE_SMONTHNAME");
  region.shortMonths = Numbered<12>(values, "LOCALE_SABBREVMONTHNAME");
  region.days = Numbered<7>(values, "LOCALE_SDAYNAME");
  region.shortDays = Numbered<7>(values, "LOCALE_SABBREVDAYNAME");
  return region;
}

RecordedRegions::RecordedRegions() {
  const Table table("regional_settings.tsv");
  std::map<std::string, RegionValues> byIdentifier;
  for (const Table::Row& row : table.rows()) {
    byIdentifier[table.Field(row, "lcid")][table.Field(row, "name")] = Unescape(table.Field(row, "value"));
  }
  for (const auto& [identifier, values] : byIdentifier) {
    identifiers_.push_back(identifier);
    regions_.push_back(RegionOf(values));
  }
}

const platform::RegionalData& RecordedRegions::At(const std::string& identifier) const {
  const auto found = std::find(identifiers_.begin(), identifiers_.end(), identifier);
  if (found == identifiers_.end()) throw std::out_of_range("no recorded region " + identifier);
  return regions_[static_cast<std::size_t>(std::distance(identifiers_.begin(), found))];
}

}  // namespace nerio::testing
