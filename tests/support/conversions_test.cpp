#include "nerio/support/conversions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/testing/failing_files.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/status_output.h"
#include "tests/testing/tables.h"

namespace nerio {
namespace {

using ::testing::ElementsAre;
using testing::FailingFiles;
using testing::FakeHost;
using testing::FromHex;
using testing::Table;

// Hands out one GUID, or a failure together with bytes that mean nothing.
class FixedGuid final : public platform::GuidSource {
 public:
  platform::SystemStatus Create(platform::GuidBytes& guid) override {
    guid = bytes;
    return status;
  }

  platform::GuidBytes bytes{};
  platform::SystemStatus status = platform::SystemStatus::kSuccess;
};

class GuidText : public ::testing::Test {
 protected:
  Text Make(const std::string& hexBytes) {
    const std::string bytes = FromHex(hexBytes);
    std::copy(bytes.begin(), bytes.end(), source_.bytes.begin());
    return GetGuid(host_.View());
  }

  FixedGuid source_;
  FakeHost host_{.guids = &source_};
};

TEST_F(GuidText, GetGuid_BytesZeroToFifteen_AreWrittenInMemoryOrderWithALeadingZero) {
  EXPECT_EQ(Make("000102030405060708090A0B0C0D0E0F"), u"00010203-0405-0607-0809-0A0B0C0D0E0F");
}

TEST_F(GuidText, GetGuid_FirstThreeFields_ShowTheirBytesReversed) {
  EXPECT_EQ(Make("D4C3B2A1F6E57B4A9C8D1E2F3A4B5C6D"), u"D4C3B2A1-F6E5-7B4A-9C8D-1E2F3A4B5C6D");
}

TEST_F(GuidText, GetGuid_AnyBytes_AreCapitalDigitsInGroupsOf8And4And4And4And12) {
  for (int byte = 0; byte < 256; ++byte) {
    source_.bytes.fill(static_cast<std::uint8_t>(byte));
    const Text text = GetGuid(host_.View());
    ASSERT_EQ(text.size(), 36u);
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (i == 8 || i == 13 || i == 18 || i == 23) {
        EXPECT_EQ(text[i], u'-') << i;
      } else {
        EXPECT_NE(TextView(u"0123456789ABCDEF").find(text[i]), TextView::npos) << i;
      }
    }
  }
}

TEST_F(GuidText, GetGuid_PlatformFails_AnswersEmptyText) {
  source_.bytes.fill(0xAB);
  for (const std::int32_t number : {1, -1, 5, static_cast<std::int32_t>(0x80004005u)}) {
    source_.status = platform::SystemStatus{number};
    EXPECT_EQ(GetGuid(host_.View()), u"") << number;
  }
}

TEST_F(GuidText, GetGuid_PlatformRaises_AnswersEmptyText) {
  EXPECT_EQ(GetGuid(FakeHost{}.View()), u"");  // a host without a GUID source throws
}

TEST(Table, guid_tsv) {
  const Table table("guid.tsv");
  FixedGuid source;
  const FakeHost host{.guids = &source};
  for (const Table::Row& row : table.rows()) {
    const std::string bytes = FromHex(table.Field(row, "bytes"));
    std::copy(bytes.begin(), bytes.end(), source.bytes.begin());
    EXPECT_EQ(ToUtf8(GetGuid(host.View())), table.Field(row, "memory_order_text")) << "guid.tsv:" << row.line;
  }
}

// Regional settings of which each conversion can be made to fail.
class BrokenRegion final : public platform::RegionalSettings {
 public:
  enum class Way { kWorks, kAnswersFailure, kRaises };
  Way reading = Way::kWorks;
  Way writing = Way::kWorks;

  Text RegionName() override { return settings_.RegionName(); }
  platform::AutomationStatus DateFromText(TextView text, Date& date) override {
    return Do(reading, [&] { return settings_.DateFromText(text, date); });
  }
  platform::AutomationStatus TextFromDate(Date date, Text& text) override {
    return Do(writing, [&] { return settings_.TextFromDate(date, text); });
  }
  platform::AutomationStatus TextFromDouble(double, Text&) override { throw std::logic_error("not a date"); }
  platform::AutomationStatus TextFromSingle(float, Text&) override { throw std::logic_error("not a date"); }
  platform::AutomationStatus TextFromCurrency(Currency, Text&) override { throw std::logic_error("not a date"); }
  platform::AutomationStatus TextFromDecimal(Decimal, Text&) override { throw std::logic_error("not a date"); }

 private:
  template <typename Conversion>
  static platform::AutomationStatus Do(Way way, Conversion convert) {
    if (way == Way::kRaises) throw std::runtime_error("broken");
    return way == Way::kWorks ? convert() : platform::kTypeMismatch;
  }

  platform::PortableRegionalSettings settings_{platform::BuiltInRegion(u"en-US").value()};
};

class DateCheck : public ::testing::Test {
 protected:
  DateCheck() { files_.entries[kPath] = {}; }

  Text Check(TextView text) { return GetDate(text, host_.View()); }
  std::string Trace() { return files_.entries.at(kPath).content; }

