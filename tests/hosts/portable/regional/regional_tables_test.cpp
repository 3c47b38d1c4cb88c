#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>

#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/types/utf8.h"
#include "tests/testing/recorded_regions.h"
#include "tests/testing/status_output.h"
#include "tests/testing/tables.h"

namespace nerio::platform {
namespace {

using nerio::testing::RecordedRegions;
using nerio::testing::Table;
using nerio::testing::Unescape;

// The settings of every recorded region, under a clock that stands still.
std::map<std::string, PortableRegionalSettings> SettingsIn(std::int32_t year) {
  std::map<std::string, PortableRegionalSettings> settings;
  const RecordedRegions regions;
  for (const std::string& identifier : regions.Identifiers()) {
    settings.try_emplace(identifier, regions.At(identifier), [year] { return year; });
  }
  return settings;
}

std::uint64_t Bits(const std::string& hexadecimal) { return std::stoull(hexadecimal, nullptr, 16); }

AutomationStatus Recorded(const std::string& hresult) {
  return static_cast<AutomationStatus>(std::stoul(hresult, nullptr, 16));
}

void ExpectDateOfEveryRow(const std::string& file, std::int32_t year) {
  const Table table(file);
  auto settings = SettingsIn(year);
  int pastTheEnd = 0;
  for (const Table::Row& row : table.rows()) {
    // The recorded reader looked past the end of these texts, at whatever lay there.
    if (table.Field(row, "tail") == "1") ++pastTheEnd;
    constexpr double kJunk = -12345.678;
    Date date{kJunk};
    const AutomationStatus status =
        settings.at(table.Field(row, "lcid")).DateFromText(Unescape(table.Field(row, "text")), date);
    const AutomationStatus expected = Recorded(table.Field(row, "hresult"));
    EXPECT_EQ(status, expected) << file << ':' << row.line << ": " << row.fields[0] << ' ' << row.fields[1];
    const std::uint64_t expectedBits =
        expected == AutomationStatus::kSuccess ? Bits(table.Field(row, "bits")) : std::bit_cast<std::uint64_t>(kJunk);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(date.days), expectedBits)
        << file << ':' << row.line << ": " << row.fields[0] << ' ' << row.fields[1] << ": " << date.days;
  }
  std::cout << file << ": " << table.rows().size() << " rows, " << pastTheEnd
            << " of them with a half of the day that ends the text\n";
}

TEST(Table, date_parse_tsv) { ExpectDateOfEveryRow("date_parse.tsv", 2023); }

TEST(Table, date_parse_clock_tsv) { ExpectDateOfEveryRow("date_parse_clock.tsv", 2024); }

TEST(Table, date_text_tsv) {
  const Table table("date_text.tsv");
  auto settings = SettingsIn(2023);
  int noNumbers = 0;
  for (const Table::Row& row : table.rows()) {
    const auto days = std::bit_cast<double>(Bits(table.Field(row, "bits")));
    if (std::isnan(days)) {  // no date; what the recorded conversion made of it means nothing
      ++noNumbers;
      continue;
    }
    const Text junk = u"junk";
    Text text = junk;
    const AutomationStatus status = settings.at(table.Field(row, "lcid")).TextFromDate({days}, text);
    const AutomationStatus expected = Recorded(table.Field(row, "hresult"));
    EXPECT_EQ(status, expected) << "date_text.tsv:" << row.line << ": " << row.fields[0];
    EXPECT_EQ(ToUtf8(text), ToUtf8(expected == AutomationStatus::kSuccess ? Unescape(table.Field(row, "text")) : junk))
        << "date_text.tsv:" << row.line << ": " << row.fields[0];
  }
  std::cout << "date_text.tsv: " << table.rows().size() << " rows, " << noNumbers << " left out for NaN\n";
}

// Where the recorded system and Windows proper differ, the built-in values are those of Windows proper.
struct Difference {
  TextView region;
  TextView recorded;
  TextView builtIn;
};
constexpr Difference kShortDates[] = {{u"it-IT", u"d/M/yyyy", u"dd/MM/yyyy"},
                                      {u"de-DE", u"d.M.yyyy", u"dd.MM.yyyy"},
                                      {u"ja-JP", u"yyyy/M/d", u"yyyy/MM/dd"}};

Text ShortDateOfWindows(const RegionalData& recorded) {
  for (const Difference& each : kShortDates) {
    if (each.region == recorded.name && each.recorded == recorded.shortDate) return Text(each.builtIn);
  }
  return recorded.shortDate;
}

template <std::size_t count>
void ExpectSame(const std::array<Text, count>& builtIn, const std::array<Text, count>& recorded, TextView region) {
  for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(ToUtf8(builtIn[i]), ToUtf8(recorded[i])) << ToUtf8(region) << i;
}

TEST(Table, regional_settings_tsv) {
  const RecordedRegions regions;
  int compared = 0;
  for (const std::string& identifier : regions.Identifiers()) {
    const RegionalData& recorded = regions.At(identifier);
    const std::optional<RegionalData> builtIn = BuiltInRegion(recorded.name);
    if (!builtIn) continue;
    ++compared;
    const auto where = ::testing::Message() << ToUtf8(recorded.name);
    EXPECT_EQ(builtIn->name, recorded.name) << where;
    EXPECT_EQ(ToUtf8(builtIn->shortDate), ToUtf8(ShortDateOfWindows(recorded))) << where;
    EXPECT_EQ(ToUtf8(builtIn->timeOfDay), ToUtf8(recorded.timeOfDay)) << where;
    EXPECT_EQ(builtIn->dateSeparator, recorded.dateSeparator) << where;
    EXPECT_EQ(builtIn->dateOrder, recorded.dateOrder) << where;
    EXPECT_EQ(ToUtf8(builtIn->morning), ToUtf8(recorded.morning)) << where;
    EXPECT_EQ(ToUtf8(builtIn->afternoon), ToUtf8(recorded.afternoon)) << where;
    EXPECT_EQ(ToUtf8(builtIn->decimalMark), ToUtf8(recorded.decimalMark)) << where;
    ExpectSame(builtIn->months, recorded.months, recorded.name);
    ExpectSame(builtIn->shortMonths, recorded.shortMonths, recorded.name);
    ExpectSame(builtIn->days, recorded.days, recorded.name);
    ExpectSame(builtIn->shortDays, recorded.shortDays, recorded.name);
  }
  std::cout << "regional_settings.tsv: " << regions.Identifiers().size() << " regions, " << compared << " built in\n";
  EXPECT_EQ(compared, 7) << "the table has every built-in region";
}

}  // namespace
}  // namespace nerio::platform
