#include "nerio/types/ansi_text.h"

#include <gtest/gtest.h>

#include <string_view>
#include <type_traits>

#include "nerio/types/text.h"
#include "tests/testing/ansi_literal.h"

namespace nerio {
namespace {

// Neither bytes of another encoding nor a text become ANSI text unseen, and none of them is made of it.
template <typename Other>
constexpr bool kMixes = std::is_convertible_v<Other, AnsiText> || std::is_convertible_v<AnsiText, Other> ||
                        std::is_assignable_v<AnsiText&, Other> || std::is_assignable_v<Other&, AnsiText>;

static_assert(!kMixes<std::string> && !kMixes<std::string_view> && !kMixes<const char*>);
static_assert(!kMixes<Text> && !kMixes<TextView>);
static_assert(std::is_constructible_v<AnsiText, std::string> && !std::is_constructible_v<AnsiText, Text>);
static_assert(!std::is_constructible_v<std::string, AnsiText> && !std::is_constructible_v<std::string_view, AnsiText>);

TEST(AnsiText, KeepsItsBytesAsTheyAre) {
  const std::string bytes("Citt\xE0\0x", 7);
  const AnsiText text(bytes);
  EXPECT_EQ(text.bytes(), bytes);
  EXPECT_EQ(text.size(), 7u);
  EXPECT_EQ(std::string(text.c_str()), "Citt\xE0");
  EXPECT_EQ(text.c_str()[7], '\0');
  EXPECT_TRUE(AnsiText().empty());
  EXPECT_FALSE(text.empty());
}

TEST(AnsiText, TextThatNobodyNeedsAnyMore_GivesItsBytesUp) {
  AnsiText text("Un ramo che non sta nel testo breve");
  const char* const place = text.c_str();
  const std::string bytes = std::move(text).bytes();
  EXPECT_EQ(static_cast<const void*>(bytes.data()), place);
}

TEST(AnsiText, ComparesByteByByte) {
  EXPECT_EQ("a\0b"_ansi, AnsiText(std::string("a\0b", 3)));
  EXPECT_NE("a"_ansi, "A"_ansi);
  EXPECT_NE("a"_ansi, "a\0"_ansi);
  EXPECT_LT("a"_ansi, "b"_ansi);
}

TEST(AnsiText, JoinsInOrder) {
  AnsiText path = "Software"_ansi + "\\"_ansi + "App"_ansi;
  path += "\0!"_ansi;
  EXPECT_EQ(path, "Software\\App\0!"_ansi);
}

}  // namespace
}  // namespace nerio
