// Reads any text as a date in any built-in region and checks what must hold for every text.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>

#include "fuzz/fuzz_input.h"
#include "nerio/hosts/portable/regional/regional_settings.h"

namespace {

using nerio::Date;
using nerio::Text;
using nerio::TextView;
using nerio::fuzz::Require;
using nerio::platform::AutomationStatus;
using nerio::platform::BuiltInRegion;
using nerio::platform::kTypeMismatch;
using nerio::platform::PortableRegionalSettings;

std::deque<PortableRegionalSettings> MakeSettings() {
  std::deque<PortableRegionalSettings> settings;
  for (const TextView name : {u"it-IT", u"en-US", u"en-GB", u"de-DE", u"fr-FR", u"sv-SE", u"ja-JP"}) {
    settings.emplace_back(BuiltInRegion(name).value(), [] { return 2023; });
  }
  return settings;
}

// Whether both answers are the same failure or the same date, bit for bit.
void RequireSame(PortableRegionalSettings& regional, TextView one, TextView other) {
  Date first;
  Date second;
  const auto status = regional.DateFromText(one, first);
  Require(regional.DateFromText(other, second) == status);
  if (nerio::fuzz::Planted() && first.days >= 36526.0 && first.days < 37622.0) first.days += 1;
  Require(std::memcmp(&first.days, &second.days, sizeof(double)) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte says which region reads and how the rest becomes text.
  if (size == 0) return 0;
  static std::deque<PortableRegionalSettings> allSettings = MakeSettings();
  PortableRegionalSettings& regional = allSettings[data[0] / 2 % allSettings.size()];
  const Text text = nerio::fuzz::TextOf({data + 1, size - 1}, data[0] % 2 != 0);

  constexpr Date kJunk{-12345.678};
  Date date = kJunk;
  const auto status = regional.DateFromText(text, date);
  Require(status == AutomationStatus::kSuccess || status == kTypeMismatch);
  if (status == kTypeMismatch) Require(date == kJunk);

  // A NUL ends the text, whatever follows.
  const Text upToNul = text.substr(0, text.find(u'\0'));
  RequireSame(regional, text, upToNul);
  RequireSame(regional, text, upToNul + u'\0' + u"1/2/3");
  // Blanks in front change nothing.
  RequireSame(regional, text, u" \x3000" + text);

  if (status == AutomationStatus::kSuccess) {
    // It is a whole second of the years 100 to 9999, so its text reads back as the same double.
    Require(date.days > -657435.0 && date.days < 2958466.0);
    Text written;
    Require(regional.TextFromDate(date, written) == AutomationStatus::kSuccess);
    RequireSame(regional, written, text);
  }
  return 0;
}
