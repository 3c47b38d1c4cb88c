#pragma once

#include <string>

#include "nerio/types/text.h"

namespace nerio::platform {

/// The region whose customs are used where the environment names none, or one that nothing stands for.
inline constexpr TextView kProductRegion = u"it-IT";

/// What the environment names for one category of a locale, and the region that is used for it.
struct RegionChoice {
  enum class Source {
    kProduct,    ///< no region is named (nothing at all, C, POSIX): the product's own is used
    kBuiltIn,    ///< the region is one of the built-in ones
    kInstalled,  ///< the C library has the locale
    kStandIn,    ///< the locale is not installed; a built-in region with the same customs is used
    kMissing,    ///< the locale is not installed and no built-in region has its customs: the product's own is used
  };
  std::string locale;  ///< as the environment has it, such as "de_AT.UTF-8"; empty for none
  Text region;         ///< such as "de-DE"
  Source source = Source::kProduct;
};

/// Chooses the region for a category.
/// @param category "LC_TIME" or "LC_NUMERIC"; LC_ALL counts before it, LANG where it is missing or empty.
RegionChoice ChooseRegion(const char* category);

/// Returns the built-in region whose customs a region shares as far as dates and numbers go, for "de-AT" "de-DE"; empty
/// when there is none, as for "de-CH" and "fr-CA". A language alone stands for its own region.
TextView StandInFor(TextView region);

}  // namespace nerio::platform
