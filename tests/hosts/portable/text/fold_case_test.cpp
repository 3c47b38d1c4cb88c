#include "nerio/hosts/portable/text/fold_case.h"

#include <gtest/gtest.h>

#include <algorithm>

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

}  // namespace
}  // namespace nerio::platform
