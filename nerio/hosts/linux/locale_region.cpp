#include "nerio/hosts/linux/locale_region.h"

#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <cwchar>
#include <string_view>
#include <utility>
#include <vector>

#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/types/surrogates.h"
#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

// One conversion of a strftime format, by what it stands for: 'd', 'm', 'y' (date), 'H', 'h', 'M', 'S', 'p' (time).
struct Field {
  char16_t what;
  bool padded;
  Text before;  // the plain text between this field and the one before it
};

struct Conversion {
  TextView letters;
  char16_t what;
};

constexpr Conversion kConversions[] = {{u"de", u'd'}, {u"mbBh", u'm'}, {u"yYG", u'y'}, {u"Hk", u'H'},
                                       {u"Il", u'h'}, {u"M", u'M'},    {u"S", u'S'},   {u"pP", u'p'}};
constexpr TextView kBlankPadded = u"ekl";

char16_t WhatOf(char16_t letter) {
  for (const Conversion& conversion : kConversions) {
    if (conversion.letters.find(letter) != TextView::npos) return conversion.what;
  }
  return 0;
}

// Writes out the conversions that stand for several.
Text Expand(TextView format, TextView halfDayTimeFormat) {
  Text expanded;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char16_t letter = format[i] == u'%' && i + 1 < format.size() ? format[i + 1] : u'\0';
    TextView meaning;
    if (letter == u'D') meaning = u"%m/%d/%y";
    if (letter == u'F') meaning = u"%Y-%m-%d";
    if (letter == u'T') meaning = u"%H:%M:%S";
    if (letter == u'R') meaning = u"%H:%M";
    if (letter == u'r') meaning = halfDayTimeFormat.empty() ? u"%I:%M:%S %p" : halfDayTimeFormat;
    if (meaning.empty()) {
      expanded += format[i];
      if (letter == u'%') expanded += format[++i];
    } else {
      expanded += meaning;
      ++i;
    }
  }
  return expanded;
}

std::vector<Field> FieldsOf(TextView format) {
  std::vector<Field> fields;
  Text before;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != u'%') {
      before += format[i];
      continue;
    }
    bool padded = true;
    // Flags, and E or O for a locale's own years or digits, which become plain numbers.
    for (++i; i < format.size() && TextView(u"_-0^#EO").find(format[i]) != TextView::npos; ++i) {
      if (format[i] == u'-' || format[i] == u'_') padded = false;
    }
    if (i == format.size()) break;
    const char16_t what = WhatOf(format[i]);
    if (what != 0) fields.push_back({what, padded && kBlankPadded.find(format[i]) == TextView::npos, before});
    before.clear();
  }
  return fields;
}

const Field* Find(const std::vector<Field>& fields, char16_t what) {
  const auto found =
      std::find_if(fields.begin(), fields.end(), [what](const Field& field) { return field.what == what; });
  return found == fields.end() ? nullptr : &*found;
}

// Whether a text between two fields is one of `marks`, alone or followed by a blank.
bool IsMark(TextView between, TextView marks) {
  return !between.empty() && marks.find(between[0]) != TextView::npos &&
         (between.size() == 1 || between.substr(1) == u" ");
}

void TakeDate(std::vector<Field> fields, RegionalData& region) {
  fields.erase(std::remove_if(fields.begin(), fields.end(),
                              [](const Field& field) { return TextView(u"dmy").find(field.what) == TextView::npos; }),
               fields.end());
  const bool whole = fields.size() == 3 && Find(fields, u'd') && Find(fields, u'm') && Find(fields, u'y');
  const Text separator = whole && IsMark(fields[1].before, u"/-.") ? fields[1].before : u"/";
  region.dateSeparator = separator[0];
  if (!whole) {
    region.shortDate = u"dd/MM/yyyy";
    return;
  }
  const Text day = Find(fields, u'd')->padded ? u"dd" : u"d";
  const Text month = Find(fields, u'm')->padded ? u"MM" : u"M";
  const Text year = u"yyyy";
  switch (fields[0].what) {
    case u'd':
      region.shortDate = day + separator + month + separator + year;
      break;
    case u'm':
      region.dateOrder = DateOrder::kMonthDayYear;
      region.shortDate = month + separator + day + separator + year;
      break;
    default:
      region.dateOrder = DateOrder::kYearMonthDay;
      region.shortDate = year + separator + month + separator + day;
  }
}

void TakeTime(const std::vector<Field>& fields, RegionalData& region) {
  const Field* halfDayHour = Find(fields, u'h');
  const Field* dayHour = Find(fields, u'H');
  const bool halves = halfDayHour != nullptr && !region.morning.empty() && !region.afternoon.empty();
  const Field* hour = halves ? halfDayHour : dayHour;
  const Field* minute = Find(fields, u'M');
  Text separator = u":";
  if (minute != nullptr && minute->before == u"." && region.dateSeparator != u'.') separator = u".";
  const bool padded = hour == nullptr || hour->padded;
  region.timeOfDay = halves ? (padded ? u"hh" : u"h") : (padded ? u"HH" : u"H");
  region.timeOfDay += separator + u"mm" + separator + u"ss";
  if (halves) region.timeOfDay += u" tt";
}

