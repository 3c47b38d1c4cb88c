#include "tools/nerio/registry/value_input.h"

#include <gtest/gtest.h>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/output.h"
#include "tools/nerio/registry/value_text.h"

namespace nerio::tool {
namespace {

using namespace std::string_literals;

TEST(ValueInput, Words_NameTheTypes) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"dword", 4}, {"qword", 11}, {"binary", 3}, {"expand", 2}, {"multi", 7}, {"string", 1},
  };
  for (const auto& [word, type] : rows) EXPECT_EQ(TypeOfWord(word), type) << word;
  for (const std::string word : {"", "DWORD", "REG_DWORD", "dwords", "4"}) {
    try {
      TypeOfWord(word);
      ADD_FAILURE() << word;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit(), Exit::kRefused);
      EXPECT_EQ(failure.what(), '"' + word + "\" is not a type");
      EXPECT_EQ(failure.advice(), "the type is one of dword, qword, binary, expand, multi or string");
    }
  }
}

TEST(ValueInput, WhatIsWritten_BecomesTheBytes) {
  platform::CodePage1252 codePage;
  const struct {
    const char* word;
    Text written;
    std::string bytes;
  } rows[] = {
      {"string", u"perch\u00E9", "perch\xE9"},
      {"string", u"", ""},
      {"expand", u"%TEMP%\\x", "%TEMP%\\x\0"s},
      {"expand", u"", "\0"s},
      {"multi", u"", "\0"s},
      {"multi", u"a", "a\0\0"s},
      {"multi", u"a\nb c", "a\0b c\0\0"s},
      {"multi", u"a\r\nb\r\n", "a\0b\0\0"s},
      {"dword", u"0", "\0\0\0\0"s},
      {"dword", u"10", "\n\0\0\0"s},
      {"dword", u"4294967295", "\xFF\xFF\xFF\xFF"},
      {"dword", u"0x12aBcdEF", "\xEF\xCD\xAB\x12"},
      {"dword", u"0X1", "\1\0\0\0"s},
      {"dword", u"0010", "\n\0\0\0"s},
      {"qword", u"4294967296", "\0\0\0\0\1\0\0\0"s},
      {"qword", u"18446744073709551615", "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},
      {"binary", u"", ""},
      {"binary", u"00fFa0", "\0\xFF\xA0"s},
      {"binary", u" de,ad, be\r\nef,", "\xDE\xAD\xBE\xEF"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DataOf(TypeOfWord(row.word), row.written, codePage), row.bytes) << row.word << " " << row.bytes;
  }
}

TEST(ValueInput, WhatATypeCannotHold_IsBadInputWithARemedy) {
  platform::CodePage1252 codePage;
  const struct {
    const char* word;
    Text written;
    const char* what;
  } rows[] = {
      {"dword", u"", "\"\" is not a whole number from 0 to 4294967295"},
      {"dword", u"4294967296", "\"4294967296\" is not a whole number from 0 to 4294967295"},
      {"dword", u"-1", "\"-1\" is not a whole number from 0 to 4294967295"},
      {"dword", u"+1", "\"+1\" is not a whole number from 0 to 4294967295"},
      {"dword", u"1 ", "\"1 \" is not a whole number from 0 to 4294967295"},
      {"dword", u"ff", "\"ff\" is not a whole number from 0 to 4294967295"},
      {"dword", u"0x", "\"0x\" is not a whole number from 0 to 4294967295"},
      {"dword", u"0x-1", "\"0x-1\" is not a whole number from 0 to 4294967295"},
      {"dword", u"1.5", "\"1.5\" is not a whole number from 0 to 4294967295"},
      {"qword", u"18446744073709551616",
       "\"18446744073709551616\" is not a whole number from 0 to 18446744073709551615"},
      {"binary", u"abc", "\"c\" does not begin with two hexadecimal digits"},
      {"binary", u"zz", "\"zz\" does not begin with two hexadecimal digits"},
      {"binary", u"0x12", "\"0x12\" does not begin with two hexadecimal digits"},
      {"binary", u"1 2", "\"1 2\" does not begin with two hexadecimal digits"},
      {"multi", u"a\n\nb", "a line is empty, and a list of texts cannot hold an empty one"},
      {"multi", u"\n", "a line is empty, and a list of texts cannot hold an empty one"},
      {"expand", u"\u65E5",
       "the character \"\u65E5\" (U+65E5) is not in code page 1252, in which the registry stores its texts"},
      {"multi", u"a\n\u65E5",
       "the character \"\u65E5\" (U+65E5) is not in code page 1252, in which the registry stores its texts"},
  };
  for (const auto& row : rows) {
    try {
      DataOf(TypeOfWord(row.word), row.written, codePage);
      ADD_FAILURE() << row.what;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit(), Exit::kBadInput);
      EXPECT_STREQ(failure.what(), row.what);
      EXPECT_TRUE(failure.advice().starts_with("nothing was stored; write ")) << failure.advice();
    }
  }
  EXPECT_THROW(DataOf(platform::kRegSz, u"a\0b"s, codePage), Failure);
}

// What `reg get` prints can be given to `reg set`.
TEST(ValueInput, ShownData_ReadsBack) {
  platform::CodePage1252 codePage;
  const std::pair<const char*, std::string> rows[] = {
      {"string", "a b"},
      {"expand", "%A%\0"s},
      {"multi", "a\0b\0\0"s},
      {"dword", "\1\2\3\xFF"},
      {"qword", "\1\2\3\4\5\6\7\xFF"},
      {"binary", "\0\xDE\xAD"s},
  };
  for (const auto& [word, data] : rows) {
    const std::uint32_t type = TypeOfWord(word);
    EXPECT_EQ(DataOf(type, FromUtf8(DataText(type, data, codePage)), codePage), data) << word;
  }
}

}  // namespace
}  // namespace nerio::tool
