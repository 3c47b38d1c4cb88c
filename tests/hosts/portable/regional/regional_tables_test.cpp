#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <map>

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

}  // namespace
}  // namespace nerio::platform
