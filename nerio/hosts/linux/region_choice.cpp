#include "nerio/hosts/linux/region_choice.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "nerio/hosts/linux/locale_region.h"
#include "nerio/hosts/portable/regional/regional_data.h"

namespace nerio::platform {
namespace {

struct StandIn {
  TextView region;
  TextView builtIn;
};

// What is not here writes its dates or numbers in another way: de-CH and de-LI with apostrophes and a point, fr-CA with
// the year first, fr-CH with points, sv-FI with the day first.
constexpr StandIn kStandIns[] = {
    {u"it", u"it-IT"},    {u"it-CH", u"it-IT"}, {u"it-SM", u"it-IT"}, {u"it-VA", u"it-IT"}, {u"de", u"de-DE"},
    {u"de-AT", u"de-DE"}, {u"de-BE", u"de-DE"}, {u"de-IT", u"de-DE"}, {u"de-LU", u"de-DE"}, {u"fr", u"fr-FR"},
    {u"fr-BE", u"fr-FR"}, {u"fr-LU", u"fr-FR"}, {u"fr-MC", u"fr-FR"}, {u"sv", u"sv-SE"},    {u"ja", u"ja-JP"},
    {u"en", u"en-US"},    {u"en-PH", u"en-US"},
};

// Returns the locale that the environment names for a category, empty for none.
std::string LocaleFor(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

bool IsCapital(char16_t unit) { return unit >= u'A' && unit <= u'Z'; }

}  // namespace

TextView StandInFor(TextView region) {
  const auto* const found = std::find_if(std::begin(kStandIns), std::end(kStandIns),
                                         [&](const StandIn& standIn) { return standIn.region == region; });
  if (found != std::end(kStandIns)) return found->builtIn;
  // Wherever else English is written, the day comes first.
  const bool english = region.size() == 5 && region.starts_with(u"en-") && IsCapital(region[3]) && IsCapital(region[4]);
  return english ? TextView(u"en-GB") : TextView();
}

RegionChoice ChooseRegion(const char* category) {
  using Source = RegionChoice::Source;
  const std::string locale = LocaleFor(category);
  const Text name = RegionNameOf(locale);
  if (name.empty()) return {locale, Text(kProductRegion), Source::kProduct};
  if (BuiltInRegion(name)) return {locale, name, Source::kBuiltIn};
  if (IsInstalled(locale)) return {locale, name, Source::kInstalled};
  const TextView standIn = StandInFor(name);
  if (!standIn.empty()) return {locale, Text(standIn), Source::kStandIn};
  return {locale, Text(kProductRegion), Source::kMissing};
}

}  // namespace nerio::platform
