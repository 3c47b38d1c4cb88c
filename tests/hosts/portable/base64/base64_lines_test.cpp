#include "nerio/hosts/portable/base64/base64_lines.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>

#include "nerio/types/utf8.h"
#include "tests/hosts/portable/base64/random_bytes.h"

namespace nerio::platform {
namespace {

using testing::RandomBytes;

// A text in lines, put together one by one.
Text Broken(const Text& text, std::size_t columns, TextView end, bool ended) {
  Text lines;
  for (std::size_t i = 0; i < text.size(); i += columns) {
    lines.append(text, i, columns);
    if (i + columns < text.size() || ended) lines += end;
  }
  return lines;
}

// What `ReadBase64Lines` reads of a text, with each method: nothing where the text is not what it writes.
Bytes Read(const Text& text) {
  const Base64Lines lines = LinesOf(text);
  if (lines.columns == 0) return {};
  Bytes first;
  for (Base64Method method = ThisProcessorsBase64(); !method.empty(); method = method.subspan(1)) {
    Bytes bytes(text.size() / 4 * 3 + 1, 0xA5);
    const std::uint8_t* const end = ReadBase64Lines(text, lines, bytes.data(), method);
    EXPECT_EQ(bytes.back(), 0xA5) << "read past the end of the room";
    bytes.resize(end != nullptr ? static_cast<std::size_t>(end - bytes.data()) : 0);
    if (method.size() == ThisProcessorsBase64().size()) first = bytes;
    EXPECT_EQ(bytes, first) << method.front().name;
  }
  return first;
}

TEST(Base64Lines, EveryWidthAndLineEnd_AreReadAndWrittenAsTheyWere) {
  for (const std::size_t length : {1u, 2u, 3u, 53u, 54u, 55u, 108u, 5000u}) {
    const Bytes bytes = RandomBytes(length);
    const Text text = Base64Of(bytes);
    for (std::size_t columns = 4; columns <= 128; columns += 4) {
      for (const TextView end : {u"\n", u"\r\n"}) {
        for (const bool ended : {false, true}) {
          const Text lines = Broken(text, columns, end, ended);
          // One line that is not ended has no lines.
          const bool has = lines.size() > text.size();
          ASSERT_EQ(Read(lines), has ? bytes : Bytes()) << ToUtf8(lines);
          if (!has) continue;
          const Base64Lines form = LinesOf(lines);
          ASSERT_EQ(Base64Of(bytes, form), lines) << ToUtf8(lines);
          ASSERT_EQ(Base64Length(bytes.size(), form), lines.size());
        }
      }
    }
  }
}

TEST(Base64Lines, AsWideAsIsLookedFor_AndWider) {
  const Bytes bytes = RandomBytes(10'000);
  EXPECT_EQ(Read(Broken(Base64Of(bytes), 1024, u"\n", true)), bytes);
  EXPECT_EQ(LinesOf(Broken(Base64Of(bytes), 1028, u"\n", true)).columns, 0);
}

TEST(Base64Lines, WhatIsNotInLinesOfOneLength_IsRefused) {
  for (const TextView text : {u"",
                              u"\n",
                              u"\r\n",
                              u"QUJD",
                              u"\nQUJD",
                              u"QUJD\n\n",
                              u"QUJD\n\nQUJD",
                              u"QUJD\nQUJDQUJD",
                              u"QUJDQUJD\nQUJD\nQUJD",
                              u"QUJD\r",
                              u"QUJD\rQUJD",
                              u"QUJD\r\nQUJD\n",
                              u"QUJD\nQUJD\r\n",
                              u"QUJD \nQUJD",
                              u"QUJD\n QUJD",
                              u"QUJ\nD",
                              u"QU==\nQUJD",
                              u"QQ==\n\n",
                              u"QR==\n",
                              u"QUJD\nQR==",
                              u"QUJD\n====",
                              u"QUJD\nQ===",
                              u"QUJD\nQUJ",
                              u"QU!D\nQUJD",
                              u"QUJD\nQU\u0100D",
                              u"QUJD\nQUJD\n "}) {
    EXPECT_EQ(Read(Text(text)), Bytes()) << ToUtf8(text);
  }
}

// A text that is read is written again as it was, and means the same to the reader that takes any text.
TEST(Base64Lines, OneForeignUnitAnywhere_IsReadOnlyWhereItIsWrittenAgain) {
  const Text right = Broken(Base64Of(RandomBytes(500)), 72, u"\n", false);
  for (std::size_t place = 0; place < right.size(); ++place) {
    for (const char16_t unit : {u'\0', u'\n', u'\r', u' ', u'=', u'A', u'/', u'!', u'\u0141', u'\uFFFF'}) {
      Text changed = right;
      changed[place] = unit;
      const Bytes read = Read(changed);
      if (read.empty()) continue;
      Bytes expected;
      ASSERT_TRUE(ReadBase64(changed, expected)) << ToUtf8(changed);
      ASSERT_EQ(read, expected) << ToUtf8(changed);
      ASSERT_EQ(Base64Of(read, LinesOf(changed)), changed) << ToUtf8(changed);
    }
  }
}

}  // namespace
}  // namespace nerio::platform
