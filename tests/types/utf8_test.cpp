#include "nerio/types/utf8.h"

#include <gtest/gtest.h>

namespace nerio {
namespace {

struct RoundTrip {
  const char* name;
  Text text;
  std::string utf8;
};

const RoundTrip kRoundTrips[] = {
    {"empty", u"", ""},
    {"NUL", Text(1, u'\0'), std::string(1, '\0')},
    {"last of one byte", u"\u007F", "\x7F"},
    {"first of two bytes", u"\u0080", "\xC2\x80"},
    {"last of two bytes", u"\u07FF", "\xDF\xBF"},
    {"first of three bytes", u"\u0800", "\xE0\xA0\x80"},
    {"last before the surrogates", u"\uD7FF", "\xED\x9F\xBF"},
    {"last of three bytes", u"\uFFFF", "\xEF\xBF\xBF"},
    {"first of four bytes", u"\U00010000", "\xF0\x90\x80\x80"},
    {"last of all", u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
    {"accents", u"non può", "non pu\xC3\xB2"},
};

TEST(Utf8, ConvertsBothWays) {
  for (const RoundTrip& row : kRoundTrips) {
    EXPECT_EQ(ToUtf8(row.text), row.utf8) << row.name;
    EXPECT_EQ(FromUtf8(row.utf8), row.text) << row.name;
    EXPECT_TRUE(IsUtf8(row.utf8)) << row.name;
  }
}

TEST(Utf8, ToUtf8_LoneSurrogates_BecomeReplacements) {
  EXPECT_EQ(ToUtf8(Text{u'a', 0xD800, u'b'}),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(ToUtf8(Text{0xDC00, 0xD800}), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(ToUtf8(Text{0xD800, 0xD83D, 0xDE00}), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
}

struct IllFormed {
  const char* name;
  std::string bytes;
  Text text;
};

const IllFormed kIllFormed[] = {
    {"lone continuation", "\x80", u"\uFFFD"},
    {"overlong two bytes", "\xC0\xAF", u"\uFFFD\uFFFD"},
    {"overlong three bytes", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},
    {"surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
    {"above the last", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"cut short at the end", "a\xE2\x82", u"a\uFFFD"},
    {"cut short by a letter", "\xF0\x9F\x98z", u"\uFFFDz"},
    {"never a byte of UTF-8", "\xFF\xFE", u"\uFFFD\uFFFD"},
};

TEST(Utf8, FromUtf8_IllFormed_BecomesOneReplacementPerMaximalPart) {
  for (const IllFormed& row : kIllFormed) {
    EXPECT_EQ(FromUtf8(row.bytes), row.text) << row.name;
    EXPECT_FALSE(IsUtf8(row.bytes)) << row.name;
  }
}

}  // namespace
}  // namespace nerio