  const Text kPath = u"C:\\Nerio\\Nerio.log";
  const Text kZero = u"00:00:00";
  FailingFiles files_;
  platform::CodePage1252 codePage_;
  platform::PortableRegionalSettings regional_{platform::BuiltInRegion(u"it-IT").value()};
  FakeHost host_{.codePage = &codePage_, .files = &files_, .module = &files_, .regional = &regional_};
};

TEST_F(DateCheck, GetDate_EmptyText_AnswersTheZeroDateAndTracesTwoLines) {
  EXPECT_EQ(Check(u""), kZero);
  EXPECT_EQ(Trace(), "GetDate IN : \r\nGetDate OUT : 00:00:00\r\n");
}

TEST_F(DateCheck, GetDate_ValidDate_ComesBackUnchangedWithItsOwnSeparatorsAndDigits) {
  for (const TextView text :
       {u"31-12-1999", u"1/2/3", u"  25 dicembre 1998 ", u"10:30", u"1999-12-31 23:59:59", u"12/31/1999"}) {
    files_.entries[kPath] = {};
    EXPECT_EQ(Check(text), text);
    const std::string utf8 = ToUtf8(text);
    EXPECT_EQ(Trace(), "GetDate IN : " + utf8 + "\r\nGetDate OUT : " + utf8 + "\r\n");
  }
}

TEST_F(DateCheck, GetDate_NoDate_AnswersTheZeroDate) {
  for (const TextView text : {u"abc", u"13", u"gennaio", u"24:00", u"31/02/1999x", u" "}) {
    EXPECT_EQ(Check(text), kZero) << ToUtf8(text);
  }
}

TEST_F(DateCheck, GetDate_TextWithNul_IsReadUpToItAndComesBackWhole) {
  const Text text(u"31/12/1999\0abc", 14);
  EXPECT_EQ(Check(text), text);
  EXPECT_EQ(Check(Text(u"\0"
                       u"31/12/1999",
                       11)),
            kZero);
}

TEST_F(DateCheck, GetDate_ItsOwnAnswer_ReadsBackAsExactlyZeroInEveryRegion) {
  for (const TextView name : {u"it-IT", u"en-US", u"en-GB", u"de-DE", u"fr-FR", u"sv-SE", u"ja-JP"}) {
    platform::PortableRegionalSettings regional(platform::BuiltInRegion(name).value());
    host_.regional = &regional;
    const Text zero = Check(u"abc");
    Date date{1};
    EXPECT_EQ(regional.DateFromText(zero, date), platform::AutomationStatus::kSuccess) << ToUtf8(name);
    EXPECT_EQ(date, Date{0}) << ToUtf8(name);
    EXPECT_EQ(Check(zero), zero);
  }
}

TEST_F(DateCheck, GetDate_TracingOff_AnswersTheSameAndWritesNothing) {
  files_.entries.clear();
  EXPECT_EQ(Check(u"31/12/1999"), u"31/12/1999");
  EXPECT_EQ(Check(u"abc"), kZero);
  EXPECT_TRUE(files_.entries.empty());
}

TEST_F(DateCheck, GetDate_OneLineAtATime_OpensAndClosesTheFileForEach) {
  const std::string folder = "Folder()";
  const std::string find = "Find(C:\\Nerio\\Nerio.log)";
  const std::string open = "Open(C:\\Nerio\\Nerio.log)";
  Check(u"1/2");
  EXPECT_THAT(files_.calls,
              ElementsAre(folder, find, folder, open, "Append(1, \"GetDate IN : 1/2\\r\\n\")", "Close(1)", folder, find,
                          folder, open, "Append(1, \"GetDate OUT : 1/2\\r\\n\")", "Close(1)"));
  EXPECT_TRUE(files_.openHandles.empty());
}

TEST_F(DateCheck, GetDate_AnyCallForALineFails_AnswersTheZeroDateAlsoForAValidDate) {
  constexpr std::size_t kCallsPerLine = 6;
  for (std::size_t failing = 1; failing <= 2 * kCallsPerLine; ++failing) {
    files_ = FailingFiles();
    files_.entries[kPath] = {};
    files_.FailCall(failing, FailingFiles::kDenied);
    EXPECT_EQ(Check(u"31/12/1999"), kZero) << failing;
    // It stops where it failed: no later call is made, so no second line follows a failed first one.
    EXPECT_EQ(files_.calls.size(), failing);
    EXPECT_EQ(Trace().find("OUT") != std::string::npos, failing == 2 * kCallsPerLine) << failing;
    // Only a failed write leaves the file open, on purpose.
    EXPECT_EQ(files_.openHandles.size(), failing % kCallsPerLine == 5 ? 1u : 0u) << failing;
  }
  files_ = FailingFiles();
  files_.entries[kPath] = {};
  files_.FailCall(2 * kCallsPerLine + 1, FailingFiles::kDenied);
  EXPECT_EQ(Check(u"31/12/1999"), u"31/12/1999");
}

TEST_F(DateCheck, GetDate_TracingRaisesAnythingElse_AnswersTheZeroDate) {
  host_.codePage = nullptr;  // the fake then throws std::logic_error
  EXPECT_EQ(Check(u"31/12/1999"), kZero);
}

TEST_F(DateCheck, GetDate_ReadingRaises_AnswersTheZeroDateWithoutASecondLine) {
  BrokenRegion broken;
  broken.reading = BrokenRegion::Way::kRaises;
  host_.regional = &broken;
  EXPECT_EQ(Check(u"12/31/1999"), u"12:00:00 AM");
  EXPECT_EQ(Trace(), "GetDate IN : 12/31/1999\r\n");
}

TEST_F(DateCheck, GetDate_NotEvenTheZeroDateCanBeWritten_AnswersMidnightByTwentyFourHours) {
  for (const auto way : {BrokenRegion::Way::kAnswersFailure, BrokenRegion::Way::kRaises}) {
    files_.entries[kPath] = {};
    BrokenRegion broken;
    broken.writing = way;
    host_.regional = &broken;
    EXPECT_EQ(Check(u"abc"), kZero);
    EXPECT_EQ(Trace(), "GetDate IN : abc\r\n");
    EXPECT_EQ(Check(u"12/31/1999"), u"12/31/1999");  // a date needs no writing
  }
}

}  // namespace
}  // namespace nerio
