#include "nerio/hosts/linux/native_path.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>

namespace nerio::platform {
namespace {

struct Path {
  std::string native;
  Text text;
};

const Path kPaths[] = {
    {"", u""},
    {"/", u"\\"},
    {"/usr/lib", u"\\usr\\lib"},
    {"//usr//lib/", u"\\\\usr\\\\lib\\"},
    {"/citt\xC3\xA0/\xE6\x97\xA5/\xF0\x9F\x98\x80", u"\\città\\日\\\U0001F600"},
    {"/a\\b", {u'\\', u'a', 0xDC5C, u'b'}},                  // a backslash inside a name
    {"\xFF", {0xDCFF}},                                      // no byte of UTF-8 at all
    {"a\x80z", {u'a', 0xDC80, u'z'}},                        // a byte that continues nothing
    {"\xC3", {0xDCC3}},                                      // a sequence cut short at the end
    {"\xE6\x97/", {0xDCE6, 0xDC97, u'\\'}},                  // ... and by a separator
    {"\xC0\xAF", {0xDCC0, 0xDCAF}},                          // a separator in a form that is too long
    {"\xED\xB2\x80", {0xDCED, 0xDCB2, 0xDC80}},              // a surrogate in UTF-8's clothes
    {"\xF0\x9F\x98\x80\x80", {0xD83D, 0xDE00, 0xDC80}},      // a pair, then a stray byte
    {"\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},  // beyond Unicode
    {"\xC3\xA8\xE8", {0xE8, 0xDCE8}},                        // UTF-8 and Latin-1 in one name
};

TEST(NativePath, EveryNameOfTheSystemHasATextThatGivesItBack) {
  for (const Path& row : kPaths) {
    EXPECT_EQ(TextFromNativePath(row.native), row.text) << row.native;
    EXPECT_EQ(NativePath(row.text), row.native) << row.native;
  }
}

TEST(NativePath, RandomBytes_ComeBackUnchanged) {
  std::mt19937 random(20240229);
  // Bytes that begin, continue and break sequences come up often.
  const std::string pool = "/\\a\x7F\x80\x9F\xA0\xBF\xC0\xC3\xE0\xE6\xED\xEF\xF0\xF4\xF5\xFF";
  for (int i = 0; i < 20000; ++i) {
    std::string bytes(random() % 12, '\0');
    for (char& byte : bytes) byte = random() % 3 == 0 ? static_cast<char>(random()) : pool[random() % pool.size()];
    EXPECT_EQ(NativePath(TextFromNativePath(bytes)), bytes);
  }
}

TEST(NativePath, OtherLoneSurrogates_BecomeTheReplacementCharacter) {
  EXPECT_EQ(NativePath(Text{u'a', 0xD800}), "a\xEF\xBF\xBD");
  EXPECT_EQ(NativePath(Text{0xDC00, u'a'}),
            "\xEF\xBF\xBD"
            "a");
  EXPECT_EQ(NativePath(Text{0xDC7F}), "\xEF\xBF\xBD");
  EXPECT_EQ(NativePath(Text{0xDD00}), "\xEF\xBF\xBD");
}

TEST(NativePath, EscapedUnitBehindAHighSurrogate_IsAPair) {
  EXPECT_EQ(NativePath(Text{0xD83D, 0xDC80}), "\xF0\x9F\x92\x80");
}

}  // namespace
}  // namespace nerio::platform
