#include "nerio/hosts/portable/regional/date_reading.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "nerio/hosts/portable/regional/calendar.h"
#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

constexpr std::size_t kMostNumbers = 6;
constexpr int kMostDateMarks = 2;
constexpr std::size_t kMarkedNumbers = 5;  // a mark after the sixth number changes nothing

// The zeros of the scripts whose decimal digits may continue a number: the ones that the C run-time library of Windows
// knows, which are not all that Unicode has.
constexpr char16_t kZeros[] = {0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66, 0x0AE6, 0x0B66, 0x0C66, 0x0CE6,
                               0x0D66, 0x0E50, 0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};

constexpr bool IsAsciiDigit(char16_t unit) { return u'0' <= unit && unit <= u'9'; }

// Returns 0 to 9, or a larger number for a unit that is not a digit.
std::uint32_t DigitValue(char16_t unit) {
  if (unit < kZeros[0]) return static_cast<std::uint32_t>(unit) - u'0';
  const char16_t* above = std::upper_bound(std::begin(kZeros), std::end(kZeros), unit);
  return static_cast<std::uint32_t>(unit) - above[-1];
}

constexpr bool IsBlank(char16_t unit) {
  if (unit <= 0x00A0) return (u'\t' <= unit && unit <= u'\r') || unit == u' ' || unit == 0x0085 || unit == 0x00A0;
  return unit == 0x1680 || (0x2000 <= unit && unit <= 0x200A) || unit == 0x2028 || unit == 0x2029 || unit == 0x202F ||
         unit == 0x205F || unit == 0x3000;
}

// Reads the number that `text` starts with and takes it off.
std::uint32_t TakeNumber(TextView& text) {
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t number = 0;
  std::size_t length = 0;
  for (std::uint32_t digit; length < text.size() && (digit = DigitValue(text[length])) <= 9; ++length) {
    number = std::min(number * 10 + digit, kLargest);
  }
  text.remove_prefix(length);
  return static_cast<std::uint32_t>(number);
}

// Which of a text's numbers are the time and which the date. Bit i of `timeMarks` is the time mark after number i.
struct Shape {
  std::uint8_t numbers;
  std::uint8_t timeMarks;
  std::uint8_t firstOfTime;
  std::uint8_t timeNumbers;
  std::uint8_t firstOfDate;
  std::uint8_t dateNumbers;
};

constexpr Shape kShapes[] = {
    // Without a time mark only a number with AM or PM is a time.
    {2, 0b00000, 0, 0, 0, 2},
    {3, 0b00000, 0, 0, 0, 3},
    {1, 0b00000, 0, 1, 0, 0},
    {3, 0b00000, 0, 1, 1, 2},
    {3, 0b00000, 2, 1, 0, 2},
    {4, 0b00000, 0, 1, 1, 3},
    {4, 0b00000, 3, 1, 0, 3},
    // Time alone, time before the date.
    {2, 0b00001, 0, 2, 0, 0},
    {4, 0b00001, 0, 2, 2, 2},
    {5, 0b00001, 0, 2, 2, 3},
    {3, 0b00011, 0, 3, 0, 0},
    {5, 0b00011, 0, 3, 3, 2},
    {6, 0b00011, 0, 3, 3, 3},
    // Time after the date.
    {4, 0b00100, 2, 2, 0, 2},
    {5, 0b01000, 3, 2, 0, 3},
    {5, 0b01100, 2, 3, 0, 2},
    {6, 0b11000, 3, 3, 0, 3},
    // "1/2/2003 10:20: ", with a mark that no second follows: the seconds are 0 and the third number of the date is
    // ignored, deliberately, as the platform does.
    {5, 0b11000, 3, 3, 0, 2},
};

constexpr unsigned TimePlaces(const Shape& shape) { return ((1u << shape.timeNumbers) - 1) << shape.firstOfTime; }

// @param half the bit of the number that AM or PM belongs to, 0 for none.
const Shape* ShapeOf(std::size_t numbers, unsigned timeMarks, unsigned half) {
  for (const Shape& shape : kShapes) {
    if (shape.numbers != numbers || shape.timeMarks != timeMarks) continue;
    const unsigned places = TimePlaces(shape);
    if (timeMarks == 0 ? half == places : (half & ~places) == 0) return &shape;
  }
  return nullptr;
}

// Says which of three numbers is what.
struct Places {
  std::uint8_t day;
  std::uint8_t month;
  std::uint8_t year;
};

