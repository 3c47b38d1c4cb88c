#include "tools/nerio/region_system.h"

#include "nerio/hosts/linux/region_choice.h"
#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

using platform::RegionChoice;

NamedRegion::Match MatchOf(RegionChoice::Source source) {
  if (source == RegionChoice::Source::kStandIn) return NamedRegion::Match::kStandIn;
  if (source == RegionChoice::Source::kMissing) return NamedRegion::Match::kMissing;
  return NamedRegion::Match::kItself;
}

void Add(const char* what, const RegionChoice& choice, std::vector<NamedRegion>& named) {
  if (choice.source == RegionChoice::Source::kProduct) return;
  named.push_back({what, choice.locale, ToUtf8(choice.region), MatchOf(choice.source)});
}

}  // namespace

std::vector<NamedRegion> NamedRegions() {
  const RegionChoice dates = platform::ChooseRegion("LC_TIME");
  const RegionChoice numbers = platform::ChooseRegion("LC_NUMERIC");
  std::vector<NamedRegion> named;
  if (dates.locale == numbers.locale) {
    Add("dates and numbers", dates, named);
  } else {
    Add("dates", dates, named);
    Add("numbers", numbers, named);
  }
  return named;
}

}  // namespace nerio::tool