// Midnight and the evening bear the texts of the two halves of the day, and neither reads back without its text.
bool BothHalvesReadBack(const RegionalData& region) {
  PortableRegionalSettings settings(region);
  for (const Date time : {Date{0}, Date{0.75}}) {
    Text text;
    Date back{1};
    if (settings.TextFromDate(time, text) != AutomationStatus::kSuccess ||
        settings.DateFromText(text, back) != AutomationStatus::kSuccess || back != time) {
      return false;
    }
  }
  return true;
}

void Trim(Text& text) {
  text.erase(text.find_last_not_of(u' ') + 1);
  text.erase(0, text.find_first_not_of(u' '));
}

// An installed locale, made the thread's own as long as this object lives, so that its bytes can be read.
class ScopedLocale {
 public:
  ScopedLocale(int mask, const std::string& name) : locale_(::newlocale(mask | LC_CTYPE_MASK, name.c_str(), nullptr)) {
    if (locale_ != nullptr) before_ = ::uselocale(locale_);
  }
  ~ScopedLocale() {
    if (locale_ == nullptr) return;
    ::uselocale(before_);
    ::freelocale(locale_);
  }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;

  explicit operator bool() const { return locale_ != nullptr; }

  // Returns one of the locale's texts.
  Text Get(nl_item item) const { return TextInLocale(::nl_langinfo_l(item, locale_)); }

 private:
  locale_t locale_;
  locale_t before_ = nullptr;
};

}  // namespace

Text TextInLocale(std::string_view bytes) {
  Text text;
  std::mbstate_t state{};
  while (!bytes.empty()) {
    wchar_t character = 0;
    const std::size_t length = std::mbrtowc(&character, bytes.data(), bytes.size(), &state);
    if (length == 0 || length > bytes.size()) break;
    AppendPoint(text, static_cast<char32_t>(character));
    bytes.remove_prefix(length);
  }
  return text;
}

RegionalData RegionFromLocale(LocaleTexts texts) {
  RegionalData& region = texts.region;
  for (Text* const text : {&region.morning, &region.afternoon}) Trim(*text);
  for (auto* const names : {&region.months, &region.shortMonths}) std::for_each(names->begin(), names->end(), Trim);
  for (auto* const names : {&region.days, &region.shortDays}) std::for_each(names->begin(), names->end(), Trim);
  TakeDate(FieldsOf(Expand(texts.dateFormat, {})), region);
  TakeTime(FieldsOf(Expand(texts.timeFormat, texts.halfDayTimeFormat)), region);
  // A locale's AM or PM may look like something else, such as the start of a name or the other half.
  if (!BothHalvesReadBack(region)) region.timeOfDay = u"HH:mm:ss";
  return std::move(region);
}

std::optional<RegionalData> InstalledRegion(const std::string& locale) {
  const ScopedLocale installed(LC_TIME_MASK, locale);
  if (!installed) return std::nullopt;
  constexpr std::array<nl_item, 12> kMonths{MON_1, MON_2, MON_3, MON_4,  MON_5,  MON_6,
                                            MON_7, MON_8, MON_9, MON_10, MON_11, MON_12};
  constexpr std::array<nl_item, 12> kShortMonths{ABMON_1, ABMON_2, ABMON_3, ABMON_4,  ABMON_5,  ABMON_6,
                                                 ABMON_7, ABMON_8, ABMON_9, ABMON_10, ABMON_11, ABMON_12};
  constexpr std::array<nl_item, 7> kDays{DAY_2, DAY_3, DAY_4, DAY_5, DAY_6, DAY_7, DAY_1};
  constexpr std::array<nl_item, 7> kShortDays{ABDAY_2, ABDAY_3, ABDAY_4, ABDAY_5, ABDAY_6, ABDAY_7, ABDAY_1};
  const auto get = [&installed](const auto& items, auto& texts) {
    std::transform(items.begin(), items.end(), texts.begin(), [&](nl_item item) { return installed.Get(item); });
  };
  LocaleTexts texts;
  texts.dateFormat = installed.Get(D_FMT);
  texts.timeFormat = installed.Get(T_FMT);
  texts.halfDayTimeFormat = installed.Get(T_FMT_AMPM);
  texts.region.name = RegionNameOf(locale);
  texts.region.morning = installed.Get(AM_STR);
  texts.region.afternoon = installed.Get(PM_STR);
  get(kMonths, texts.region.months);
  get(kShortMonths, texts.region.shortMonths);
  get(kDays, texts.region.days);
  get(kShortDays, texts.region.shortDays);
  return RegionFromLocale(std::move(texts));
}

bool IsInstalled(const std::string& locale) {
  return static_cast<bool>(ScopedLocale(LC_TIME_MASK | LC_NUMERIC_MASK, locale));
}

std::optional<Text> InstalledDecimalMark(const std::string& locale) {
  const ScopedLocale installed(LC_NUMERIC_MASK, locale);
  if (!installed) return std::nullopt;
  return installed.Get(RADIXCHAR);
}

Text RegionNameOf(const std::string& locale) {
  std::string name = locale.substr(0, locale.find_first_of(".@"));
  if (name == "C" || name == "POSIX") return {};
  std::replace(name.begin(), name.end(), '_', '-');
  return FromUtf8(name);
}

}  // namespace nerio::platform