constexpr Places kDmy{0, 1, 2};
constexpr Places kMdy{1, 0, 2};
constexpr Places kYmd{2, 1, 0};
constexpr Places kYdm{1, 2, 0};
constexpr Places kMyd{2, 0, 1};

using Orders = std::array<Places, 4>;

const Orders& OrdersOf(DateOrder order) {
  static constexpr Orders kMonthFirst{kMdy, kYmd, kDmy, kYdm};
  static constexpr Orders kDayFirst{kDmy, kYmd, kMdy, kYdm};
  static constexpr Orders kYearFirst{kYmd, kMdy, kDmy, kYdm};
  if (order == DateOrder::kMonthDayYear) return kMonthFirst;
  return order == DateOrder::kDayMonthYear ? kDayFirst : kYearFirst;
}

using ThreeNumbers = std::array<std::uint32_t, 3>;

bool IsRealDay(const ThreeNumbers& numbers, Places places) {
  static constexpr std::uint8_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const std::uint32_t day = numbers[places.day];
  const std::uint32_t month = numbers[places.month];
  if (day < 1 || month < 1 || month > 12) return false;
  return day <= kDays[month - 1] || (month == 2 && day == 29 && IsLeapYear(numbers[places.year]));
}

// Returns false for a year that is too large.
bool CountDays(const ThreeNumbers& numbers, Places places, std::int32_t& day) {
  // The real day was found with the whole number; the year itself has 16 bits, as the platform's record of a date has.
  // So 29/2/67636 is 1 March 2100.
  std::uint32_t year = numbers[places.year] % 0x10000;
  if (year < 100) year += year < 50 ? 2000 : 1900;
  if (year > 9999) return false;
  const std::chrono::sys_days first{std::chrono::year{static_cast<int>(year)} /
                                    std::chrono::month{numbers[places.month]} / 1};
  day = static_cast<std::int32_t>((first - kDateEpoch).count()) + static_cast<std::int32_t>(numbers[places.day]) - 1;
  return true;
}

}  // namespace

struct DateReader::Scan {
  std::array<std::uint32_t, kMostNumbers> numbers{};
  std::size_t count = 0;
  unsigned months = 0;     ///< bit i: number i is a month's name
  unsigned timeMarks = 0;  ///< bit i: a time mark stands after number i
  unsigned half = 0;       ///< bit i: AM or PM belongs to number i
  bool afternoon = false;
  int dateMarks = 0;

  unsigned Last() const { return 1u << (count - 1); }

  bool AddNumber(std::uint32_t number) {
    if (count == kMostNumbers) return false;
    numbers[count++] = number;
    return true;
  }

  bool AddMonth(std::uint32_t month) {
    if (!AddNumber(month)) return false;
    months |= Last();
    return true;
  }

  bool AddHalf(bool isAfternoon) {
    if (count == 0 || half != 0) return false;
    half = Last();
    afternoon = isAfternoon;
    return true;
  }

  bool AddTimeMark() {
    if (count == 0) return false;
    if (count <= kMarkedNumbers) timeMarks |= Last();
    return true;
  }

  bool AddDateMark() { return count != 0 && ++dateMarks <= kMostDateMarks; }

  // Each part of the time has 16 bits, as the platform's record of a time has.
  bool TimeOf(const Shape& shape, std::int64_t& seconds) const {
    std::array<std::uint32_t, 3> time{};
    for (std::size_t i = 0; i < shape.timeNumbers; ++i) {
      const std::size_t place = shape.firstOfTime + i;
      time[i] = numbers[place] % 0x10000;
    }
    auto [hour, minute, second] = time;
    if (hour > 23 || minute > 59 || second > 59) return false;
    if (half != 0 && afternoon && hour < 12) hour += 12;
    if (half != 0 && !afternoon && hour == 12) hour = 0;
    seconds = hour * 3600 + minute * 60 + second;
    return true;
  }
};

DateReader::DateReader(const RegionalData& region, YearClock currentYear)
    : dateSeparator_(region.dateSeparator), dateOrder_(region.dateOrder), currentYear_(std::move(currentYear)) {
  for (const auto* months : {&region.months, &region.shortMonths}) {
    for (std::size_t i = 0; i < months->size(); ++i) {
      AddName((*months)[i], NameKind::kMonth, static_cast<std::uint8_t>(i + 1));
    }
  }
  for (const auto* days : {&region.days, &region.shortDays}) {
    for (const Text& day : *days) AddName(day, NameKind::kDay);
  }
  AddName(region.morning, NameKind::kMorning);
  AddName(region.afternoon, NameKind::kAfternoon);

  firstName_.fill(kNoName);
  for (std::size_t i = names_.size(); i-- > 0;) {  // backwards, so that each bucket keeps the order
    std::uint8_t& first = firstName_[BucketOf(names_[i].folded.front())];
    names_[i].next = std::exchange(first, static_cast<std::uint8_t>(i));
  }
}

