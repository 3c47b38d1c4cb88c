#include "platform/portable/base64_codec.h"

#include <gtest/gtest.h>

#include <cctype>
#include <optional>
#include <random>
#include <string>

#include "types/utf8.h"

namespace nerio::platform {
namespace {

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
