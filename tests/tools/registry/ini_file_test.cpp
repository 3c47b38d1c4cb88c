#include "tools/nerio/registry/ini_file.h"

#include <gtest/gtest.h>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "tests/testing/ansi_literal.h"

namespace nerio::tool {
namespace {

const RegistryKey kBelow{platform::kHkeyLocalMachine, "Software\\Ditta"_ansi};

std::vector<RegSection> SectionsOf(const std::string& bytes) {
  platform::CodePage1252 codePage;
  return ReadIniFile(bytes, kBelow, codePage);
}

// What was read, a line for each key and value.
std::string Lines(const std::string& bytes) {
  std::string lines;
  for (const RegSection& section : SectionsOf(bytes)) {
    EXPECT_EQ(section.key.root, kBelow.root);
    EXPECT_FALSE(section.removed);
    lines += std::to_string(section.line) + " [" + section.key.path.bytes() + "]\n";
    for (const RegValue& value : section.values) {
      EXPECT_EQ(value.type, platform::kRegSz);
      lines += std::to_string(value.line) + " " + value.name.bytes() + "=<" + value.data + ">\n";
    }
  }
  return lines;
}

TEST(ReadIniFile, SectionsAreKeysAndTheirLinesValues) {
  const std::pair<std::string, const char*> rows[] = {
      {"", ""},
      {"; a\n# b\n\n \t\n", ""},
      {"[Posta]\r\nServer=a.example\r\nPorta=25\r\n",
       "1 [Software\\Ditta\\Posta]\n2 Server=<a.example>\n3 Porta=<25>\n"},
      {"a=1\n[b]\n", "1 [Software\\Ditta]\n1 a=<1>\n2 [Software\\Ditta\\b]\n"},
      {"\xEF\xBB\xBF[ a b ]\r c = d = e ; f \r", "1 [Software\\Ditta\\a b]\n2 c=<d = e ; f>\n"},
      {"[a\\b\\]\nx=\n", "1 [Software\\Ditta\\a\\b]\n2 x=<>\n"},
      {"[a]b]\n", "1 [Software\\Ditta\\a]b]\n"},
      {"[a]\nx=\" 1 \"\ny='2'\nz=\"3'\nw=\"\nv=\"4\"5\"\n",
       "1 [Software\\Ditta\\a]\n2 x=< 1 >\n3 y=<2>\n4 z=<\"3'>\n5 w=<\">\n6 v=<4\"5>\n"},
      {"[a]\nx=1\n[b]\nx=2\n[A]\ny=3\n",
       "1 [Software\\Ditta\\a]\n2 x=<1>\n3 [Software\\Ditta\\b]\n4 x=<2>\n5 [Software\\Ditta\\A]\n6 y=<3>\n"},
      {"[\xC3\xA8]\n\xE2\x82\xAC=\xC3\xA0", "1 [Software\\Ditta\\\xE8]\n2 \x80=<\xE0>\n"},
      {EncodeUtf16(u"[a]\nb=\u00E8"), "1 [Software\\Ditta\\a]\n2 b=<\xE8>\n"},
  };
  for (const auto& [bytes, lines] : rows) EXPECT_EQ(Lines(bytes), lines) << bytes;
}

TEST(ReadIniFile, WhatDoesNotRead_IsRefusedWithLineAndReason) {
  struct Row {
    std::string bytes;
    std::size_t line;
    const char* part;
  };
  const Row rows[] = {
      {"[a\n", 1, "ends with ]"},
      {"[a] b\n", 1, "ends with ]"},
      {"\n[]\n", 2, "without a name"},
      {"[\\]\n", 1, "without a name"},
      {"[a]\nb\n", 2, "neither a section"},
      {"[a]\n= b\n", 2, "name before the ="},
      {"[a]\nb=1\nB=2\n", 3, "\"B\" stands in line 2 already"},
      {"[a]\nb=1\n[A]\nb=2\n", 4, "stands in line 2 already"},
      {"[a]\nb=\xD0\x96\n", 2, "U+0416"},
      {"[\xD0\x96]\n", 1, "U+0416"},
      {"[" + std::string(257, 'x') + "]\n", 1, "257 characters"},
      {"[a]\nb=\xE8\n", 2, "not UTF-8; convert the file"},
      {std::string("[\0a\0]\0", 6), 1, "UTF-16 without a byte-order mark"},
      {std::string("[a]\nb=\0", 7), 2, "NUL"},
  };
  for (const Row& row : rows) {
    try {
      SectionsOf(row.bytes);
      ADD_FAILURE() << "taken: " << row.bytes;
    } catch (const BadRegFile& bad) {
      EXPECT_EQ(bad.line(), row.line) << row.bytes;
      EXPECT_NE(std::string(bad.what()).find(row.part), std::string::npos) << bad.what() << "\nfor " << row.bytes;
    }
  }
}

}  // namespace
}  // namespace nerio::tool
