#include "nerio/hosts/portable/text/fold_case.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/types/text.h"
#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

TEST(FoldCase, CapitalLetters_BecomeTheirSmallOnes) {
  const struct {
    TextView capitals;
    TextView small;
  } cases[] = {
      {u"ABCXYZ", u"abcxyz"},
      {u"ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖØÙÚÛÜÝÞ", u"àáâãäåæçèéêëìíîïðñòóôõöøùúûüýþ"},
      {u"ĀĂĄĆČĎĐĒĘĚĞĢĪĮĶĹĻŁŃŇŌŐŒŔŘŚŞŠŢŤŪŮŰŲŴŶŸŹŻŽȘȚ", u"āăąćčďđēęěğģīįķĺļłńňōőœŕřśşšţťūůűųŵŷÿźżžșț"},
      {u"ΑΒΓΔΕΖΗΘΙΚΛΜΝΞΟΠΡΣΤΥΦΧΨΩΪΫΆΈΉΊΌΎΏ", u"αβγδεζηθικλμνξοπρστυφχψωϊϋάέήίόύώ"},
      {u"АБВГДЕЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯЁЂЃЄЅІЇЈЉЊЋЌЎЏҐҚҢҰҺӘӨ",
       u"абвгдежзийклмнопрстуфхцчшщъыьэюяёђѓєѕіїјљњћќўџґқңұһәө"},
      {u"ԱԲԳՖ", u"աբգֆ"},
      {u"ẠẢẤẾỘỪỸ", u"ạảấếộừỹ"},
  };
  for (const auto& c : cases) {
    Text folded(c.capitals);
    std::transform(folded.begin(), folded.end(), folded.begin(), FoldCase);
    EXPECT_EQ(ToUtf8(folded), ToUtf8(c.small));
  }
}

TEST(FoldCase, AnyUnit_FoldedTwice_IsThatFoldedOnce) {
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t folded = FoldCase(static_cast<char16_t>(unit));
    EXPECT_EQ(FoldCase(folded), folded) << std::hex << unit;
  }
}

TEST(FoldCase, WhatHasNoCase_StaysAsItIs) {
  for (const char16_t unit : u"0@[`{×÷ßıİ月\xD800\xDFFF\xFEFF") EXPECT_EQ(FoldCase(unit), unit);
}

// Every pair of letters of the code page that differ in case only, capital first.
constexpr char16_t kPairs[] =
    u"AaBbCcDdEeFfGgHhIiJjKkLlMmNnOoPpQqRrSsTtUuVvWwXxYyZz"
    u"ÀàÁáÂâÃãÄäÅåÆæÇçÈèÉéÊêËëÌìÍíÎîÏïÐðÑñÒòÓóÔôÕõÖöØøÙùÚúÛûÜüÝýÞþŠšŒœŽžŸÿ";

TEST(FoldAnsi, JoinsTheCaseOfEveryLetterAndNothingElse) {
  CodePage1252 codePage;
  std::set<std::pair<char, char>> same;
  for (std::size_t i = 0; kPairs[i] != u'\0'; i += 2) {
    const std::string pair = codePage.ToAnsi(TextView(kPairs + i, 2)).bytes();
    same.insert({pair[0], pair[1]});
    same.insert({pair[1], pair[0]});
  }
  ASSERT_EQ(same.size(), 2u * 60u);
  for (int left = 0; left < 256; ++left) {
    for (int right = 0; right < 256; ++right) {
      const char a = static_cast<char>(left);
      const char b = static_cast<char>(right);
      EXPECT_EQ(FoldAnsi(a) == FoldAnsi(b), left == right || same.contains({a, b})) << left << " and " << right;
    }
  }
}

TEST(FoldAnsi, WholeName_IsFoldedByteByByte) {
  EXPECT_EQ(FoldAnsi("Citt\xC0 \xC8\\\x8A_\x9F"), "citt\xE0 \xE8\\\x9A_\xFF");
  EXPECT_EQ(FoldAnsi("STRA\xDF"
                     "E"),
            "stra\xDF"
            "e");
  EXPECT_EQ(FoldAnsi(""), "");
}

TEST(AnsiNameOrder, OrdersByTheFoldedCharacters) {
  // "\" before "a", although "A" comes before "\"; "y" with diaeresis (FF) before "s" with caron (9A), as the
  // characters do.
  const std::vector<std::string> ordered = {"",  " a ", "?", "@",    "\\",   "a\tb", "A\\b", "ab",
                                            "B", "i",   "z", "\xE8", "\xFF", "\x8A", "\x83", "\x80"};
  for (std::size_t left = 0; left < ordered.size(); ++left) {
    for (std::size_t right = 0; right < ordered.size(); ++right) {
      EXPECT_EQ(AnsiNameOrder()(ordered[left], ordered[right]), left < right)
          << '"' << ordered[left] << "\" and \"" << ordered[right] << '"';
    }
  }
}

TEST(AnsiNameOrder, NamesThatDifferInCaseOnly_AreEquivalent) {
  EXPECT_FALSE(AnsiNameOrder()("CITT\xC0", "citt\xE0"));
  EXPECT_FALSE(AnsiNameOrder()("citt\xE0", "CITT\xC0"));
}

}  // namespace
}  // namespace nerio::platform
