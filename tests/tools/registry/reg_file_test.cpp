#include "tools/nerio/registry/reg_file.h"

#include <gtest/gtest.h>

#include <random>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/types/utf8.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/tables.h"

namespace nerio::tool {
namespace {

using testing::ToHex;

constexpr const char* kHead = "Windows Registry Editor Version 5.00\r\n\r\n";
constexpr const char* kKey = "[HKEY_LOCAL_MACHINE\\Software\\Nerio]\r\n";

std::vector<RegSection> Read(const std::string& bytes) {
  platform::CodePage1252 codePage;
  return ReadRegFile(bytes, codePage);
}

// The one value of a version 5.00 file with this line, as "name|type|hexadecimal data".
std::string ReadValue(const std::string& lines) {
  const std::vector<RegSection> sections = Read(kHead + (kKey + lines));
  if (sections.size() != 1 || sections[0].values.size() != 1) return "not one value";
  const RegValue& value = sections[0].values[0];
  if (value.removed) return value.name.bytes() + "|removed";
  return value.name.bytes() + "|" + std::to_string(value.type) + "|" + ToHex(value.data);
}

struct ValueCase {
  const char* lines;
  const char* value;
};

const ValueCase kValues[] = {
    {"\"Nome\"=\"x\"", "Nome|1|7800"},
    {"@=\"x\"", "|1|7800"},
    {"\"\"=\"x\"", "|1|7800"},
    {"  \"Nome\" = \"x\"  ; comment", "Nome|1|7800"},
    {"\"a\\\\b\\\"c\"=\"C:\\\\dir\\\\\"", "a\\b\"c|1|433A5C6469725C00"},
    {"\"a\\r\\nb\"=\"\\n\"", "a\r\nb|1|0A00"},
    {"\"N\"=\"\"", "N|1|00"},
    {"\"N\"=\"perch\xC3\xA9 \xE2\x82\xAC\"", "N|1|7065726368E9208000"},
    {"\"N\"=dword:0000002a", "N|4|2A000000"},
    {"\"N\"=dword:FFFFFFFF", "N|4|FFFFFFFF"},
    {"\"N\"=DWORD:1", "N|4|01000000"},
    {"\"N\"=hex:", "N|3|"},
    {"\"N\"=hex:00,ff, 1 ,A", "N|3|00FF010A"},
    {"\"N\"=hex:00,\\\r\n  01,\\\n02", "N|3|000102"},
    {"\"N\"=hex:\\\r\n  01", "N|3|01"},
    {"\"N\"=hex:01\\\r\n  ,02", "N|3|0102"},
    {"\"N\"=hex(0):", "N|0|"},
    {"\"N\"=hex(3):01", "N|3|01"},
    {"\"N\"=hex(4):01,02,03", "N|4|010203"},
    {"\"N\"=hex(b):01,02,03,04,05,06,07,08", "N|11|0102030405060708"},
    {"\"N\"=hex(FFFFFFFF):01", "N|4294967295|01"},
    // Text data is UTF-16 in the file and the code page in the registry.
    {"\"N\"=hex(1):78,00", "N|1|78"},
    {"\"N\"=hex(1):", "N|1|"},
    {"\"N\"=hex(1):78,00,00,00,00,00", "N|1|780000"},
    {"\"N\"=hex(2):ac,20,00,00", "N|2|8000"},
    {"\"N\"=hex(7):61,00,00,00,62,00,00,00,00,00", "N|7|6100620000"},
    {"\"N\"=-", "N|removed"},
    {"@=-", "|removed"},
};

TEST(ReadRegFile, ValueLines_GiveTheBytesToStore) {
  for (const ValueCase& row : kValues) EXPECT_EQ(ReadValue(row.lines), row.value) << row.lines;
}

TEST(ReadRegFile, AnsiForm_HasTheBytesOfTextDataThemselves) {
  const auto sections = Read(
      "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\\xC8]\r\n\"perch\xE9\"=\"\x80\"\r\n\"N\"=hex(1):78\r\n\"M\"=hex(7):61,00,"
      "00\r\n");
  ASSERT_EQ(sections.size(), 1u);
  EXPECT_EQ(sections[0].key, (RegistryKey{platform::kHkeyLocalMachine, AnsiText("\xC8")}));
  ASSERT_EQ(sections[0].values.size(), 3u);
  EXPECT_EQ(sections[0].values[0].name, AnsiText("perch\xE9"));
  EXPECT_EQ(sections[0].values[0].data, std::string("\x80\0", 2));
  EXPECT_EQ(sections[0].values[1].data, "x");
  EXPECT_EQ(sections[0].values[2].data, std::string("a\0\0", 3));
}

TEST(ReadRegFile, EveryEncoding_ReadsTheSame) {
  const std::string utf8 = std::string(kHead) + "[HKEY_LOCAL_MACHINE\\\xC3\x88]\r\n\"\xE2\x82\xAC\"=\"\xC3\xA9\"\r\n";
  const std::string files[] = {
      utf8,
      "\xEF\xBB\xBF" + utf8,
      EncodeUtf16(FromUtf8(utf8)),
  };
  for (const std::string& file : files) {
    const auto sections = Read(file);
    ASSERT_EQ(sections.size(), 1u);
    EXPECT_EQ(sections[0].key.path, AnsiText("\xC8"));
    ASSERT_EQ(sections[0].values.size(), 1u);
    EXPECT_EQ(sections[0].values[0].name, AnsiText("\x80"));
    EXPECT_EQ(sections[0].values[0].data, std::string("\xE9\0", 2));
  }
}

TEST(ReadRegFile, Sections_KeepOrderDeletionsAndLines) {
  const auto sections = Read(
      "Windows Registry Editor Version 5.00\n"
      "; comment\n"
      "\n"
      "[-HKLM\\Old]\r"
      "  [HKCU\\a]b] ; comment\r\n"
      "\"N\"=\"x\"\n"
      "[\"HKEY_LOCAL_MACHINE\\\\a\\nb] ;\"]\n"
      "[HKEY_LOCAL_MACHINE]\n"
      "@=\"last line without an end\"");
  ASSERT_EQ(sections.size(), 4u);
  EXPECT_TRUE(sections[0].removed);
  EXPECT_EQ(sections[0].key, (RegistryKey{platform::kHkeyLocalMachine, "Old"_ansi}));
  EXPECT_EQ(sections[0].line, 4u);
  EXPECT_EQ(sections[1].key, (RegistryKey{platform::kHkeyCurrentUser, "a]b"_ansi}));
  EXPECT_EQ(sections[1].line, 5u);
  ASSERT_EQ(sections[1].values.size(), 1u);
  EXPECT_EQ(sections[1].values[0].line, 6u);
  EXPECT_EQ(sections[2].key, (RegistryKey{platform::kHkeyLocalMachine, "a\nb] ;"_ansi}));
  EXPECT_EQ(sections[3].key, (RegistryKey{platform::kHkeyLocalMachine, ""_ansi}));
  ASSERT_EQ(sections[3].values.size(), 1u);
}

// The ends of the lines belong to the text, as other programs write it.
TEST(ReadRegFile, TextOverLines_HoldsTheirEndsAsTheyAre) {
  const std::pair<const char*, const char*> rows[] = {
      {"\"N\"=\"a\r\nb\"", "a\r\nb"},     {"\"N\"=\"a\nb\" ; c", "a\nb"},
      {"\"N\"=\"\r\n\n\"", "\r\n\n"},     {"\"N\"=\"a\r\n  [b]\r\n;\"", "a\r\n  [b]\r\n;"},
      {"@=\"a\\\\\n\\\"b\"", "a\\\n\"b"},
  };
  for (const auto& [line, text] : rows) {
    const std::vector<RegSection> sections = Read(std::string(kHead) + kKey + line + "\r\n\"Z\"=dword:1\r\n");
    ASSERT_EQ(sections.size(), 1u);
    ASSERT_EQ(sections[0].values.size(), 2u) << line;
    EXPECT_EQ(sections[0].values[0].data, std::string(text) + '\0') << line;
    EXPECT_EQ(sections[0].values[0].line, 4u);
  }
}

struct BadCase {
  std::string bytes;
  std::size_t line;
  const char* part;  // of the reason
};

std::string BadValue(const std::string& line) { return kHead + (kKey + line) + "\r\n\"Next\"=\"x\"\r\n"; }

TEST(ReadRegFile, WhatDoesNotRead_IsRefusedWithLineAndReason) {
  const std::string head = kHead;
  const BadCase rows[] = {
      {"", 1, "empty"},
      {"\xEF\xBB\xBF", 1, "empty"},
      {"\xFF\xFE", 1, "empty"},
      {"\xFF\xFEW", 1, "middle of a UTF-16"},
      {std::string("\xFE\xFF\0W", 4), 1, "high byte first"},
      {std::string("W\0i\0", 4), 1, "UTF-16 without a byte-order mark; save it with the mark"},
      {std::string("\0W\0i", 4), 1, "UTF-16 without a byte-order mark; save it with the mark"},
      {"hello", 1, "first line"},
      {"\r\n" + head, 1, "first line"},
      {"REGEDIT5\r\n", 1, "first line"},
      {"regedit4\r\n", 1, "first line"},
      {head + "[HKLM\\a]\r\n\"\xE9\"=\"x\"\r\n", 4, "not UTF-8"},
      {head + std::string("[HKLM\\a\0b]", 10), 3, "NUL"},
      {head + "\"N\"=\"x\"\r\n", 3, "before the first key"},
      {head + "[-HKLM\\a]\r\n\"N\"=\"x\"\r\n", 4, "below a key that is deleted"},
      {head + "[HKLM\\a\r\n", 3, "closing ]"},
      {head + "[HKLM\\a] b\r\n", 3, "after the key"},
      {head + "[HKLM\\a] ; b]\r\n", 3, "in quotes"},
      {head + "[\"HKLM\\\\a\"\r\n", 3, "closing ]"},
      {head + "[\"HKLM\\\\a]\r\n", 3, "closing quote"},
      {head + "[]\r\n", 3, "not a root key"},
      {head + "[Software]\r\n", 3, "not a root key"},
      {head + "[-HKEY_LOCAL_MACHINE]\r\n", 3, "root key cannot be deleted"},
      {head + "[HKLM\\" + std::string(257, 'x') + "]\r\n", 3, "257 characters"},
      {head + "[HKLM\\\xD0\x96]\r\n", 3, "U+0416"},
      {head + "garbage\r\n", 3, "neither a key"},
      {BadValue("\"N\""), 4, "="},
      {BadValue("\"N"), 4, "closing quote"},
      {BadValue("\"N\\"), 4, "closing quote"},
      {BadValue("\"N\\t\"=\"x\""), 4, "\\t in quotes"},
      {BadValue("\"N\"="), 4, "no data"},
      {BadValue("\"N\"=x"), 4, "no data"},
      {BadValue("\"N\"=\"x"), 4, "closing quote"},
      {BadValue("\"N\"=\"x\r\ny\" z"), 4, "closing quote is missing, or a quote in the text"},
      {BadValue("\"N\"=\"x\\"), 4, "closing quote"},
      {BadValue("\"N\"=\"x\r\n\\y\""), 5, "\\y in quotes"},
      {head + kKey + "\"N\"=\"x\r\ny", 4, "closing quote is missing"},
      {BadValue("\"N\r\n\"=\"x\""), 4, "closing quote"},
      {BadValue("\"N\"=\"x\" y"), 4, "after the data"},
      {BadValue("\"N\"=\"\xD0\x96\""), 4, "U+0416"},
      {BadValue("\"\xD0\x96\"=\"x\""), 4, "U+0416"},
      {BadValue("\"" + std::string(16384, 'x') + "\"=\"x\""), 4, "16384 characters"},
      {BadValue("\"N\"=dword:"), 4, "hexadecimal number is missing"},
      {BadValue("\"N\"=dword:123456789"), 4, "more than 8"},
      {BadValue("\"N\"=dword:12x"), 4, "after the data"},
      {BadValue("\"N\"=hex:0g"), 4, "comma is missing"},
      {BadValue("\"N\"=hex:g"), 4, "hexadecimal digits is missing"},
      {BadValue("\"N\"=hex:01,"), 4, "missing after the comma"},
      {BadValue("\"N\"=hex:01,,02"), 4, "missing after the comma"},
      {BadValue("\"N\"=hex:012"), 4, "comma is missing"},
      {BadValue("\"N\"=hex:01,\\"), 5, "missing after the comma"},
      {BadValue("\"N\"=hex:01,\\ x"), 4, "after the backslash"},
      {head + kKey + "\"N\"=hex:01,\\", 4, "file ends"},
      {BadValue("\"N\"=hex(:01"), 4, "number is missing"},
      {BadValue("\"N\"=hex(1:01"), 4, "): is missing"},
      {BadValue("\"N\"=hex(123456789):01"), 4, "more than 8"},
      {BadValue("\"N\"=hex(1):41"), 4, "odd number"},
      {BadValue("\"N\"=hex(2):16,04"), 4, "U+0416"},
      {BadValue("\"N\"=- x"), 4, "after the data"},
  };
  for (const BadCase& row : rows) {
    try {
      Read(row.bytes);
      ADD_FAILURE() << "taken: " << row.bytes;
    } catch (const BadRegFile& bad) {
      EXPECT_EQ(bad.line(), row.line) << row.bytes;
      EXPECT_NE(std::string(bad.what()).find(row.part), std::string::npos) << bad.what() << "\nfor " << row.bytes;
    }
  }
}

RegSection Section(const AnsiText& path, std::vector<RegValue> values) {
  RegSection section;
  section.key = {platform::kHkeyLocalMachine, path};
  section.values = std::move(values);
  return section;
}

std::string Written(const std::vector<RegSection>& sections) {
  platform::CodePage1252 codePage;
  return ToUtf8(WriteRegText(sections, codePage));
}

TEST(WriteRegText, WritesTheFormOfVersion5) {
  std::string bytes;
  for (char i = 0; i < 30; ++i) bytes += i;
  RegValue removed;
  removed.name = "via"_ansi;
  removed.removed = true;
  RegSection gone;
  gone.key = {platform::kHkeyCurrentUser, "Software\\X"_ansi};
  gone.removed = true;
  EXPECT_EQ(Written({Section("Software\\Nerio\\App"_ansi,
                             {
                                 {""_ansi, false, 1, std::string("predefinito\0", 12), 0},
                                 {"Nome"_ansi, false, 1, "perch\xE9", 0},
                                 {"a\\b\"c\r\n"_ansi, false, 1, std::string("C:\\\"x\"\0", 7), 0},
                                 {"righe"_ansi, false, 1, std::string("a\nb\0", 4), 0},
                                 {"doppio"_ansi, false, 1, std::string("a\0\0", 3), 0},
                                 {"numero"_ansi, false, 4, std::string("*\0\0\0", 4), 0},
                                 {"corto"_ansi, false, 4, "*", 0},
                                 {"molti"_ansi, false, 7, std::string("a\0\0", 3), 0},
                                 {"byte"_ansi, false, 3, bytes, 0},
                                 {"vuoto"_ansi, false, 0, "", 0},
                                 removed,
                             }),
                     gone, Section("a\nb"_ansi, {})}),
            "Windows Registry Editor Version 5.00\r\n"
            "\r\n"
            "[HKEY_LOCAL_MACHINE\\Software\\Nerio\\App]\r\n"
            "@=\"predefinito\"\r\n"
            "; \"Nome\"=\"perch\xC3\xA9\", without a terminator\r\n"
            "\"Nome\"=hex(1):70,00,65,00,72,00,63,00,68,00,e9,00\r\n"
            "\"a\\\\b\\\"c\\r\\n\"=\"C:\\\\\\\"x\\\"\"\r\n"
            "\"righe\"=hex(1):61,00,0a,00,62,00,00,00\r\n"
            "\"doppio\"=hex(1):61,00,00,00,00,00\r\n"
            "\"numero\"=dword:0000002a\r\n"
            "\"corto\"=hex(4):2a\r\n"
            "\"molti\"=hex(7):61,00,00,00,00,00\r\n"
            "\"byte\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
            "  16,17,18,19,1a,1b,1c,1d\r\n"
            "\"vuoto\"=hex(0):\r\n"
            "\"via\"=-\r\n"
            "\r\n"
            "[-HKEY_CURRENT_USER\\Software\\X]\r\n"
            "\r\n"
            "[\"HKEY_LOCAL_MACHINE\\\\a\\nb\"]\r\n"
            "\r\n");
}

TEST(EncodeUtf16, WritesTheMarkAndTheLowByteFirst) { EXPECT_EQ(ToHex(EncodeUtf16(u"a€")), "FFFE6100AC20"); }

// Any bytes but NUL in names, any bytes in data, any type: what is read back is what was written.
TEST(WriteRegText, RandomContent_ReadsBackByteForByte) {
  std::mt19937 random(20240501);
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  const auto name = [&](const char* without) {
    std::string bytes;
    for (std::size_t length = below(12); bytes.size() < length;) {
      const char byte = static_cast<char>(below(3) == 0 ? "\r\n];\" \t"[below(7)] : static_cast<char>(below(256)));
      if (byte != '\0' && std::string(without).find(byte) == std::string::npos) bytes += byte;
    }
    return bytes;
  };
  platform::CodePage1252 codePage;
  for (int round = 0; round < 2000; ++round) {
    std::vector<RegSection> sections;
    for (std::size_t count = 1 + below(3); sections.size() < count;) {
      std::string path = name("\\");
      if (!path.empty() && below(2) == 0) path += "\\x" + name("\\");
      RegSection section = Section(AnsiText(path), {});
      for (std::size_t values = below(5); section.values.size() < values;) {
        const std::uint32_t types[] = {0, 1, 1, 1, 2, 3, 4, 5, 7, 11, 99, 0xFFFFFFFF};
        std::string data;
        for (std::size_t length = below(60); data.size() < length;) {
          data += below(4) == 0 ? '\0' : static_cast<char>(below(256));
        }
        section.values.push_back({AnsiText(name("")), false, types[below(std::size(types))], data, 0});
      }
      sections.push_back(section);
    }
    const Text text = WriteRegText(sections, codePage);
    const auto read = ReadRegFile(EncodeUtf16(text), codePage);
    ASSERT_EQ(read.size(), sections.size()) << ToUtf8(text);
    for (std::size_t s = 0; s < read.size(); ++s) {
      ASSERT_EQ(read[s].key, sections[s].key) << ToUtf8(text);
      ASSERT_EQ(read[s].values.size(), sections[s].values.size()) << ToUtf8(text);
      for (std::size_t v = 0; v < read[s].values.size(); ++v) {
        ASSERT_EQ(read[s].values[v].name, sections[s].values[v].name) << ToUtf8(text);
        ASSERT_EQ(read[s].values[v].type, sections[s].values[v].type) << ToUtf8(text);
        ASSERT_EQ(read[s].values[v].data, sections[s].values[v].data) << ToUtf8(text);
      }
    }
    // The file is UTF-8 as well, but for the mark.
    ASSERT_EQ(ReadRegFile(ToUtf8(text), codePage).size(), sections.size());
  }
}

// Every cut of a file reads as what stands before the cut or is refused; nothing in between is made up.
TEST(ReadRegFile, CutFile_IsRefusedOrAPrefix) {
  const std::string whole =
      Written({Section("Software\\Nerio"_ansi, {{"Nome"_ansi, false, 3, "abcdefghijklmnopqrstuvwxyz0123456789", 0},
                                                {"Altro"_ansi, false, 1, std::string("x\0", 2), 0}})});
  const auto all = Read(whole);
  std::size_t refused = 0;
  for (std::size_t length = 0; length < whole.size(); ++length) {
    try {
      const auto read = Read(whole.substr(0, length));
      ASSERT_LE(read.size(), all.size());
      for (std::size_t v = 0; !read.empty() && v < read[0].values.size(); ++v) {
        EXPECT_EQ(read[0].values[v].name, all[0].values[v].name);
        // Bytes end at any comma, so a cut list is told from a whole one only where the cut is in or after a comma.
        EXPECT_TRUE(
            all[0].values[v].data.starts_with(read[0].values[v].data.substr(0, read[0].values[v].data.size() - 1)));
      }
    } catch (const BadRegFile&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 50u);
}

}  // namespace
}  // namespace nerio::tool
