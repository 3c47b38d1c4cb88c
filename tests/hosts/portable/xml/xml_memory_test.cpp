// The memory of a document that lives long: whatever is done to it again and again, it takes at no time more than three
// times what a fresh document of the same content does, and 1 MiB. What handles lead to counts as content.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nerio/hosts/portable/xml/xml_dom.h"
#include "nerio/support/xml.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"

namespace {

// What is allocated, and the most that was since it was last set.
struct {
  std::size_t now = 0;
  std::size_t peak = 0;
  std::size_t failing = 0;  // allocations of at least so many bytes are refused; 0: none
} memory;

// In front of each room: how large it is.
constexpr std::size_t kHead = alignof(std::max_align_t);

void* Allocate(std::size_t size) {
  if (memory.failing != 0 && size >= memory.failing) throw std::bad_alloc();
  auto* const place = static_cast<std::byte*>(std::malloc(kHead + size));
  if (place == nullptr) throw std::bad_alloc();
  std::memcpy(place, &size, sizeof size);
  memory.now += size;
  memory.peak = std::max(memory.peak, memory.now);
  return place + kHead;
}

void Free(void* room) noexcept {
  if (room == nullptr) return;
  std::byte* const place = static_cast<std::byte*>(room) - kHead;
  std::size_t size;
  std::memcpy(&size, place, sizeof size);
  memory.now -= size;
  std::free(place);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void operator delete(void* place) noexcept { Free(place); }
void operator delete(void* place, std::size_t) noexcept { Free(place); }

namespace nerio::platform {
namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20;

class LivingDocument : public ::testing::Test {
 protected:
  XmlReference Own(XmlObject* taken) { return {dom_, taken}; }
  XmlDocument NewDocument() { return Own(dom_.CreateDocument()); }
  XmlDocument Loaded(TextView xml) {
    XmlDocument document = NewDocument();
    EXPECT_TRUE(dom_.LoadXml(document.get(), xml));
    return document;
  }
  XmlNode Element(const XmlDocument& document, TextView name) { return Own(dom_.CreateElement(document.get(), name)); }
  XmlNode Select(const XmlReference& node, TextView query) { return Own(dom_.SelectSingleNode(node.get(), query)); }
  void Append(const XmlReference& parent, const XmlReference& child) {
    Own(dom_.AppendChild(parent.get(), child.get()));
  }

  // What a fresh document of this content takes.
  std::size_t FreshSize(const Text& xml) {
    const std::size_t before = memory.now;
    const XmlDocument fresh = Loaded(xml);
    return memory.now - before;
  }

  // Does something many times. The document may take three times its content then, and at each moment on the way.
  void ExpectBounded(const XmlDocument& document, std::size_t times, const std::function<void(std::size_t)>& step,
                     std::size_t ofTheCaller = 0) {
    const std::size_t fresh = FreshSize(dom_.GetXml(document.get()));
    const std::size_t before = memory.now;
    memory.peak = memory.now;
    for (std::size_t i = 0; i < times; ++i) step(i);
    const std::size_t risen = memory.peak - before;
    const std::size_t most = 2 * std::max(fresh, FreshSize(dom_.GetXml(document.get()))) + ofTheCaller + kMebibyte;
    EXPECT_LE(risen, most);
  }

  PortableXmlDom dom_;
};

Text Filled(std::size_t length, char16_t unit = u'x') { return Text(length, unit); }
Text Numbered(TextView name, std::size_t number) { return Text(name) + FromUtf8(std::to_string(number)); }

// A document of some 4 kB.
Text FourKilobytes() {
  Text xml = u"<r>";
  for (std::size_t i = 1000; i < 1080; ++i) {
    xml += u"<riga codice='" + Numbered(u"", i) + u"'>descrizione della riga</riga>";
  }
  return xml + u"</r>";
}

TEST_F(LivingDocument, AttributeSetToShortAndLongTextsInTurn) {
  const XmlDocument document = Loaded(u"<r a=''/>");
  const XmlNode root = Select(document, u"r");
  const Text texts[] = {Filled(2), Filled(200)};
  ExpectBounded(document, 100'000, [&](std::size_t i) { SetXMLAttribute(document, root, u"a", texts[i % 2]); });
}

TEST_F(LivingDocument, AttributeOnceLarge_IsSmallAgain) {
  const XmlDocument document = Loaded(u"<r a='' b='' c=''/>");
  const XmlNode root = Select(document, u"r");
  const Text large = Filled(5 * kMebibyte);
  const std::size_t before = memory.now;
  for (const TextView name : {u"a", u"b", u"c"}) {
    SetXMLAttribute(document, root, name, large);
    SetXMLAttribute(document, root, name, u"klein");
  }
  EXPECT_LE(memory.now, before + kMebibyte);
}

TEST_F(LivingDocument, AttributeReplacedByANewOneOfItsName) {
  const XmlDocument document = Loaded(u"<r a='1'/>");
  const XmlReference map = Own(dom_.Attributes(Select(document, u"r").get()));
  XmlNode held;
  ExpectBounded(document, 100'000, [&](std::size_t i) {
    const XmlNode attribute = Own(dom_.CreateAttribute(document.get(), u"a"));
    dom_.PutText(attribute.get(), Numbered(u"valore ", i));
    Own(dom_.SetNamedItem(map.get(), attribute.get()));
    if (i % 10 == 0) held = attribute;
  });
}

TEST_F(LivingDocument, TextOfAnElementSetAndEmptiedInTurn) {
  const XmlDocument document = Loaded(u"<r/>");
  const XmlNode root = Select(document, u"r");
  const Text texts[] = {Filled(50), {}, Filled(300), Filled(3)};
  ExpectBounded(document, 100'000, [&](std::size_t i) { dom_.PutText(root.get(), texts[i % 4]); });
}

TEST_F(LivingDocument, TypedValuesOfSeveralSizesAndForms) {
  const XmlDocument document = NewDocument();
  const XmlNode root = Element(document, u"r");
  Append(document, root);
  dom_.PutDataType(root.get(), u"bin.base64");
  const Bytes bytes(500, 7);
  ExpectBounded(document, 50'000, [&](std::size_t i) {
    dom_.PutNodeTypedValue(root.get(), std::span(bytes).first(i % 3 == 0 ? 10 : 500));
    if (i % 5 == 0) dom_.PutText(root.get(), u"QUJD");
    if (i % 7 == 0) dom_.PutText(root.get(), u"QU JD");
    if (i % 9 == 0) dom_.PutText(root.get(), u"QUJD\nQUJD");
    if (i % 11 == 0) dom_.PutNodeTypedValue(root.get(), {});
  });
}

TEST_F(LivingDocument, LargeTypedValuesInLinesAndInOneLine) {
  const XmlDocument document = NewDocument();
  const XmlNode root = Element(document, u"r");
  Append(document, root);
  dom_.PutDataType(root.get(), u"bin.base64");
  const Text line = Filled(400'000, u'A');
  const Text lines = line + u"\n" + line;
  ExpectBounded(
      document, 50, [&](std::size_t i) { dom_.PutText(root.get(), i % 2 == 0 ? line : lines); },
      // Copying the larger of both pays when there is half as much waste.
      lines.size() * sizeof(char16_t));
}

TEST_F(LivingDocument, DataTypesSetInTurn) {
  const XmlDocument document = Loaded(u"<r a='1'/>");
  const XmlNode root = Select(document, u"r");
  constexpr TextView kTypes[] = {u"i4", u"dateTime.tz", u"uuid"};
  ExpectBounded(document, 100'000, [&](std::size_t i) { dom_.PutDataType(root.get(), kTypes[i % 3]); });
}

TEST_F(LivingDocument, NodesMadeAndNeverPutAnywhere) {
  const XmlDocument document = Loaded(u"<r/>");
  ExpectBounded(document, 50'000, [&](std::size_t i) {
    const XmlNode element = Element(document, u"e");
    SetXMLAttribute(document, element, u"a", Numbered(u"", i));
    for (int n = 0; n < 3; ++n) AddXMLElement(document, element, u"f", u"testo");
    Own(dom_.CreateAttribute(document.get(), u"b"));
  });
}

TEST_F(LivingDocument, NamesThatNoNodeHasAnyMore) {
  const XmlDocument document = Loaded(u"<r/>");
  const Text tail = Filled(500);
  ExpectBounded(document, 20'000, [&](std::size_t i) {
    Element(document, Numbered(u"e", i) + tail);
    Own(dom_.CreateAttribute(document.get(), Numbered(u"a", i) + tail));
  });
}

TEST_F(LivingDocument, LoadedAgainAndAgainWithAnOldNodeHeld) {
  const Text xml = FourKilobytes();
  const XmlDocument document = Loaded(xml);
  const XmlNode first = Select(document, u"r/riga");
  XmlNode last;
  ExpectBounded(document, 2'000, [&](std::size_t) {
    ASSERT_TRUE(dom_.LoadXml(document.get(), xml));
    last = Select(document, u"r");
  });
  EXPECT_EQ(dom_.GetText(first.get()), u"descrizione della riga");
  EXPECT_FALSE(dom_.LoadXml(document.get(), u"<"));
  EXPECT_EQ(dom_.GetXml(last.get()).size(), dom_.GetXml(Loaded(xml).get()).size() - 2);
}

TEST_F(LivingDocument, LargeContentReplacedBySmall_WithAnOldNodeHeld) {
  Text large = u"<r><first>1</first>";
  for (int i = 0; i < 50'000; ++i) large += u"<riga codice='1'>descrizione</riga>";
  large += u"</r>";
  const XmlDocument document = NewDocument();
  const std::size_t empty = memory.now;
  ASSERT_TRUE(dom_.LoadXml(document.get(), large));
  const std::size_t loaded = memory.now - empty;
  XmlNode held = Select(document, u"r/first");
  memory.peak = memory.now;
  ASSERT_TRUE(dom_.LoadXml(document.get(), large));
  EXPECT_LE(memory.peak - empty, 3 * loaded);
  ASSERT_TRUE(dom_.LoadXml(document.get(), u"<s/>"));
  EXPECT_LE(memory.now, empty + kMebibyte);
  EXPECT_EQ(dom_.GetXml(held.get()), u"<first>1</first>");
  ASSERT_TRUE(dom_.LoadXml(document.get(), large));
  held = Select(document, u"r/first");
  dom_.PutText(Select(document, u"r").get(), u"");
  EXPECT_LE(memory.now, empty + kMebibyte);
  EXPECT_EQ(dom_.GetXml(held.get()), u"<first>1</first>");
}

TEST_F(LivingDocument, ChildrenAddedAndRemoved_SomeHeldForAWhile) {
  const XmlDocument document = Loaded(u"<r><tiene/><lascia/></r>");
  const XmlNode parents[] = {Select(document, u"r/tiene"), Select(document, u"r/lascia")};
  std::vector<XmlNode> held(50);
  ExpectBounded(document, 50'000, [&](std::size_t i) {
    const XmlNode element = AddXMLElement(document, parents[0], u"e", Numbered(u"testo ", i));
    held[i % 50] = AddXMLElement(document, element, u"f", u"x");
    Append(parents[1], element);
    if (i % 20 == 19) {
      dom_.PutText(parents[0].get(), u"");
      dom_.PutText(parents[1].get(), u"");
    }
  });
}

TEST_F(LivingDocument, ElementsTakenFromOtherDocuments) {
  const Text xml = FourKilobytes();
  const XmlDocument document = Loaded(u"<r/>");
  const XmlNode root = Select(document, u"r");
  ExpectBounded(document, 2'000, [&](std::size_t i) {
    Append(root, Select(Loaded(xml), u"r/riga"));
    if (i % 100 == 99) dom_.PutText(root.get(), u"");
  });
  // One small part each of many documents is no more than these parts.
  for (int i = 0; i < 500; ++i) Append(root, Select(Loaded(xml), u"r/riga"));
  ExpectBounded(document, 500, [&](std::size_t) { Append(root, Select(Loaded(xml), u"r/riga")); });
}

TEST_F(LivingDocument, ElementHandedBackAndForth) {
  const XmlDocument documents[] = {Loaded(u"<r/>"), Loaded(u"<s/>")};
  const XmlNode roots[] = {Select(documents[0], u"r"), Select(documents[1], u"s")};
  const XmlNode element = AddXMLElement(documents[0], roots[0], u"e", Filled(200));
  const XmlNode inner = AddXMLElement(documents[0], element, u"f", u"x");
  ExpectBounded(documents[0], 50'000, [&](std::size_t i) { Append(roots[(i + 1) % 2], element); });
  Append(roots[1], inner);
  EXPECT_EQ(dom_.GetXml(roots[1].get()), u"<s><f>x</f></s>");
}

TEST_F(LivingDocument, ManyAttributesOnceHeld_AreGoneWithTheirHandles) {
  const XmlDocument document = Loaded(u"<r/>");
  const XmlNode root = Select(document, u"r");
  const std::size_t before = memory.now;
  for (std::size_t i = 0; i < 20'000; ++i) SetXMLAttribute(document, root, Numbered(u"a", i), u"1");
  const XmlReference map = Own(dom_.Attributes(root.get()));
  std::vector<XmlNode> held;
  for (std::size_t i = 0; i < 20'000; ++i) held.push_back(Own(dom_.GetNamedItem(map.get(), Numbered(u"a", i))));
  ASSERT_TRUE(dom_.LoadXml(document.get(), u"<s/>"));
  EXPECT_EQ(dom_.GetXml(held[7].get()), u"a7=\"1\"");
  held = {};
  EXPECT_GT(memory.now, before + kMebibyte);
  EXPECT_EQ(dom_.GetText(Own(dom_.GetNamedItem(map.get(), u"a19999")).get()), u"1");
}

// Handles to all kinds of nodes still lead to them after everything was copied together, and to the same answers.
TEST_F(LivingDocument, WhatHandlesLeadTo_StaysWhatItIsWhenMemoryIsTidied) {
  const XmlDocument document = Loaded(
      u"<?xml version='1.0'?><!--c--><r x='1'><![CDATA[d]]><?p q?><b y='2'>uno<i>due</i>tre</b><lost z='3'/></r>");
  const XmlNode root = Select(document, u"r");
  const XmlNode inner = Select(document, u"r/b/i");
  const XmlReference map = Own(dom_.Attributes(root.get()));
  XmlNode lost = Select(document, u"r/lost");
  const XmlNode lostAttribute = Own(dom_.GetNamedItem(Own(dom_.Attributes(lost.get())).get(), u"z"));
  const XmlNode loose = Element(document, u"loose");
  dom_.PutDataType(loose.get(), u"bin.base64");
  dom_.PutText(loose.get(), u"AAEC");
  for (std::size_t i = 0; i < 40; ++i) SetXMLAttribute(document, loose, Numbered(u"n", i), Numbered(u"", i));
  const Text looseXml = dom_.GetXml(loose.get());
  const auto tidied = [&] {
    const std::size_t before = memory.now;
    SetXMLAttribute(document, root, u"x", Filled(kMebibyte));
    SetXMLAttribute(document, root, u"x", u"1");
    EXPECT_LE(memory.now, before + kMebibyte / 2);
  };
  tidied();
  EXPECT_EQ(dom_.GetXml(document.get()),
            u"<?xml version=\"1.0\"?>\r\n<!--c-->\r\n<r x=\"1\"><![CDATA[d]]><?p q?><b y=\"2\">uno<i>due</i>tre</b>"
            u"<lost z=\"3\"/></r>\r\n");
  EXPECT_EQ(dom_.GetXml(loose.get()), looseXml);
  EXPECT_EQ(dom_.GetNodeTypedValue(loose.get()), Variant(Bytes{0, 1, 2}));
  SetXMLAttribute(document, loose, u"n39", u"neu");
  EXPECT_NE(dom_.GetXml(loose.get()).find(u" n39=\"neu\">"), Text::npos);

  // Its element goes: it still belongs to another one.
  const XmlNode parent = Element(document, u"parent");
  Append(parent, lost);
  lost = XmlNode();
  dom_.PutText(parent.get(), u"");
  tidied();
  EXPECT_EQ(dom_.GetXml(lostAttribute.get()), u"z=\"3\"");
  EXPECT_THROW(dom_.SetNamedItem(map.get(), lostAttribute.get()), Error);
  dom_.PutText(root.get(), u"");
  tidied();
  EXPECT_EQ(dom_.GetXml(inner.get()), u"<i>due</i>");
  Append(root, inner);
  EXPECT_EQ(dom_.GetXml(root.get()), u"<r x=\"1\"><i>due</i></r>");
  EXPECT_THROW(dom_.AppendChild(inner.get(), root.get()), Error);
}

// Without the memory for a copy all stays as it is, until there is some.
TEST_F(LivingDocument, TidyingWithoutMemory_IsDoneLater) {
  const XmlDocument document = Loaded(u"<r/>");
  const XmlNode root = Select(document, u"r");
  const Text large = Filled(kMebibyte);
  const std::size_t before = memory.now;
  const XmlNode kept = AddXMLElement(document, root, u"kept", u"testo");
  const XmlNode element = AddXMLElement(document, root, u"e", large);
  memory.failing = 1;
  dom_.PutText(element.get(), u"");
  memory.failing = 0;
  EXPECT_GT(memory.now, before + kMebibyte);
  EXPECT_EQ(dom_.GetXml(root.get()), u"<r><kept>testo</kept><e/></r>");
  for (int i = 0; i < 2; ++i) {
    dom_.PutText(element.get(), large);
    dom_.PutText(element.get(), u"");
  }
  EXPECT_LE(memory.now, before + kMebibyte);
  EXPECT_EQ(dom_.GetXml(root.get()), u"<r><kept>testo</kept><e/></r>");
}

}  // namespace
}  // namespace nerio::platform
