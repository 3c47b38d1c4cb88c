#include "nerio/hosts/portable/regional/date_writing.h"

#include <chrono>
#include <cmath>
#include <cstdint>

#include "nerio/hosts/portable/regional/calendar.h"

namespace nerio::platform {
namespace {

constexpr double kBelowFirstDay = -657435.0;
constexpr double kAboveLastDay = 2958466.0;

struct Moment {
  std::chrono::sys_days day;
  std::uint32_t hour;
  std::uint32_t minute;
  std::uint32_t second;
};

// @param fraction of a day, from 0 to below 1.
Moment MomentOf(std::int32_t days, double fraction) {
  // A double holds a second of a day only nearly: a little more keeps 12:00:00 from being 11:59:59.999999.
  constexpr double kLittle = 1e-11;
  double rest = fraction + kLittle < 1.0 ? fraction + kLittle : fraction;
  const auto take = [&rest](double parts) {
    rest *= parts;
    const auto whole = static_cast<std::uint32_t>(rest);
    rest -= whole;
    return whole;
  };
  Moment moment{kDateEpoch + std::chrono::days{days}, take(24), take(60), take(60)};
  if (rest > 0.5 && ++moment.second == 60) {
    moment.second = 0;
    if (++moment.minute == 60) {
      moment.minute = 0;
      if (++moment.hour == 24) {
        moment.hour = 0;
        moment.day += std::chrono::days{1};
      }
    }
  }
  return moment;
}

void AppendNumber(Text& text, std::uint32_t number, std::size_t fewestDigits) {
  const std::string digits = std::to_string(number);
  if (digits.size() < fewestDigits) text.append(fewestDigits - digits.size(), u'0');
  text.append(digits.begin(), digits.end());
}

class PictureWriter {
 public:
  PictureWriter(const RegionalData& region, const Moment& moment, Text& text)
      : region_(region), moment_(moment), ymd_(moment.day), text_(text) {}

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
        return Number(moment_.hour % 12 == 0 ? 12 : moment_.hour % 12, length);
      case u'H':
        return Number(moment_.hour, length);
      case u'm':
        return Number(moment_.minute, length);
      case u's':
        return Number(moment_.second, length);
      case u't': {
        const TextView half = moment_.hour < 12 ? region_.morning : region_.afternoon;
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
  std::size_t Weekday() const { return std::chrono::weekday{moment_.day}.iso_encoding() - 1; }

  const RegionalData& region_;
  const Moment& moment_;
  const std::chrono::year_month_day ymd_;
  Text& text_;
};

}  // namespace

bool WriteDate(const RegionalData& region, Date date, Text& text) {
  if (!(date.days > kBelowFirstDay && date.days < kAboveLastDay)) return false;
  const double day = std::trunc(date.days);
  const double fraction = std::fabs(date.days - day);
  const Moment moment = MomentOf(static_cast<std::int32_t>(day), fraction);
  Text written;
  PictureWriter writer(region, moment, written);
  if (day != 0) writer.Write(region.shortDate);
  if (day != 0 && fraction != 0) written += u' ';
  if (day == 0 || fraction != 0) writer.Write(region.timeOfDay);
  text = std::move(written);
  return true;
}

}  // namespace nerio::platform
