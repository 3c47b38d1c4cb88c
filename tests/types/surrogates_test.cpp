#include "nerio/types/surrogates.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace nerio {
namespace {

TEST(Surrogates, EveryUnit_IsOfOneHalfOrNone) {
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    EXPECT_EQ(IsHighSurrogate(static_cast<char16_t>(unit)), unit >= 0xD800 && unit <= 0xDBFF) << unit;
    EXPECT_EQ(IsLowSurrogate(static_cast<char16_t>(unit)), unit >= 0xDC00 && unit <= 0xDFFF) << unit;
  }
}

TEST(Surrogates, EveryCodePoint_AppendedComesBackFromItsPair) {
  for (char32_t point = 0x10000; point <= 0x10FFFF; ++point) {
    Text text = u"a";
    AppendPoint(text, point);
    ASSERT_EQ(text.size(), 3u);
    ASSERT_TRUE(IsPairAt(text, 1));
    ASSERT_EQ(PointOfPair(text[1], text[2]), point);
  }
  Text text;
  AppendPoint(text, U'\u20AC');
  EXPECT_EQ(text, u"\u20AC");
}

TEST(Surrogates, IsPairAt_HalvesAloneOrTurnedRound_AreNoPair) {
  for (const TextView text : {TextView(u"\xD83D"), TextView(u"\xDE00"), TextView(u"\xDE00\xD83D"),
                              TextView(u"\xD83D"
                                       u"a"),
                              TextView(u"\xD83D\xD83D")}) {
    EXPECT_FALSE(IsPairAt(text, 0));
  }
}

}  // namespace
}  // namespace nerio
