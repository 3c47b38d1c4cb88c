#include "nerio/hosts/portable/regional/date_writing.h"

#include <chrono>
#include <cmath>
#include <cstdint>

#include "nerio/hosts/portable/regional/calendar.h"

namespace nerio::platform {
namespace {

constexpr double kBelowFirstDay = -657435.0;
constexpr double kAboveLastDay = 2958466.0;

// @param fraction of a day, from 0 to below 1.
std::chrono::sys_seconds MomentOf(std::int32_t days, double fraction) {
  // A double holds a second of a day only nearly: a little more keeps 12:00:00 from being 11:59:59.999999.
  constexpr double kLittle = 1e-11;
  double rest = fraction + kLittle < 1.0 ? fraction + kLittle : fraction;
  std::int32_t seconds = 0;
  for (const std::int32_t parts : {24, 60, 60}) {
    rest *= parts;
    const auto whole = static_cast<std::int32_t>(rest);
    rest -= whole;
    seconds = seconds * 60 + whole;
  }
  if (rest > 0.5) ++seconds;
  return kDateEpoch + std::chrono::days{days} + std::chrono::seconds{seconds};
}

void AppendNumber(Text& text, std::uint32_t number, std::size_t fewestDigits) {
  const std::string digits = std::to_string(number);
  if (digits.size() < fewestDigits) text.append(fewestDigits - digits.size(), u'0');
  text.append(digits.begin(), digits.end());
}

class PictureWriter {
 public:
  PictureWriter(const RegionalData& region, std::chrono::sys_seconds moment, Text& text)
      : region_(region), day_(std::chrono::floor<std::chrono::days>(moment)), time_(moment - day_), text_(text) {}

  void Write(TextView picture) {
    while (!picture.empty()) {
      if (picture.front() == u'\'') {
        picture.remove_prefix(WriteQuoted(picture));
        continue;
      }
      const std::size_t end = picture.find_first_not_of(picture.front());
      const std::size_t run = end == TextView::npos ? picture.size() : end;
      WriteRun(picture.substr(0, run));
      picture.remove_prefix(run);
    }
  }

 private:
  // Writes the text between apostrophes, a doubled one as one, and returns the length of all.
  std::size_t WriteQuoted(TextView picture) {
    std::size_t at = 1;
    for (; at < picture.size(); ++at) {
      if (picture[at] == u'\'') {
        ++at;
        if (at == picture.size() || picture[at] != u'\'') break;
      }
      text_ += picture[at];
    }
    return at;
  }

  void WriteRun(TextView run) {
    const std::size_t length = run.size();
    switch (run.front()) {
      case u'd':
        return length <= 2 ? Number(unsigned{ymd_.day()}, length)
                           : Name(region_.days, region_.shortDays, Weekday(), length);
      case u'M':
        return length <= 2 ? Number(unsigned{ymd_.month()}, length)
                           : Name(region_.months, region_.shortMonths, unsigned{ymd_.month()} - 1, length);
      case u'y':
        // The whole year is not padded: the year 100 has three digits.
        return length <= 2 ? Number(Year() % 100, length) : Number(Year(), 1);
      case u'h':
        return Number(Count(std::chrono::make12(time_.hours())), length);
      case u'H':
        return Number(Count(time_.hours()), length);
      case u'm':
        return Number(Count(time_.minutes()), length);
      case u's':
        return Number(Count(time_.seconds()), length);
      case u't': {
        const TextView half = std::chrono::is_am(time_.hours()) ? region_.morning : region_.afternoon;
        text_ += length == 1 ? half.substr(0, 1) : half;
        return;
      }
      default:
        text_ += run;
    }
  }

  void Number(std::uint32_t number, std::size_t digits) { AppendNumber(text_, number, digits >= 2 ? 2 : 1); }

  template <typename Names>
  void Name(const Names& names, const Names& shortNames, std::size_t index, std::size_t length) {
    text_ += length == 3 ? shortNames[index] : names[index];
  }

  std::uint32_t Year() const { return static_cast<std::uint32_t>(int{ymd_.year()}); }
  std::size_t Weekday() const { return std::chrono::weekday{day_}.iso_encoding() - 1; }
  template <typename Duration>
  static std::uint32_t Count(Duration duration) {
    return static_cast<std::uint32_t>(duration.count());
  }

  const RegionalData& region_;
  const std::chrono::sys_days day_;
  const std::chrono::year_month_day ymd_{day_};
  const std::chrono::hh_mm_ss<std::chrono::seconds> time_;
  Text& text_;
};

}  // namespace

bool WriteDate(const RegionalData& region, Date date, Text& text) {
  if (!(date.days > kBelowFirstDay && date.days < kAboveLastDay)) return false;
  const double day = std::trunc(date.days);
  const double fraction = std::fabs(date.days - day);
  Text written;
  PictureWriter writer(region, MomentOf(static_cast<std::int32_t>(day), fraction), written);
  if (day != 0) writer.Write(region.shortDate);
  if (day != 0 && fraction != 0) written += u' ';
  if (day == 0 || fraction != 0) writer.Write(region.timeOfDay);
  text = std::move(written);
  return true;
}

}  // namespace nerio::platform
