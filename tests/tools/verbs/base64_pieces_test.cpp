#include "tools/nerio/verbs/base64_pieces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <istream>
#include <ostream>
#include <random>
#include <streambuf>
#include <string>
#include <string_view>

#include "nerio/support/base64.h"
#include "nerio/types/surrogates.h"
#include "nerio/types/utf8.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/command_line.h"
#include "tools/nerio/output.h"

namespace nerio::tool {
namespace {

// Puts bytes in piece by piece, of random lengths. Returns what `put` and then `end` gave.
template <typename Put, typename End>
std::string InPieces(std::string_view bytes, std::mt19937& random, Put put, End end) {
  std::string all;
  while (!bytes.empty()) {
    const std::size_t longest = std::min<std::size_t>(bytes.size(), random() % 8 == 0 ? 7 : 700);
    const std::size_t length = 1 + random() % longest;
    all += put(bytes.substr(0, length));
    bytes.remove_prefix(length);
  }
  return all += end();
}

// A text with characters of all lengths in UTF-8.
Text MixedText(std::size_t units) {
  constexpr TextView kCharacters[] = {u"a", u"\u00E8", u"\u20AC", u"\U0001F600", u"\n", TextView(u"\0", 1)};
  std::mt19937 random(4);
  Text text;
  while (text.size() < units) text += kCharacters[random() % std::size(kCharacters)];
  return text;
}

// The beginning of a text, ending with a whole character.
Text Beginning(const Text& text, std::size_t units) {
  Text beginning = text.substr(0, units);
  if (units != 0 && IsHighSurrogate(beginning.back())) beginning.back() = u'z';
  return beginning;
}

// Puts blanks in here and there.
std::string Spread(std::string_view text, std::mt19937& random) {
  std::string spread;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = 1 + random() % 100;
    spread.append(text.substr(i, length)).append(random() % 2 == 0 ? "\r\n" : " \t");
    i += length;
  }
  return spread;
}

TEST(Base64Pieces, AllLengthsInRandomPieces_AreWhatTheLayerMakesOfTheWhole) {
  std::mt19937 random(3);
  platform::XmlDom& dom = platform::OwnXmlDom();
  const Text mixed = MixedText(4096);
  std::string bytesOfAll(4096, '\0');
  std::generate(bytesOfAll.begin(), bytesOfAll.end(), [&] { return static_cast<char>(random()); });
  for (std::size_t length = 0; length <= 4096; ++length) {
    const Text text = Beginning(mixed, length);
    Text encoded;
    ASSERT_EQ(EncodeBase64(text, encoded), 0);
    std::string wanted = ToUtf8(encoded);
    std::erase(wanted, '\n');
    Base64Encoder encoder(dom);
    Utf8Pieces reader;
    const auto none = [] { return std::string(); };
    ASSERT_EQ(InPieces(
                  ToUtf8(text), random, [&](std::string_view piece) { return encoder.Put(reader.Put(piece)); },
                  [&] {
                    reader.End();
                    return encoder.End();
                  }),
              wanted)
        << length;
    // With blanks anywhere.
    const std::string spread = Spread(wanted, random);
    Base64Decoder decoder(dom);
    Utf16Pieces writer;
    ASSERT_EQ(InPieces(
                  spread, random, [&](std::string_view piece) { return writer.Put(decoder.Put(piece)); },
                  [&] {
                    decoder.End();
                    return writer.End();
                  }),
              ToUtf8(DecodeBase64(encoded)))
        << length;
    EXPECT_FALSE(writer.EndedWithAByte());
    EXPECT_TRUE(writer.WasText());
    // Bytes as they are, of an odd number too.
    const std::string bytes = bytesOfAll.substr(0, length);
    Base64Encoder byteEncoder(dom);
    const std::string written = InPieces(
        bytes, random, [&](std::string_view piece) { return byteEncoder.Put(piece); },
        [&] { return byteEncoder.End(); });
    ASSERT_EQ(written, ToUtf8(ByteElement(dom).Encode(bytes))) << length;
    Base64Decoder byteDecoder(dom);
    ASSERT_EQ(InPieces(
                  written, random, [&](std::string_view piece) { return byteDecoder.Put(piece); }, none),
              bytes);
    byteDecoder.End();
  }
}

TEST(Base64Pieces, WhatIsNotBase64OrUtf8_IsRefusedWhereverItIsCut) {
  for (const std::string_view bad : {"QQ", "QQA", "=QQA", "QQ=A", "====", "QQ==QQ==", "QUJD====", "QUJD==", "QUJDQQ==A",
                                     "QUJDQ", "QU*D", "\xC3\xA9", "QQ=====", "QQ== ="}) {
    for (std::size_t cut = 0; cut <= bad.size(); ++cut) {
      Base64Decoder decoder(platform::OwnXmlDom());
      EXPECT_THROW(
          {
            decoder.Put(bad.substr(0, cut));
            decoder.Put(bad.substr(cut));
            decoder.End();
          },
          Failure)
          << bad << " cut at " << cut;
    }
  }
  for (const std::string_view bad : {"\xE9", "a\xC3", "\xF0\x9F\x98", "\xED\xA0\x80", "\x80zzzz"}) {
    for (std::size_t cut = 0; cut <= bad.size(); ++cut) {
      Utf8Pieces reader;
      EXPECT_THROW(
          {
            reader.Put(bad.substr(0, cut));
            reader.Put(bad.substr(cut));
            reader.End();
          },
          Failure)
          << cut;
    }
  }
}

TEST(Base64Pieces, BytesThatAreNoText_AreSaidToBe) {
  Utf16Pieces whole;
  EXPECT_EQ(whole.Put(std::string_view("\x3D\xD8\0", 3)), "");
  EXPECT_EQ(whole.Put(std::string_view("\xDE"
                                       "A",
                                       2)),
            "\xF0\x9F\x98\x80");
  EXPECT_EQ(whole.End(), "");
  EXPECT_TRUE(whole.EndedWithAByte());
  EXPECT_TRUE(whole.WasText());
  Utf16Pieces half;
  EXPECT_EQ(half.Put("\x3D\xD8"), "");
  EXPECT_EQ(half.End(), "\xEF\xBF\xBD");
  EXPECT_FALSE(half.EndedWithAByte());
  EXPECT_FALSE(half.WasText());
}

// Gives a text again and again, and notes how far ahead of what was written it was read.
class Flow final : public std::streambuf {
 public:
  Flow(std::string piece, std::size_t times) : piece_(std::move(piece)), times_(times) {}

