#include "nerio/hosts/linux/regional_settings.h"

#include "nerio/hosts/linux/locale_region.h"
#include "nerio/hosts/linux/region_choice.h"

namespace nerio::platform {

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

}  // namespace nerio::platform
