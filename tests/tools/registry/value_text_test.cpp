#include "tools/nerio/registry/value_text.h"

#include <gtest/gtest.h>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "tests/testing/tables.h"

namespace nerio::tool {
namespace {

struct Case {
  std::uint32_t type;
  const char* data;  // pairs of hexadecimal digits
  const char* text;
};

const Case kCases[] = {
    {1, "70726F7661", "prova"},
    {1, "70726F766100", "prova"},

    {1, "70657263689980E9", "perch\xE2\x84\xA2\xE2\x82\xAC\xC3\xA9"},
    {1, "", ""},
    {1, "00", ""},
    {2, "2541250D", "%A%\r"},
    {7, "6100620000", "a\nb"},
    {7, "61006200", "a\nb"},
    {7,
     "6100006200"
     "00",
     "a\n\nb"},
    {7, "00", ""},
    {7, "", ""},
    {7, "61", "a"},
    {4, "2A000000", "42"},
    {4, "FFFFFFFF", "4294967295"},
    {4, "2A0000", "2a,00,00"},
    {5, "0000002A", "42"},
    {11, "FFFFFFFFFFFFFFFF", "18446744073709551615"},
    {11, "2A000000", "2a,00,00,00"},
    {3, "00FF10", "00,ff,10"},
    {0, "", ""},
    {99, "41", "41"},
};

TEST(DataText, WritesEachTypeForAReader) {
  platform::CodePage1252 codePage;
  for (const Case& row : kCases) {
    EXPECT_EQ(DataText(row.type, testing::FromHex(row.data), codePage), row.text) << row.type << ' ' << row.data;
  }
}

TEST(TypeName, AnswersTheNameOrTheNumber) {
  EXPECT_EQ(TypeName(1), "REG_SZ");
  EXPECT_EQ(TypeName(11), "REG_QWORD");
  EXPECT_EQ(TypeName(12), "0xc");
  EXPECT_EQ(TypeName(0xFFFFFFFF), "0xffffffff");
}

TEST(OneLine, ShowsControlCharactersAsEscapes) {
  EXPECT_EQ(OneLine("a\tb\r\nc\x01\x7F\xC3\xA9\\"), "a\\tb\\r\\nc\\x01\\x7f\xC3\xA9\\");
}

}  // namespace
}  // namespace nerio::tool