  class Sink final : public std::streambuf {
   public:
    std::size_t written = 0;

   private:
    int_type overflow(int_type unit) override {
      ++written;
      return unit;
    }
    std::streamsize xsputn(const char*, std::streamsize count) override {
      written += static_cast<std::size_t>(count);
      return count;
    }
  } sink;
  std::size_t mostAhead = 0;

 private:
  int_type underflow() override {
    if (times_-- == 0) return traits_type::eof();
    mostAhead = std::max(mostAhead, given_ - std::min(given_, sink.written));
    given_ += piece_.size();
    setg(piece_.data(), piece_.data(), piece_.data() + piece_.size());
    return traits_type::to_int_type(piece_[0]);
  }

  std::string piece_;
  std::size_t times_;
  std::size_t given_ = 0;
};

TEST(Base64Pieces, LargeStandardInput_IsWrittenWhileItIsRead) {
  ToolHost host;
  // What is written is at least as much as what is read, so that bytes can be compared.
  const std::vector<std::string> runs[] = {{"base64", "encode", "--bytes"}, {"base64", "encode"}};
  for (const auto& arguments : runs) {
    Flow flow(std::string(10'000, 'a'), 1000);
    std::istream in(&flow);
    std::ostream out(&flow.sink);
    std::ostream err(nullptr);
    platform::Host services = host.View();
    EXPECT_EQ(CommandLine("1").Run(arguments,
                                   {services.registry, services.codePage, services.files, services.module,
                                    services.guids, platform::OwnXmlDom(), services.regional},
                                   in, out, err, false),
              0);
    EXPECT_LT(flow.mostAhead, std::size_t{300'000}) << arguments.back();
    EXPECT_GT(flow.sink.written, std::size_t{10'000'000});
  }
}

TEST(Base64Pieces, BadInputFoundLate_SaysThatTheOutputIsIncomplete) {
  ToolHost tool;
  const std::string right(400'000, 'A');
  for (const bool bytes : {false, true}) {
    std::vector<std::string> arguments{"base64", "decode"};
    if (bytes) arguments.emplace_back("--bytes");
    tool.in = right + "*";
    const RunResult late = tool.Run(arguments);
    EXPECT_EQ(late.exit, 5);
    EXPECT_FALSE(late.out.empty());
    EXPECT_NE(late.err.find("this is not Base64; the output is incomplete\n"), std::string::npos) << late.err;
    tool.in = right.substr(0, 1000) + "*";
    const RunResult early = tool.Run(arguments);
    EXPECT_EQ(early.exit, 5);
    EXPECT_EQ(early.out, "");
    EXPECT_EQ(early.err.find("incomplete"), std::string::npos) << early.err;
    arguments.emplace_back("--json");
    tool.in = right + "*";
    EXPECT_EQ(tool.Run(arguments).err.find("incomplete"), std::string::npos);
  }
  tool.in = right + "\xE9";
  const RunResult encoded = tool.Run({"base64", "encode", "--bytes"});
  EXPECT_EQ(encoded.exit, 0);
}

}  // namespace
}  // namespace nerio::tool