void DateReader::AddName(const Text& name, NameKind kind, std::uint8_t month) {
  if (name.empty()) return;
  Text folded = name;
  std::transform(folded.begin(), folded.end(), folded.begin(), FoldCase);
  names_.push_back({std::move(folded), kind, month, kNoName});
}

// Returns the first name that `text` starts with, or null.
const DateReader::Name* DateReader::NameAt(TextView text) const {
  for (std::uint8_t i = firstName_[BucketOf(FoldCase(text.front()))]; i != kNoName; i = names_[i].next) {
    const Text& folded = names_[i].folded;
    if (folded.size() <= text.size() && std::equal(folded.begin(), folded.end(), text.begin(),
                                                   [](char16_t a, char16_t b) { return a == FoldCase(b); })) {
      return &names_[i];
    }
  }
  return nullptr;
}

bool DateReader::ScanText(TextView text, Scan& scan) const {
  while (!text.empty()) {
    if (IsAsciiDigit(text.front())) {
      if (!scan.AddNumber(TakeNumber(text))) return false;
      continue;
    }
    if (const Name* name = NameAt(text)) {
      if (name->kind == NameKind::kMonth && !scan.AddMonth(name->month)) return false;
      if (name->kind >= NameKind::kMorning && !scan.AddHalf(name->kind == NameKind::kAfternoon)) return false;
      text.remove_prefix(name->folded.size());
      continue;
    }
    const char16_t unit = text.front();
    text.remove_prefix(1);
    const bool last = text.empty();
    switch (unit) {
      case u'a':
      case u'A':
      case u'p':
      case u'P':
        if (!scan.AddHalf(unit == u'p' || unit == u'P')) return false;
        if (!last) text.remove_prefix(1);  // whatever it is, deliberately: as the platform does
        break;
      case u':':
      case u'.':
        if (last || !(unit == dateSeparator_ ? scan.AddDateMark() : scan.AddTimeMark())) return false;
        break;
      case u'-':
      case u'/':
        if (last || !scan.AddDateMark()) return false;
        break;
      case u',':
        if (last) return false;
        break;
      default:
        if (!IsBlank(unit)) return false;
    }
  }
  return true;
}

// Finds the first order of the date's numbers that names a real day.
bool DateReader::DayOf(const Scan& scan, std::size_t first, std::size_t count, std::int32_t& day) const {
  ThreeNumbers numbers{};
  std::copy_n(scan.numbers.begin() + static_cast<std::ptrdiff_t>(first), count, numbers.begin());
  if (count == 2) numbers[2] = static_cast<std::uint32_t>(currentYear_());

  std::size_t monthPlace = 0;  // of a month's name; `count` for none
  while (monthPlace < count && (scan.months >> (first + monthPlace) & 1) == 0) ++monthPlace;
  for (const Places places : OrdersOf(dateOrder_)) {
    if (monthPlace < count && places.month != monthPlace) continue;
    if (count == 2 && places.year != 2) continue;
    if (IsRealDay(numbers, places)) return CountDays(numbers, places, day);
  }
  if (count != 2) return false;
  numbers[2] = 1;
  for (const Places places : {kYmd, kMyd}) {
    if (IsRealDay(numbers, places)) return CountDays(numbers, places, day);
  }
  return false;
}

bool DateReader::Read(TextView text, Date& date) const {
  Scan scan;
  if (!ScanText(text.substr(0, text.find(u'\0')), scan)) return false;
  const Shape* shape = ShapeOf(scan.count, scan.timeMarks, scan.half);
  if (shape == nullptr) return false;
  std::int32_t day = 0;
  std::int64_t seconds = 0;
  if (shape->dateNumbers != 0 && !DayOf(scan, shape->firstOfDate, shape->dateNumbers, day)) return false;
  if (!scan.TimeOf(*shape, seconds)) return false;
  // One division of whole numbers: the double that is nearest to the moment. Adding a fraction to the day would round
  // twice.
  constexpr std::int64_t kSecondsOfDay = 86400;
  const std::int64_t wholeDays = day * kSecondsOfDay;
  date.days = static_cast<double>(day < 0 ? wholeDays - seconds : wholeDays + seconds) / kSecondsOfDay;
  return true;
}

}  // namespace nerio::platform
