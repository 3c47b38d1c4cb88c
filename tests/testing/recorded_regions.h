#pragma once

#include <map>
#include <string>
#include <vector>

#include "nerio/hosts/portable/regional/regional_data.h"

namespace nerio::testing {

/// The values of a region's settings by the platform's own names for them, such as LOCALE_SSHORTDATE.
using RegionValues = std::map<std::string, Text>;

/// Returns the customs that such values describe. @throws std::out_of_range when one is missing.
platform::RegionalData RegionOf(const RegionValues& values);

/// Holds the customs of the regions that the tables of dates and numbers were recorded under, as the table
/// regional_settings.tsv has them. They differ in places from the values that are built in.
class RecordedRegions {
 public:
  RecordedRegions();

  /// Returns the locale identifiers as the tables write them, such as "0x0410".
  const std::vector<std::string>& Identifiers() const { return identifiers_; }

  /// Returns the customs of one region. @throws std::out_of_range for an identifier that is not in the table.
  const platform::RegionalData& At(const std::string& identifier) const;

 private:
  std::vector<std::string> identifiers_;
  std::vector<platform::RegionalData> regions_;
};

}  // namespace nerio::testing
