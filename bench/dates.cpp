// Reading 28 texts of all kinds as dates under Italian settings. One iteration reads all of them; the label says how
// many a contender read right.

#include <benchmark/benchmark.h>
#include <unicode/smpdtfmt.h>

#include <array>
#include <clocale>
#include <cmath>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "nerio/hosts/portable/regional/regional_data.h"
#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/types/utf8.h"

namespace {

struct Case {
  const char* text;
  std::optional<double> days;  // since 30 December 1899; none for a text that is no date
};

// As 32-bit Windows answers, with one text for each way of writing.
constexpr std::array<Case, 28> kCases = {{
    {"12/31/1999", 36525},
    {"24/05/07", 39226},
    {"05/07/1999", 36346},
    {"31-12-5", 38717},
    {"07 24 05", 38557},
    {"1999,12,31", 36525},
    {"12, 31/1999", 36525},
    {"1999/12", 36495},
    {"13:13", 0.55069444444444449},
    {"12.24.31", 0.51702546296296292},
    {"3 febbraio 2001", 36925},
    {"gen-3-2001", 36894},
    {"3 Feb 2001", 36925},
    {"dicembre 25, 1998", 36154},
    {"25-mag-1998", 35940},
    {"25mag1998", 35940},
    {"MAGGIO 25 1998", 35940},
    {"9 mag 33", 48708},
    {"31/12/1999 lun", 36525},
    {"dom 10:30", 0.4375},
    {"lunedì 3 maggio 2001", 37014},
    {"5:04 P", 0.71111111111111114},
    {"12/31/1999,10:20", 36525.430555555555},
    {"5:04 1999-12-31", 36525.211111111108},
    {"1999-12-31 24:00", std::nullopt},
    {"31/1999/12", std::nullopt},
    {"3 maj", std::nullopt},
    {"31121999", std::nullopt},
}};

constexpr double kSecondsADay = 86400;
constexpr double kDaysToUnixEpoch = 25569;

bool IsRight(const std::optional<double>& days, std::size_t i) {
  if (!days || !kCases[i].days) return days.has_value() == kCases[i].days.has_value();
  return std::abs(*days - *kCases[i].days) < 0.5 / kSecondsADay;
}

// Reads the texts, in the contender's own kind of text, and counts the right answers once, outside the measure.
template <typename Texts, typename Read>
int ReadAll(benchmark::State& state, const Texts& texts, Read read) {
  for (auto _ : state) {
    for (const auto& text : texts) benchmark::DoNotOptimize(read(text));
  }
  int right = 0;
  for (std::size_t i = 0; i < kCases.size(); ++i) right += IsRight(read(texts[i]), i);
  state.SetLabel(std::to_string(right) + " of 28 right");
  return right;
}

void Nerio(benchmark::State& state) {
  std::vector<nerio::Text> texts;
  for (const Case& one : kCases) texts.push_back(nerio::FromUtf8(one.text));
  nerio::platform::PortableRegionalSettings regional(nerio::platform::BuiltInRegion(u"it-IT").value());
  const int right = ReadAll(state, texts, [&](const nerio::Text& text) -> std::optional<double> {
    nerio::Date date;
    if (regional.DateFromText(text, date) != nerio::platform::AutomationStatus::kSuccess) return std::nullopt;
    return date.days;
  });
  if (right != static_cast<int>(kCases.size())) state.SkipWithError("not all right");
}

// One format after the other until one takes the whole text.
void Strptime(benchmark::State& state) {
  static constexpr const char* kFormats[] = {
      "%d/%m/%Y", "%m/%d/%Y",    "%y/%m/%d", "%d-%m-%y",    "%m %d %y",  "%Y,%m,%d",       "%m, %d/%Y",      "%Y/%m",
      "%H:%M",    "%H.%M.%S",    "%d %B %Y", "%B-%d-%Y",    "%B %d, %Y", "%d-%B-%Y",       "%d%B%Y",         "%B %d %Y",
      "%d %B %y", "%d/%m/%Y %A", "%A %H:%M", "%A %d %B %Y", "%I:%M %p",  "%m/%d/%Y,%H:%M", "%H:%M %Y-%m-%d",
  };
  if (std::setlocale(LC_TIME, "it_IT.UTF-8") == nullptr) return state.SkipWithError("no locale it_IT.UTF-8");
  std::vector<std::string> texts;
  for (const Case& one : kCases) texts.emplace_back(one.text);
  ReadAll(state, texts, [](const std::string& text) -> std::optional<double> {
    for (const char* format : kFormats) {
      std::tm fields{};
      fields.tm_mday = 1;
      const char* const end = ::strptime(text.c_str(), format, &fields);
      if (end == nullptr || *end != '\0') continue;
      const double time = (fields.tm_hour * 60 + fields.tm_min) * 60 + fields.tm_sec;
      if (fields.tm_year == 0) return time / kSecondsADay;
      return static_cast<double>(::timegm(&fields)) / kSecondsADay + kDaysToUnixEpoch;
    }
    return std::nullopt;
  });
}

// The same with ICU's lenient formats, made once.
void Icu(benchmark::State& state) {
  constexpr const char16_t* kPatterns[] = {
      u"d/M/yyyy",     u"M/d/yyyy",         u"yy/M/d",   u"d-M-yy",        u"M d yy",          u"yyyy,M,d",
      u"M, d/yyyy",    u"yyyy/M",           u"H:mm",     u"H.mm.ss",       u"d MMMM yyyy",     u"MMM-d-yyyy",
      u"MMMM d, yyyy", u"d-MMM-yyyy",       u"dMMMyyyy", u"MMMM d yyyy",   u"d MMM yy",        u"d/M/yyyy EEE",
      u"EEE H:mm",     u"EEEE d MMMM yyyy", u"h:mm a",   u"M/d/yyyy,H:mm", u"H:mm yyyy-MM-dd",
  };
  std::vector<std::unique_ptr<icu::SimpleDateFormat>> formats;
  for (const char16_t* pattern : kPatterns) {
    UErrorCode status = U_ZERO_ERROR;
    formats.push_back(
        std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), icu::Locale("it", "IT"), status));
    if (U_FAILURE(status)) return state.SkipWithError("ICU takes no such pattern");
    formats.back()->setTimeZone(*icu::TimeZone::getGMT());
    formats.back()->setLenient(false);
  }
  std::vector<icu::UnicodeString> texts;
  for (const Case& one : kCases) texts.push_back(icu::UnicodeString::fromUTF8(one.text));
  ReadAll(state, texts, [&](const icu::UnicodeString& text) -> std::optional<double> {
    for (const auto& format : formats) {
      icu::ParsePosition position(0);
      const UDate milliseconds = format->parse(text, position);
      if (position.getIndex() != text.length()) continue;
      const double days = milliseconds / 1000 / kSecondsADay;
      return days >= 0 && days < 1 ? days : days + kDaysToUnixEpoch;
    }
    return std::nullopt;
  });
}

}  // namespace

int main(int argc, char** argv) {
  using nerio::bench::Contender;
  Contender("dates/nerio", Nerio);
  Contender("dates/strptime", Strptime);
  Contender("dates/icu", Icu);
  return nerio::bench::RunSideBySide(argc, argv);
}
