#include "nerio/hosts/portable/xml/xml_names.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "nerio/types/utf8.h"

namespace nerio::platform::xml {
namespace {

TEST(XmlNames, IsName_NamesOfTheFourthEdition_AreTrue) {
  for (const TextView name :
       {u"a",       u"A",      u"z9", u"_",  u":",  u"::",     u"a:",     u":a",     u"a:b:c",        u"a-.b",
        u"xml",     u"XMLfoo", u"è",  u"È",  u"ß",  u"Ω",      u"Ж",      u"日本",   u"中",           u"é",
        u"e\u0301", u"a·",     u"a٣", u"〇", u"〡", u"℮",      u"ı",      u"K",      u"ำ\u0E33",      u"ۥ",
        u"ՙ",       u"aー",    u"가", u"ɐ",  u"ʨ",  u"\u1E9B", u"\u2182", u"\uD7A3", u"\u4E00\u9FA5", u"\u3094",
        u"a\u20E1"}) {
    EXPECT_TRUE(IsName(name)) << ToUtf8(name);
  }
}

TEST(XmlNames, IsName_EverythingElse_IsFalse) {
  for (const TextView name :
       {u"",       u"1",      u"-",      u".",      u" ",       u"a ",      u" a",     u"a b",     u"a\t",
        u"<",      u"a/",     u"a\\",    u"@a",     u"#a",      u"a(",      u"÷",      u"×",       u"ª",
        u"º",      u"µ",      u"€",      u"\u0301", u"·",       u"٣",       u"²",      u"Ⅰ\u2160", u"ー",
        u"・",     u"a・",    u"ﬁ",      u"ｱ",      u"Ａ",      u"ſ\u0132", u"ȴ",      u"ʩ",       u"ʪ",
        u"ℵ",      u"༾",      u"۝",     u"\u00A0", u"a\u2003", u"a\u200B", u"\uFEFF", u"😀",       u"a𐀀",
        u"\uFFFD", u"\u9FA6", u"\uD7A4", u"\u01CC", u"\u3095",  u"a\u007F", u"a\u0080"}) {
    EXPECT_FALSE(IsName(name)) << ToUtf8(name);
  }
  EXPECT_FALSE(IsName(TextView(u"a\0", 2)));
  for (std::uint32_t unit = 0xD800; unit <= 0xDFFF; ++unit) {
    EXPECT_FALSE(IsNameUnit(static_cast<char16_t>(unit)));
  }
}

// How many characters appendix B counts, with the signs that the production adds.
TEST(XmlNames, Classes_HaveTheRightSize) {
  int starts = 0;
  int units = 0;
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    starts += IsNameStart(static_cast<char16_t>(unit)) ? 1 : 0;
    units += IsNameUnit(static_cast<char16_t>(unit)) ? 1 : 0;
    EXPECT_TRUE(IsNameUnit(static_cast<char16_t>(unit)) || !IsNameStart(static_cast<char16_t>(unit))) << unit;
  }
  EXPECT_EQ(starts, 34516);
  EXPECT_EQ(units, 35122);
}

TEST(XmlNames, IsNameWithoutColon_ColonAnywhere_IsFalse) {
  EXPECT_TRUE(IsNameWithoutColon(u"nome"));
  for (const TextView name : {u"", u":", u"a:b", u"a:", u":a"}) EXPECT_FALSE(IsNameWithoutColon(name));
}

TEST(XmlNames, IsCharacterUnit_EveryUnit_FollowsTheProductionForCharacters) {
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const bool expected = unit == 0x9 || unit == 0xA || unit == 0xD || (unit >= 0x20 && unit <= 0xD7FF) ||
                          (unit >= 0xE000 && unit <= 0xFFFD);
    ASSERT_EQ(IsCharacterUnit(static_cast<char16_t>(unit)), expected) << unit;
  }
}

TEST(XmlNames, EqualInAnyCase_OnlyAsciiLetters_AreFolded) {
  EXPECT_TRUE(EqualInAnyCase(u"Utf-8", u"uTF-8"));
  EXPECT_TRUE(EqualInAnyCase(u"", u""));
  EXPECT_FALSE(EqualInAnyCase(u"è", u"È"));
  EXPECT_FALSE(EqualInAnyCase(u"a", u"ab"));
  EXPECT_FALSE(EqualInAnyCase(u"@", u"`"));
}

}  // namespace
}  // namespace nerio::platform::xml
