#pragma once

#include <string>
#include <vector>

namespace nerio::tool {

/// What the environment names for dates or numbers, and the region that is used for it. All texts are in UTF-8.
struct NamedRegion {
  std::string what;    ///< "dates", "numbers" or "dates and numbers"
  std::string locale;  ///< as it is named, such as "de_AT.UTF-8"
  std::string region;  ///< the region whose customs are used, such as "de-DE"
  enum class Match {
    kItself,   ///< it is the region that is named
    kStandIn,  ///< what is named is not installed, and another region with the same customs is used
    kMissing,  ///< what is named is not installed, and the product's own region is used
  };
  Match match = Match::kItself;
};

/// Returns what the environment names. Empty where it names no region, and where the system itself keeps the user's
/// region.
std::vector<NamedRegion> NamedRegions();

}  // namespace nerio::tool
