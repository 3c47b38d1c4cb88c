// Inputs of a size that a document should not have: time and memory stay bounded, and nothing nests on the stack.

#include <gtest/gtest.h>

#include <cstddef>
#include <ctime>
#include <iostream>
#include <string>

#include "nerio/hosts/portable/xml/xml_dom.h"
#include "nerio/support/base64.h"
#include "nerio/support/xml.h"
#include "nerio/types/utf8.h"
#include "tests/testing/fake_host.h"

namespace nerio {
namespace {

using platform::XmlDocument;
using platform::XmlNode;

class LongXml : public ::testing::Test {
 protected:
  LongXml() : start_(std::clock()) {}
  ~LongXml() override {
    // Processor time, so that a busy machine changes nothing.
    const double seconds = static_cast<double>(std::clock() - start_) / CLOCKS_PER_SEC;
    std::cout << "  " << seconds << " s\n";
    // Many times what it takes, and far below what work that grows with the square would take.
    EXPECT_LT(seconds, 60);
  }

  XmlDocument NewDocument() { return {dom_, dom_.CreateDocument()}; }
  bool Load(const XmlDocument& document, TextView xml) { return dom_.LoadXml(document.get(), xml); }

  platform::PortableXmlDom dom_;
  testing::FakeHost host_{.xml = &dom_};
  std::clock_t start_;
};

constexpr std::size_t kLevels = 100'000;

Text Repeat(TextView piece, std::size_t count) {
  Text text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

Text Numbered(TextView name, std::size_t number) {
  const std::string digits = std::to_string(number);
  return Text(name) + Text(digits.begin(), digits.end());
}

TEST_F(LongXml, HundredThousandLevels_LoadedWrittenAndEnded) {
  const Text xml = Repeat(u"<a>", kLevels) + u"testo" + Repeat(u"</a>", kLevels);
  const XmlDocument document = NewDocument();
  ASSERT_TRUE(Load(document, xml));
  EXPECT_EQ(dom_.GetXml(document.get()), xml + u"\r\n");
  EXPECT_EQ(dom_.GetText(document.get()), u"testo");
  EXPECT_FALSE(Load(document, Repeat(u"<a>", kLevels)));
  EXPECT_FALSE(Load(document, Repeat(u"<a>", kLevels) + Repeat(u"</a>", kLevels + 1)));
}

TEST_F(LongXml, HundredThousandLevels_EachDeclaringPrefixesAndBlanks_AreLoaded) {
  Text xml;
  for (std::size_t i = 0; i < kLevels; ++i) xml += u"<p:a xmlns:p='u' xmlns:q='v' xml:space='preserve' q:b=''> ";
  xml += Repeat(u"</p:a>", kLevels);
  const XmlDocument document = NewDocument();
  EXPECT_TRUE(Load(document, xml));
  EXPECT_EQ(dom_.GetText(document.get()), u"");
}

TEST_F(LongXml, HundredThousandLevels_BuiltDownwardsAndUpwards) {
  const XmlDocument document = NewDocument();
  XmlNode down = AddXMLElement(document, document, u"a", u"");
  for (std::size_t i = 1; i < kLevels; ++i) down = AddXMLElement(document, down, u"a", u"");
  EXPECT_EQ(dom_.GetXml(document.get()).size(), kLevels * 7 - 3 + 2);

  const XmlDocument other = NewDocument();
  XmlNode up(dom_, dom_.CreateElement(other.get(), u"a"));
  for (std::size_t i = 1; i < kLevels; ++i) {
    XmlNode parent(dom_, dom_.CreateElement(other.get(), u"a"));
    dom_.Release(dom_.AppendChild(parent.get(), up.get()));
    up = parent;
  }
  // The whole depth changes its document.
  dom_.Release(dom_.AppendChild(down.get(), up.get()));
  EXPECT_EQ(dom_.GetXml(document.get()).size(), 2 * kLevels * 7 - 3 + 2);
  EXPECT_EQ(dom_.GetText(document.get()), u"");
  Text path = u"a";
  for (std::size_t i = 1; i < 2 * kLevels; ++i) path += u"/a";
  EXPECT_TRUE(XmlNode(dom_, dom_.SelectSingleNode(document.get(), path)));
}

TEST_F(LongXml, MillionAttributes_LoadedAndSetAgain) {
  constexpr std::size_t kCount = 1'000'000;
  Text xml = u"<a";
  for (std::size_t i = 0; i < kCount; ++i) xml += Numbered(u" n", i) + u"='x'";
  const XmlDocument document = NewDocument();
  ASSERT_TRUE(Load(document, xml + u"/>"));
  const XmlNode element(dom_, dom_.SelectSingleNode(document.get(), u"a"));
  for (std::size_t i = 0; i < kCount; i += 10) SetXMLAttribute(document, element, Numbered(u"n", i), u"y");
  SetXMLAttribute(document, element, u"nuovo", u"z");
  const Text written = dom_.GetXml(document.get());
  EXPECT_NE(written.find(u" n999990=\"y\" n999991=\"x\""), Text::npos);
  EXPECT_FALSE(Load(document, xml + u" n500000=''/>"));
}

TEST_F(LongXml, MillionAttributes_AddedOneByOne) {
  constexpr std::size_t kCount = 1'000'000;
  const XmlDocument document = NewDocument();
  const XmlNode element = AddXMLElement(document, document, u"a", u"");
  for (std::size_t i = 0; i < kCount; ++i) SetXMLAttribute(document, element, Numbered(u"n", i), u"x");
  SetXMLAttribute(document, element, u"n777777", u"y");
  EXPECT_NE(dom_.GetXml(document.get()).find(u" n777777=\"y\""), Text::npos);
}

TEST_F(LongXml, MillionAttributesWithPrefixes_AreComparedByNamespace) {
  constexpr std::size_t kCount = 500'000;
  Text xml = u"<a xmlns:p='u' xmlns:q='u'";
  for (std::size_t i = 0; i < kCount; ++i) xml += Numbered(u" p:n", i) + u"=''" + Numbered(u" q:m", i) + u"=''";
  const XmlDocument document = NewDocument();
  EXPECT_TRUE(Load(document, xml + u"/>"));
  EXPECT_FALSE(Load(document, xml + u" q:n77=''/>"));
}

TEST_F(LongXml, MillionChildren_AppendedAndMoved) {
  constexpr std::size_t kCount = 1'000'000;
  const XmlDocument document = NewDocument();
  ASSERT_TRUE(Load(document, u"<a>" + Repeat(u"<b/>", kCount) + u"</a>"));
  const XmlNode root(dom_, dom_.SelectSingleNode(document.get(), u"a"));
  for (int i = 0; i < 100'000; ++i) {
    const XmlNode first(dom_, dom_.SelectSingleNode(root.get(), u"b"));
    dom_.Release(dom_.AppendChild(root.get(), first.get()));
  }
  dom_.PutText(root.get(), u"x");
  EXPECT_EQ(dom_.GetXml(document.get()), u"<a>x</a>\r\n");
}

TEST_F(LongXml, HundredMegabytesOfText_LoadedReadAndWritten) {
  const XmlDocument document = NewDocument();
  {
    std::string bytes = "<a>";
    while (bytes.size() < std::size_t{100} << 20) bytes += "testo con un accento (è), un segno (&amp;) e una fine\r\n.";
    bytes += "</a>";
    const Text xml = FromUtf8(bytes);
    bytes = std::string();
    ASSERT_TRUE(Load(document, xml));
  }
  const std::size_t read = dom_.GetText(document.get()).size();
  EXPECT_GT(read, std::size_t{80} << 20);
  const Text written = dom_.GetXml(document.get());
  ASSERT_TRUE(Load(document, written));
  EXPECT_EQ(dom_.GetText(document.get()).size(), read);
}

TEST_F(LongXml, HundredMegabytesOfTextThatEndsWrong_IsRefused) {
  const Text text((std::size_t{100} << 20) / 2, u'x');
  const XmlDocument document = NewDocument();
  EXPECT_FALSE(Load(document, u"<a>" + text));
  EXPECT_FALSE(Load(document, u"<a>&" + text));
  EXPECT_FALSE(Load(document, u"<a>" + text + u"\xD800</a>"));
  EXPECT_FALSE(Load(document, u"<!--" + Text(text.size(), u'-') + u"-->"));
  EXPECT_FALSE(Load(document, u"<" + text + u">"));
  EXPECT_LT(dom_.LoadError(document.get()).reason.size(), 200u);
}

TEST_F(LongXml, SixtyFourMegabytesOfBase64_DecodedAndEncoded) {
  const Text text((std::size_t{64} << 20) / 16 * 6, u'\u1234');
  Text encoded;
  ASSERT_EQ(EncodeBase64(text, encoded, host_.View()), 0);
  ASSERT_EQ(encoded.size(), std::size_t{64} << 20);
  EXPECT_EQ(DecodeBase64(encoded, host_.View()), text);
  encoded[encoded.size() / 2] = u'!';
  EXPECT_EQ(DecodeBase64(encoded, host_.View()), u"");
  EXPECT_EQ(DecodeBase64(Text(encoded.size(), u' '), host_.View()), u"");
}

}  // namespace
}  // namespace nerio
