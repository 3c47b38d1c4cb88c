#include "nerio/hosts/portable/text/code_page_1252.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/testing/ansi_literal.h"
#include "tests/testing/tables.h"

namespace nerio::platform {
namespace {

using nerio::testing::FromHex;
using nerio::testing::Table;
using nerio::testing::ToHex;

// Reads code units written as hexadecimal numbers separated by blanks.
Text Units(const std::string& field) {
  std::istringstream in(field);
  Text text;
  for (unsigned unit = 0; in >> std::hex >> unit;) text += static_cast<char16_t>(unit);
  return text;
}

void ExpectBytesOfEveryRow(const std::string& file, const std::string& unitsColumn) {
  const Table table(file);
  CodePage1252 codePage;
  for (const Table::Row& row : table.rows()) {
    const Text text = Units(table.Field(row, unitsColumn));
    EXPECT_FALSE(text.empty() && !table.Field(row, unitsColumn).empty()) << file << ':' << row.line;
    EXPECT_EQ(ToHex(codePage.ToAnsi(text)), table.Field(row, "bytes")) << file << ':' << row.line;
  }
}

TEST(Table, ansi_1252_tsv) { ExpectBytesOfEveryRow("ansi_1252.tsv", "unit"); }

TEST(Table, ansi_1252_strings_tsv) { ExpectBytesOfEveryRow("ansi_1252_strings.tsv", "units"); }

TEST(Table, ansi_1252_back_tsv) {
  const Table table("ansi_1252_back.tsv");
  CodePage1252 codePage;
  for (const Table::Row& row : table.rows()) {
    EXPECT_EQ(table.Field(row, "err_invalid_chars"), "ok") << "ansi_1252_back.tsv:" << row.line;
    EXPECT_EQ(codePage.ToText(FromHex(table.Field(row, "byte"))), Units(table.Field(row, "unit")))
        << "ansi_1252_back.tsv:" << row.line;
  }
}

TEST(CodePage1252, EveryByteComesBackFromItsText) {
  CodePage1252 codePage;
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  const Text text = codePage.ToText(bytes);
  EXPECT_EQ(text.size(), 256u);
  EXPECT_EQ(codePage.ToAnsi(text), AnsiText(bytes));
}

TEST(CodePage1252, NulsAreContentAndNoTerminatorIsAdded) {
  CodePage1252 codePage;
  EXPECT_EQ(codePage.ToAnsi(Text(u"a\0b", 3)), "a\0b"_ansi);
  EXPECT_EQ(codePage.ToText(std::string_view("a\0b\0", 4)), Text(u"a\0b\0", 4));
  EXPECT_EQ(codePage.ToAnsi({}), AnsiText());
  EXPECT_EQ(codePage.ToText({}), u"");
}

TEST(CodePage1252, SurrogatesAreReplacedOneByOne) {
  CodePage1252 codePage;
  EXPECT_EQ(codePage.ToAnsi(u"x\U0001F600y"), "x??y"_ansi);
  EXPECT_EQ(codePage.ToAnsi(Text{u'\xD83D'}), "?"_ansi);
}

TEST(CodePage1252, BestFitCanMakeASeparatorOfAPath) {
  CodePage1252 codePage;
  EXPECT_EQ(codePage.ToAnsi(u"A\u2216B\uFF3CC"), "A\\B\\C"_ansi);
}

TEST(CodePage1252, KnowsItsNumber) { EXPECT_EQ(CodePage1252().Identifier(), 1252u); }

}  // namespace
}  // namespace nerio::platform
