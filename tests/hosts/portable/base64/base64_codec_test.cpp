#include "nerio/hosts/portable/base64/base64_codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <optional>
#include <random>
#include <string>

#include "nerio/types/utf8.h"
#include "tests/hosts/portable/base64/random_bytes.h"

namespace nerio::platform {
namespace {

using testing::RandomBytes;

Text Encoded(const Bytes& bytes) {
  Text text(Base64Length(bytes.size()) + 1, u'#');
  WriteBase64(bytes, text.data());
  EXPECT_EQ(text.back(), u'#') << "written past the end";
  text.pop_back();
  return text;
}

std::optional<Bytes> Decoded(TextView text) {
  Bytes bytes(5, 0xA5);
  if (ReadBase64(text, bytes)) return bytes;
  EXPECT_TRUE(bytes.empty());
  return std::nullopt;
}

TEST(Base64Codec, RandomBytesOfEveryLength_ComeBackAlsoThroughLineBreaks) {
  std::mt19937 random(20240229);
  for (std::size_t length = 0; length <= 1000; ++length) {
    Bytes bytes(length);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const Text text = Encoded(bytes);
    ASSERT_EQ(text.find_first_not_of(u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="), Text::npos);
    ASSERT_EQ(Decoded(text), bytes) << length;
    Text broken;
    for (std::size_t i = 0; i < text.size(); i += 1 + random() % 9) {
      broken.assign(text).insert(i, random() % 2 == 0 ? u"\r\n" : u"\t ");
      ASSERT_EQ(Decoded(broken), bytes) << ToUtf8(broken);
    }
  }
}

// Each method that this processor knows, the quickest first, and the portable one alone at the end.
std::vector<Base64Method> Methods() {
  std::vector<Base64Method> methods;
  for (Base64Method method = ThisProcessorsBase64(); !method.empty(); method = method.subspan(1)) {
    methods.push_back(method);
  }
  return methods;
}

std::string NameOf(Base64Method method) {
  std::string name;
  for (const Base64Blocks& blocks : method) name.append(" ").append(blocks.name);
  return name;
}

TEST(Base64Codec, Methods_EndWithThePortableOne) {
  ASSERT_FALSE(Methods().empty());
  EXPECT_EQ(NameOf(Methods().back()), " portable");
}

// The places differ in their distance from a multiple of 64, and all around them is looked after.
TEST(Base64Codec, EveryMethod_OfEveryLengthAtEveryPlace_WritesAndReadsAsThePortableOne) {
  constexpr std::size_t kMost = 1000;
  constexpr std::size_t kPlaces = 64;
  const Base64Method portable = Methods().back();
  const Bytes content = RandomBytes(kPlaces + kMost);
  Bytes input(kPlaces + kMost);
  Text written(kPlaces + Base64Length(kMost) + 64, u'#');
  Text moved(kPlaces + Base64Length(kMost), u'#');
  Bytes read(kPlaces + Base64Length(kMost) / 4 * 3 + 64, 0xA5);
  for (std::size_t length = 0; length <= kMost; ++length) {
    const std::span<const std::uint8_t> bytes(content.data(), length);
    Text expected(Base64Length(length), u'?');
    WriteBase64(bytes, expected.data(), portable);
    ASSERT_EQ(Base64Of(bytes), expected);
    const std::size_t room = expected.size() / 4 * 3;
    for (const Base64Method method : Methods()) {
      for (std::size_t place = 0; place < kPlaces; ++place) {
        std::copy(bytes.begin(), bytes.end(), input.begin() + static_cast<std::ptrdiff_t>(place));
        WriteBase64({input.data() + place, length}, written.data() + place, method);
        ASSERT_TRUE(TextView(written).substr(place, expected.size()) == expected) << NameOf(method) << " " << length;
        ASSERT_EQ(written[place + expected.size()], u'#') << "written past the end";
        if (place > 0) {
          ASSERT_EQ(written[place - 1], u'#') << "written before the start";
        }
        std::fill_n(written.begin() + static_cast<std::ptrdiff_t>(place), expected.size(), u'#');

        std::copy(expected.begin(), expected.end(), moved.begin() + static_cast<std::ptrdiff_t>(place));
        const TextView text = TextView(moved).substr(place, expected.size());
        const std::uint8_t* const end = ReadPlainBase64(text, read.data() + place, method);
        ASSERT_EQ(end, read.data() + place + length) << NameOf(method) << " " << length;
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), read.data() + place)) << NameOf(method) << " " << length;
        ASSERT_EQ(read[place + room], 0xA5) << "read past the end of the room";
        std::fill_n(read.begin() + static_cast<std::ptrdiff_t>(place), room, std::uint8_t{0xA5});
      }
    }
  }
}

// Every unit at every place within the widest block and after it.
TEST(Base64Codec, EveryMethod_OneForeignUnitAnywhere_ReadsAsThePortableOne) {
  const Base64Method portable = Methods().back();
  const Text right = Base64Of(RandomBytes(100));
  for (const Base64Method method : Methods()) {
    for (std::size_t place = 0; place < right.size(); ++place) {
      for (std::uint32_t unit = 0; unit <= 0xFFFF; unit += unit < 0x200 || unit > 0xFE00 ? 1 : 0x7F) {
        Text changed = right;
        changed[place] = static_cast<char16_t>(unit);
        Bytes bytes;
        Bytes expected;
        const bool isBase64 = ReadBase64(changed, bytes, method);
        ASSERT_EQ(isBase64, ReadBase64(changed, expected, portable)) << NameOf(method) << place << " " << unit;
        ASSERT_EQ(bytes, expected) << NameOf(method) << place << " " << unit;

        // Plain is what is written again as it was.
        Bytes room(changed.size() / 4 * 3);
        const bool isPlain = ReadPlainBase64(changed, room.data(), method) != nullptr;
        ASSERT_EQ(isPlain, isBase64 && Base64Of(expected) == changed) << NameOf(method) << place << " " << unit;
      }
    }
  }
}

TEST(Base64Codec, EveryMethod_LinesOfEveryWidth_AreRead) {
  const Bytes bytes = RandomBytes(10'000);
  const Text text = Base64Of(bytes);
  for (const Base64Method method : Methods()) {
    for (std::size_t width = 1; width <= 100; ++width) {
      Text lines;
      for (std::size_t i = 0; i < text.size(); i += width) lines.append(text, i, width).append(u"\n");
      Bytes read;
      ASSERT_TRUE(ReadBase64(lines, read, method)) << NameOf(method) << " " << width;
      ASSERT_EQ(read, bytes) << NameOf(method) << " " << width;
      Bytes room(lines.size() / 4 * 3);
      ASSERT_EQ(ReadPlainBase64(lines, room.data(), method), nullptr);
    }
  }
}

TEST(Base64Codec, Base64Of_MoreThanOnePiece_IsOneLine) {
  for (const std::size_t length : {3071u, 3072u, 3073u, 6144u, 100'000u}) {
    const Bytes bytes = RandomBytes(length);
    EXPECT_EQ(Base64Of(bytes), Encoded(bytes)) << length;
    EXPECT_EQ(Decoded(Encoded(bytes)), bytes) << length;
  }
}

TEST(Base64Codec, RfcVectors_AreMet) {
  constexpr struct {
    const char* bytes;
    TextView text;
  } kVectors[] = {{"", u""},
                  {"f", u"Zg=="},
                  {"fo", u"Zm8="},
                  {"foo", u"Zm9v"},
                  {"foob", u"Zm9vYg=="},
                  {"fooba", u"Zm9vYmE="},
                  {"foobar", u"Zm9vYmFy"}};
  for (const auto& [bytes, text] : kVectors) {
    const std::string content = bytes;
    EXPECT_EQ(Encoded(Bytes(content.begin(), content.end())), text);
    EXPECT_EQ(Decoded(text), Bytes(content.begin(), content.end()));
  }
}

// Every way of putting one wrong unit into a right text: only a blank may be added, only a letter may replace a letter.
TEST(Base64Codec, OneForeignUnitAnywhere_IsRefused) {
  const Text right = u"AAECAwQFBgcICQoLDA==";
  for (std::size_t place = 0; place < right.size(); ++place) {
    for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
      const auto foreign = static_cast<char16_t>(unit);
      const bool blank = unit == 0x20 || unit == 9 || unit == 10 || unit == 13;
      Text inserted = right;
      inserted.insert(place, 1, foreign);
      ASSERT_EQ(Decoded(inserted).has_value(), blank) << place << " " << unit;
      Text replaced = right;
      replaced[place] = foreign;
      const bool value = unit < 0x80 && (std::isalnum(static_cast<int>(unit)) != 0 || unit == '+' || unit == '/');
      const bool legal = place < right.size() - 2 ? value : (unit == '=' || (value && place == right.size() - 2));
      ASSERT_EQ(Decoded(replaced).has_value(), legal) << place << " " << unit;
    }
  }
}

TEST(Base64Codec, WrongPadding_IsRefused) {
  for (const TextView wrong : {u"=",    u"==",   u"===",      u"====",     u"Q",      u"QQ",    u"QQA",    u"Q=",
                               u"Q==",  u"Q===", u"QQ=",      u"QQ===",    u"QQA==",  u"QUJD=", u"QUJD==", u"QUJD====",
                               u"QQ=A", u"=QQA", u"QQ==QQ==", u"QQA=QQA=", u"QQ= =A", u"QUJDQ"}) {
    EXPECT_FALSE(Decoded(wrong).has_value()) << ToUtf8(wrong);
  }
}

TEST(Base64Codec, FreeBitsOfTheLastCharacter_AreIgnored) {
  EXPECT_EQ(Decoded(u"QR=="), (Bytes{0x41}));
  EXPECT_EQ(Decoded(u"Qf=="), (Bytes{0x41}));
  EXPECT_EQ(Decoded(u"QUJ="), (Bytes{0x41, 0x42}));
}

TEST(Base64Codec, BlanksOnly_AreNoBytes) {
  EXPECT_EQ(Decoded(u""), Bytes());
  EXPECT_EQ(Decoded(u" \t\r\n "), Bytes());
}

}  // namespace
}  // namespace nerio::platform
