#include "nerio/support/base64.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <random>
#include <string>

#include "nerio/hosts/portable/xml/xml_dom.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/recording_xml_dom.h"

namespace nerio {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FakeHost;
using testing::RecordingXmlDom;

// A DOM that loads a text and says that it did not.
class DenyingXmlDom final : public RecordingXmlDom {
 public:
  using RecordingXmlDom::RecordingXmlDom;
  bool LoadXml(platform::XmlObject* document, TextView xml) override {
    static_cast<void>(RecordingXmlDom::LoadXml(document, xml));
    return false;
  }
};

class Base64 : public ::testing::Test {
 protected:
  ~Base64() override { EXPECT_EQ(dom_.OpenReferences(), 0u); }

  Text Encode(TextView text) {
    Text encoded = u"junk";
    EXPECT_EQ(EncodeBase64(text, encoded, host_.View()), 0);
    return encoded;
  }
  Text Decode(const Text& encoded) { return DecodeBase64(encoded, host_.View()); }

  platform::PortableXmlDom portable_;
  RecordingXmlDom dom_{portable_};
  FakeHost host_{.xml = &dom_};
};

TEST_F(Base64, EncodeBase64_LetterA_EncodesItsTwoBytesLowByteFirst) {
  EXPECT_EQ(Encode(u"A"), u"QQA=");
  EXPECT_EQ(Decode(u"QQA="), u"A");
}

TEST_F(Base64, EncodeBase64_LetterA_MakesTheseCallsAndReleasesDocumentAndElement) {
  Encode(u"A");
  EXPECT_THAT(dom_.calls,
              ElementsAre("CreateDocument() = 1", "CreateElement(1, \"TEMP\") = 2", "PutDataType(2, \"bin.base64\")",
                          "PutNodeTypedValue(2, <4100>)", "GetText(2)", "Release(1)", "Release(2)"));
}

TEST_F(Base64, DecodeBase64_WhetherTheFixedTextWasLoaded_IsNotLookedAt) {
  DenyingXmlDom denying(portable_);
  const FakeHost host{.xml = &denying};
  EXPECT_EQ(DecodeBase64(u"QQA=", host.View()), u"A");
  EXPECT_THAT(denying.calls, Contains("LoadXml(1, \"<DOC></DOC>\")"));
  EXPECT_EQ(denying.OpenReferences(), 0u);
}

TEST_F(Base64, DecodeBase64_LetterA_SelectsTheNodeAfreshForEachProperty) {
  EXPECT_EQ(Decode(u"QQA="), u"A");
  EXPECT_THAT(dom_.calls,
              ElementsAre("CreateDocument() = 1", "LoadXml(1, \"<DOC></DOC>\")", "SelectSingleNode(1, \"DOC\") = 2",
                          "PutDataType(2, \"bin.base64\")", "Release(2)", "SelectSingleNode(1, \"DOC\") = 3",
                          "PutText(3, \"QQA=\")", "Release(3)", "SelectSingleNode(1, \"DOC\") = 4",
                          "GetNodeTypedValue(4)", "Release(4)", "Release(1)"));
}

// Texts of a size at which the codec works on many characters at once, and one that asks for large pages: the calls are
// those of a short one.
TEST_F(Base64, LongTexts_MakeTheCallsOfShortOnes) {
  for (const std::size_t length : {1000u, 900'000u}) {
    Text text(length, u'\0');
    std::mt19937 random(11);
    for (char16_t& unit : text) unit = static_cast<char16_t>(random());

    dom_.calls.clear();
    const Text encoded = Encode(text);
    ASSERT_EQ(dom_.calls.size(), 7u);
    // The fourth call names every byte.
    EXPECT_TRUE(dom_.calls[3].starts_with("PutNodeTypedValue("));
    std::string bytes = "<";
    for (const char16_t unit : text) {
      for (const int digit : {4, 0, 12, 8}) bytes += "0123456789ABCDEF"[unit >> digit & 0xF];
    }
    EXPECT_TRUE(dom_.calls[3].ends_with(", " + bytes + ">)"));
    dom_.calls.erase(dom_.calls.begin() + 3);
    const auto handle = [](const std::string& call, char end) {
      const std::size_t at = end == '=' ? call.rfind("= ") + 2 : call.find('(') + 1;
      return call.substr(at, call.find_first_of(",)", at) - at);
    };
    const std::string document = handle(dom_.calls[0], '=');
    const std::string element = handle(dom_.calls[1], '=');
    EXPECT_THAT(dom_.calls,
                ElementsAre("CreateDocument() = " + document, "CreateElement(" + document + ", \"TEMP\") = " + element,
                            "PutDataType(" + element + ", \"bin.base64\")", "GetText(" + element + ")",
                            "Release(" + document + ")", "Release(" + element + ")"));

    dom_.calls.clear();
    EXPECT_TRUE(Decode(encoded) == text);
    ASSERT_EQ(dom_.calls.size(), 12u);
    const std::string loaded = handle(dom_.calls[0], '=');
    const std::string first = handle(dom_.calls[2], '=');
    const std::string second = handle(dom_.calls[5], '=');
    const std::string third = handle(dom_.calls[8], '=');
    EXPECT_TRUE(dom_.calls[6] == "PutText(" + second + ", \"" + ToUtf8(encoded) + "\")");
    dom_.calls.erase(dom_.calls.begin() + 6);
    const std::string select = "SelectSingleNode(" + loaded + ", \"DOC\") = ";
    EXPECT_THAT(dom_.calls,
                ElementsAre("CreateDocument() = " + loaded, "LoadXml(" + loaded + ", \"<DOC></DOC>\")", select + first,
                            "PutDataType(" + first + ", \"bin.base64\")", "Release(" + first + ")", select + second,
                            "Release(" + second + ")", select + third, "GetNodeTypedValue(" + third + ")",
                            "Release(" + third + ")", "Release(" + loaded + ")"));
  }
}

TEST_F(Base64, EncodeBase64_EmptyText_GivesEmptyText) { EXPECT_EQ(Encode(u""), u""); }

TEST_F(Base64, DecodeBase64_EmptyText_GivesEmptyText) { EXPECT_EQ(Decode(u""), u""); }

TEST_F(Base64, DecodeBase64_TextThatIsNotBase64_GivesEmptyText) {
  for (const TextView wrong :
       {u"not base64!", u"QQA", u"QQ=A", u"=QQA", u"????", u"-_-_", u"QQA=QQA=", u"QQA==", u"è", u"QQ\u00A0A=", u"="}) {
    EXPECT_EQ(Decode(Text(wrong)), u"") << ToUtf8(wrong);
  }
}

// Deliberate: other producers encode 8-bit text, this one byte pairs.
TEST_F(Base64, DecodeBase64_OfEightBitText_GivesCharactersMadeOfPairsOfBytes) {
  EXPECT_EQ(Decode(u"YWJjZA=="), u"\u6261\u6463");
}

TEST_F(Base64, DecodeBase64_OddByteCount_LeavesTheLastByteOut) {
  EXPECT_EQ(Decode(u"YWJj"), u"\u6261");
  EXPECT_EQ(Decode(u"YQ=="), u"");
}

TEST_F(Base64, EncodeBase64_SameVariableAsInputAndOutput_ReplacesItsContent) {
  Text text = u"A";
  EXPECT_EQ(EncodeBase64(text, text, host_.View()), 0);
  EXPECT_EQ(text, u"QQA=");
}

TEST_F(Base64, DecodeBase64_LineBreaksAndBlanks_AreAccepted) { EXPECT_EQ(Decode(u" QQ\r\nBC\nAA\t==\r\n"), u"AB"); }

TEST_F(Base64, DecodeBase64_InputBehindANul_IsNotRead) { EXPECT_EQ(Decode(Text(u"QQA=\0QQA=", 9)), u"A"); }

TEST_F(Base64, EncodeBase64_LongText_IsOneLine) {
  EXPECT_EQ(Encode(Text(100'000, u'x')).find_first_of(u"\r\n \t"), Text::npos);
}

TEST_F(Base64, EncodeThenDecode_AnyText_ComesBackUnchanged) {
  std::mt19937 random(7);
  Text all;
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) all += static_cast<char16_t>(unit);
  EXPECT_EQ(Decode(Encode(all)), all);
  for (std::size_t length = 0; length < 200; ++length) {
    Text text(length, u'\0');
    for (char16_t& unit : text) unit = static_cast<char16_t>(random());
    ASSERT_EQ(Decode(Encode(text)), text);
  }
}

TEST_F(Base64, EncodeBase64_EachCallFailing_AnswersTheErrorsNumberAndLeavesTheOutput) {
  constexpr std::size_t kCalls = 5;
  for (std::size_t n = 1; n <= kCalls + 1; ++n) {
    SCOPED_TRACE(n);
    const auto expected = [&](std::int32_t number) { return n <= kCalls ? number : 0; };
    const Text left = n <= kCalls ? u"junk" : u"QQA=";

    Text encoded = u"junk";
    dom_.FailCall(n, Error(static_cast<std::int32_t>(0x80040000u + n), u"msxml", u"fault"));
    EXPECT_EQ(EncodeBase64(u"A", encoded, host_.View()), expected(static_cast<std::int32_t>(0x80040000u + n)));
    EXPECT_EQ(encoded, left);
    EXPECT_EQ(dom_.OpenReferences(), 0u);
    EXPECT_EQ(dom_.CallsSince(), std::min(n, kCalls));

    encoded = u"junk";
    dom_.FailCall(n, std::bad_alloc());
    EXPECT_EQ(EncodeBase64(u"A", encoded, host_.View()), expected(kErrOutOfMemory));
    EXPECT_EQ(encoded, left);

    encoded = u"junk";
    dom_.FailCall(n, 1);
    EXPECT_EQ(EncodeBase64(u"A", encoded, host_.View()), expected(kErrInternal));
    EXPECT_EQ(encoded, left);
    EXPECT_EQ(dom_.OpenReferences(), 0u);
  }
}

TEST_F(Base64, EncodeBase64_FailureAfterTheElementWasMade_ReleasesDocumentAndElement) {
  Text encoded = u"junk";
  dom_.FailCall(3, Error(5, u"", u""));
  EXPECT_EQ(EncodeBase64(u"A", encoded, host_.View()), 5);
  EXPECT_THAT(dom_.calls, ElementsAre("CreateDocument() = 1", "CreateElement(1, \"TEMP\") = 2",
                                      "PutDataType(2, \"bin.base64\")", "Release(1)", "Release(2)"));
}

TEST_F(Base64, DecodeBase64_EachCallFailing_GivesEmptyTextAndRaisesNothing) {
  constexpr std::size_t kCalls = 8;
  for (std::size_t n = 1; n <= kCalls + 1; ++n) {
    SCOPED_TRACE(n);
    const Text expected = n <= kCalls ? u"" : u"A";
    dom_.FailCall(n, Error(static_cast<std::int32_t>(n), u"msxml", u"fault"));
    EXPECT_EQ(Decode(u"QQA="), expected);
    EXPECT_EQ(dom_.CallsSince(), std::min(n, kCalls));
    dom_.FailCall(n, std::bad_alloc());
    EXPECT_EQ(Decode(u"QQA="), expected);
    dom_.FailCall(n, 1);
    EXPECT_EQ(Decode(u"QQA="), expected);
    EXPECT_EQ(dom_.OpenReferences(), 0u);
  }
}

}  // namespace
}  // namespace nerio
