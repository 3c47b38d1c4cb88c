#include "tools/nerio/registry/registry_key.h"

#include <gtest/gtest.h>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/types/utf8.h"
#include "tests/testing/ansi_literal.h"

namespace nerio::tool {
namespace {

struct Read {
  const char16_t* text;
  platform::KeyHandle root;
  const char* path;
};

const Read kRead[] = {
    {u"HKLM\\Software\\Nerio", platform::kHkeyLocalMachine, "Software\\Nerio"},
    {u"HKEY_LOCAL_MACHINE\\Software\\Nerio", platform::kHkeyLocalMachine, "Software\\Nerio"},
    {u"hklm\\Software", platform::kHkeyLocalMachine, "Software"},
    {u"hkey_current_user\\Software", platform::kHkeyCurrentUser, "Software"},
    {u"HKCU\\a", platform::kHkeyCurrentUser, "a"},
    {u"HKCR\\a", platform::kHkeyClassesRoot, "a"},
    {u"HKU\\a", platform::kHkeyUsers, "a"},
    {u"HKCC\\a", platform::kHkeyCurrentConfig, "a"},
    {u"HKLM", platform::kHkeyLocalMachine, ""},
    {u"HKLM\\", platform::kHkeyLocalMachine, ""},
    {u"HKLM\\\\a\\\\b\\\\", platform::kHkeyLocalMachine, "a\\b"},
    {u"HKLM\\a/b\\ c \\..", platform::kHkeyLocalMachine, "a/b\\ c \\.."},
    {u"HKLM\\È\\€", platform::kHkeyLocalMachine, "\xC8\\\x80"},
};

TEST(ParseKey, ReadsShortAndLongRootsAndFoldsSeparators) {
  platform::CodePage1252 codePage;
  for (const Read& row : kRead) {
    EXPECT_EQ(ParseKey(row.text, codePage), (RegistryKey{row.root, AnsiText(row.path)})) << ToUtf8(row.text);
  }
}

TEST(ParseKey, LongestLevel_IsTakenAndOneMoreIsNot) {
  platform::CodePage1252 codePage;
  EXPECT_EQ(ParseKey(u"HKLM\\" + Text(256, u'x'), codePage).path, AnsiText(std::string(256, 'x')));
  EXPECT_THROW(ParseKey(u"HKLM\\a\\" + Text(257, u'x'), codePage), BadText);
}

struct Refused {
  Text text;
  const char* part;  // of the reason
};

TEST(ParseKey, WhatIsNotAKey_IsRefusedWithTheReason) {
  const Refused rows[] = {
      {u"", "not a root key"},
      {u"Software\\Nerio", "\"Software\" is not a root key"},
      {u"HKLMX\\a", "\"HKLMX\" is not a root key"},
      {u"\\HKLM\\a", "not a root key"},
      {Text(u"HKLM\\a\0b", 8), "NUL"},
      {u"HKLM\\Ж", "\"Ж\" (U+0416) is not in code page 1252"},
      // The conversion would make these a separator and a letter.
      {u"HKLM\\a\xFF3C"
       u"b",
       "(U+FF3C)"},
      {u"HKLM\\Ā", "(U+0100)"},
      {u"HKLM\\\xD83D\xDE00", "(U+1F600)"},
      {u"HKLM\\\xD83D", "(U+D83D)"},
  };
  platform::CodePage1252 codePage;
  for (const Refused& row : rows) {
    try {
      ParseKey(row.text, codePage);
      ADD_FAILURE() << "taken: " << ToUtf8(row.text);
    } catch (const BadText& bad) {
      EXPECT_NE(std::string(bad.what()).find(row.part), std::string::npos) << bad.what();
    }
  }
}

TEST(KeyText, WritesTheLongRoot) {
  platform::CodePage1252 codePage;
  EXPECT_EQ(KeyText({platform::kHkeyLocalMachine, AnsiText("Software\\\xC8")}, codePage),
            u"HKEY_LOCAL_MACHINE\\Software\\È");
  EXPECT_EQ(KeyText({platform::kHkeyCurrentConfig, ""_ansi}, codePage), u"HKEY_CURRENT_CONFIG");
}

TEST(ParseValueName, TakesUpTo16383Characters) {
  platform::CodePage1252 codePage;
  EXPECT_EQ(ParseValueName(u"", codePage), AnsiText());
  EXPECT_EQ(ParseValueName(u"a\\b\r\n", codePage), "a\\b\r\n"_ansi);
  EXPECT_EQ(ParseValueName(Text(16383, u'x'), codePage).size(), 16383u);
  EXPECT_THROW(ParseValueName(Text(16384, u'x'), codePage), BadText);
  EXPECT_THROW(ParseValueName(Text(1, u'\0'), codePage), BadText);
  EXPECT_THROW(ParseValueName(u"Ж", codePage), BadText);
}

}  // namespace
}  // namespace nerio::tool
