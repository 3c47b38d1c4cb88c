#include "nerio/hosts/portable/xml/xml_dom.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "nerio/types/utf8.h"
#include "tests/platform/conformance/xml_dom_conformance.h"
#include "tests/testing/raised_error.h"

namespace nerio::platform {
namespace {

using testing::ErrorOf;
using testing::ExpectError;
using testing::XmlDomConformance;
using testing::XmlDomImplementation;
using testing::XmlDomRefusals;

const XmlDomImplementation kPortable{
    "portable", []() -> std::unique_ptr<XmlDom> { return std::make_unique<PortableXmlDom>(); }, {}};

INSTANTIATE_TEST_SUITE_P(Portable, XmlDomConformance, ::testing::Values(kPortable));
INSTANTIATE_TEST_SUITE_P(Portable, XmlDomRefusals, ::testing::Values(kPortable));

std::string Numbered(std::string name, std::size_t number) { return name += std::to_string(number); }

class PortableDom : public ::testing::Test {
 protected:
  XmlReference Own(XmlObject* taken) { return {dom_, taken}; }
  XmlDocument NewDocument() { return Own(dom_.CreateDocument()); }
  XmlDocument Loaded(TextView xml) {
    XmlDocument document = NewDocument();
    EXPECT_TRUE(dom_.LoadXml(document.get(), xml)) << ToUtf8(xml);
    return document;
  }
  XmlNode Element(const XmlDocument& document, TextView name) { return Own(dom_.CreateElement(document.get(), name)); }
  XmlNode Select(const XmlReference& node, TextView query) { return Own(dom_.SelectSingleNode(node.get(), query)); }
  void Append(const XmlReference& parent, const XmlReference& child) {
    Own(dom_.AppendChild(parent.get(), child.get()));
  }
  std::string Xml(const XmlReference& node) { return ToUtf8(dom_.GetXml(node.get())); }

  PortableXmlDom dom_;
};

TEST_F(PortableDom, Errors_NameTheDomAndSayWhatIsWrong) {
  const XmlDocument document = Loaded(u"<r a='1'><b/></r>");
  const XmlNode root = Select(document, u"r");
  const XmlReference map = Own(dom_.Attributes(root.get()));
  const XmlNode attribute = Own(dom_.GetNamedItem(map.get(), u"a"));
  const XmlNode inner = Select(document, u"r/b");
  const XmlDocument other = Loaded(u"<s x='1'/>");
  const XmlReference otherMap = Own(dom_.Attributes(Select(other, u"s").get()));
  const XmlNode foreign = Own(dom_.GetNamedItem(otherMap.get(), u"x"));
  const XmlReference innerMap = Own(dom_.Attributes(inner.get()));

  const auto fails = [&](auto&& call, std::int32_t number, TextView description) {
    ExpectError(ErrorOf(call), number, u"XmlDom", description);
  };
  fails([&] { dom_.CreateElement(document.get(), u"a b"); }, kErrDomFailure, u"the name is not one of XML 1.0");
  fails([&] { dom_.SetNamedItem(map.get(), root.get()); }, kErrDomFailure, u"the node is not an attribute");
  fails([&] { dom_.SetNamedItem(map.get(), foreign.get()); }, kErrDomFailure,
        u"the attribute belongs to another document");
  fails([&] { dom_.SetNamedItem(innerMap.get(), attribute.get()); }, kErrDomFailure,
        u"the attribute belongs to another element");
  fails([&] { dom_.AppendChild(attribute.get(), inner.get()); }, kErrDomFailure, u"the node can have no children");
  fails([&] { dom_.AppendChild(root.get(), attribute.get()); }, kErrDomFailure, u"only an element can be appended");
  fails([&] { dom_.AppendChild(root.get(), document.get()); }, kErrDomFailure, u"only an element can be appended");
  fails([&] { dom_.AppendChild(inner.get(), root.get()); }, kErrDomFailure,
        u"an element cannot be appended below itself");
  fails([&] { dom_.AppendChild(document.get(), inner.get()); }, kErrDomFailure,
        u"the document has a document element already");
  fails([&] { dom_.PutText(document.get(), u"x"); }, kErrDomFailure, u"a document has no text of its own");
  fails([&] { dom_.PutDataType(document.get(), u"string"); }, kErrDomFailure, u"only an element has a data type");
  fails([&] { dom_.PutDataType(attribute.get(), u"string"); }, kErrDomFailure, u"only an element has a data type");
  fails([&] { dom_.PutDataType(root.get(), u"xyz"); }, kErrDomFailure, u"the data type is not known");
  fails([&] { dom_.SelectSingleNode(document.get(), u"r[1]"); }, kErrDomFailure, u"the query is not a path of names");
  EXPECT_EQ(Xml(document), "<r a=\"1\"><b/></r>\r\n");
  EXPECT_EQ(Xml(other), "<s x=\"1\"/>\r\n");
}

TEST_F(PortableDom, HandleOfAnotherKind_IsRefused) {
  const XmlDocument document = Loaded(u"<r a='1'/>");
  const XmlNode root = Select(document, u"r");
  const XmlReference map = Own(dom_.Attributes(root.get()));
  const auto fails = [&](auto&& call, TextView description) {
    ExpectError(ErrorOf(call), kErrDomArgument, u"XmlDom", description);
  };
  fails([&] { dom_.CreateElement(root.get(), u"a"); }, u"the node is not a document");
  fails([&] { dom_.LoadXml(root.get(), u"<a/>"); }, u"the node is not a document");
  fails([&] { dom_.GetNamedItem(root.get(), u"a"); }, u"a node is not an attribute map");
  fails([&] { dom_.SetNamedItem(root.get(), root.get()); }, u"a node is not an attribute map");
  for (const auto& call : std::vector<std::function<void()>>{
           [&] { dom_.CreateElement(map.get(), u"a"); }, [&] { dom_.Attributes(map.get()); },
           [&] { dom_.SetNamedItem(map.get(), map.get()); }, [&] { dom_.AppendChild(map.get(), root.get()); },
           [&] { dom_.AppendChild(root.get(), map.get()); }, [&] { dom_.PutText(map.get(), u"x"); },
           [&] { dom_.GetText(map.get()); }, [&] { dom_.PutDataType(map.get(), u"string"); },
           [&] { dom_.PutNodeTypedValue(map.get(), {}); }, [&] { dom_.GetNodeTypedValue(map.get()); },
           [&] { dom_.SelectSingleNode(map.get(), u"a"); }, [&] { dom_.GetXml(map.get()); }}) {
    fails(call, u"an attribute map is not a node");
  }
}

TEST_F(PortableDom, DataTypes_OtherThanBase64AndString_AreNotedButHaveNoTypedValue) {
  const XmlDocument document = NewDocument();
  for (const TextView type : {u"bin.hex", u"Int", u"UUID", u"dateTime.tz", u"fixed.14.4"}) {
    const XmlNode element = Element(document, u"e");
    dom_.PutDataType(element.get(), type);
    dom_.PutText(element.get(), u"12");
    ExpectError(ErrorOf([&] { dom_.GetNodeTypedValue(element.get()); }), kErrDomNotImplemented, u"XmlDom",
                u"typed values of this data type are not supported");
    ExpectError(ErrorOf([&] { dom_.PutNodeTypedValue(element.get(), {}); }), kErrDomNotImplemented, u"XmlDom",
                u"typed values of this data type are not supported");
    EXPECT_EQ(dom_.GetText(element.get()), u"12");
  }
  const XmlNode text = Element(document, u"e");
  dom_.PutDataType(text.get(), u"STRING");
  dom_.PutText(text.get(), u"12");
  EXPECT_EQ(std::get<Text>(dom_.GetNodeTypedValue(text.get())), u"12");
}

TEST_F(PortableDom, DataType_OfALoadedElement_IsTakenFromItsAttribute) {
  const XmlDocument document =
      Loaded(u"<e xmlns:dt='urn:schemas-microsoft-com:datatypes' dt:dt='bin.base64'>QQ<x>A=</x></e>");
  EXPECT_EQ(std::get<Bytes>(dom_.GetNodeTypedValue(Select(document, u"e").get())), (Bytes{0x41, 0x00}));
  ExpectError(ErrorOf([&] {
                const XmlNode element = Select(document, u"e");
                dom_.PutText(element.get(), u"QQA");
                dom_.GetNodeTypedValue(element.get());
              }),
              kErrDomFailure, u"XmlDom", u"the text is not Base64");
}

TEST_F(PortableDom, NamesAndDataTypes_EndAtTheirFirstNul) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, TextView(u"e\0 x", 4));
  dom_.PutDataType(element.get(), TextView(u"bin.base64\0x", 12));
  EXPECT_TRUE(Xml(element).ends_with("dt:dt=\"bin.base64\"/>")) << Xml(element);
  EXPECT_TRUE(Xml(element).starts_with("<e ")) << Xml(element);
  for (const TextView name : {TextView(u"\0e", 2), TextView(u" \0e", 3)}) {
    EXPECT_TRUE(ErrorOf([&] { Element(document, name); }).has_value());
    EXPECT_TRUE(ErrorOf([&] { dom_.PutDataType(element.get(), name); }).has_value());
  }
}

// A text in Base64 may be kept as its bytes: nothing shows it.
TEST_F(PortableDom, Base64Text_HoweverItCame_IsThereAsTextAndAsBytes) {
  const Bytes bytes = {0x00, 0xFF, 0x10, 0x80};
  constexpr TextView kHead = u"<e xmlns:dt=\"urn:schemas-microsoft-com:datatypes\" dt:dt=\"bin.base64\">";
  const struct {
    TextView text;
    TextView shown;
  } kTexts[] = {{u"AP8QgA==", u"AP8QgA=="},
                {u"AP8QgB==", u"AP8QgB=="},
                {u" AP8Q gA==\n", u"AP8Q gA=="},
                {u"AP8Q\ngA==", u"AP8Q\ngA=="},
                {u"AP8Q\ngA==\n", u"AP8Q\ngA=="},
                {u"AP8Q\r\ngA==\r\n", u"AP8Q\r\ngA=="},
                {u"AP8QgA==\n", u"AP8QgA=="},
                {TextView(u"AP8Q\ngA==\n\0AAAA", 15), u"AP8Q\ngA=="},
                {TextView(u"AP8QgA==\0AAAA", 13), u"AP8QgA=="}};
  for (const auto& [text, shown] : kTexts) {
    const XmlDocument document = NewDocument();
    const XmlNode element = Element(document, u"e");
    dom_.PutDataType(element.get(), u"bin.base64");
    dom_.PutText(element.get(), text);
    EXPECT_EQ(dom_.GetText(element.get()), shown);
    EXPECT_EQ(std::get<Bytes>(dom_.GetNodeTypedValue(element.get())), bytes);
    Text written(kHead);
    written += text.substr(0, text.find(u'\0'));
    for (std::size_t at = 0; (at = written.find(u'\r', at)) != Text::npos; at += 5) written.replace(at, 1, u"&#13;");
    for (std::size_t at = 0; (at = written.find(u'\n', at)) != Text::npos; at += 2) written.replace(at, 1, u"\r\n");
    EXPECT_EQ(dom_.GetXml(element.get()), written + u"</e>");
    // Bytes that take its place are in one line.
    dom_.PutNodeTypedValue(element.get(), Bytes{0x41, 0x00});
    EXPECT_EQ(dom_.GetText(element.get()), u"QQA=");
  }

  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_.PutDataType(element.get(), u"bin.base64");
  dom_.PutNodeTypedValue(element.get(), bytes);
  EXPECT_EQ(dom_.GetText(element.get()), u"AP8QgA==");
  EXPECT_EQ(dom_.GetXml(element.get()), Text(kHead) + u"AP8QgA==</e>");
  dom_.PutNodeTypedValue(element.get(), {});
  EXPECT_EQ(dom_.GetText(element.get()), u"");
  EXPECT_EQ(std::get<Bytes>(dom_.GetNodeTypedValue(element.get())), Bytes());
}

TEST_F(PortableDom, Base64Text_WithOtherTextAroundIt_IsOnePartOfTheWhole) {
  const XmlDocument document = NewDocument();
  const XmlDocument other = NewDocument();
  const XmlNode root = Element(document, u"r");
  dom_.PutText(root.get(), u"before ");
  Append(document, root);
  const XmlNode element = Element(other, u"e");
  dom_.PutDataType(element.get(), u"bin.base64");
  dom_.PutText(element.get(), u"AAEC\nAwQF\n");
  EXPECT_EQ(dom_.GetText(element.get()), u"AAEC\nAwQF");
  dom_.PutText(element.get(), u"AAEC");
  Append(root, element);
  const XmlNode below = Element(document, u"f");
  dom_.PutText(below.get(), u"AwQF");
  Append(element, below);
  EXPECT_EQ(dom_.GetText(element.get()), u"AAECAwQF");
  EXPECT_EQ(std::get<Bytes>(dom_.GetNodeTypedValue(element.get())), (Bytes{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(dom_.GetText(root.get()), u"before AAECAwQF");
  EXPECT_EQ(dom_.GetText(document.get()), u"before AAECAwQF");
  EXPECT_TRUE(Xml(root).ends_with(">AAEC<f>AwQF</f></e></r>")) << Xml(root);
  // In lines, also once it was copied into the other document.
  const XmlNode lines = Element(other, u"g");
  dom_.PutDataType(lines.get(), u"bin.base64");
  dom_.PutText(lines.get(), u"AAEC\nAwQF\n");
  Append(root, lines);
  EXPECT_EQ(dom_.GetText(root.get()), u"before AAECAwQFAAEC\nAwQF");
  EXPECT_TRUE(Xml(root).ends_with(">AAEC\r\nAwQF\r\n</g></r>")) << Xml(root);
}

TEST_F(PortableDom, Base64Text_WhenTheDataTypeChanges_StaysAsText) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_.PutDataType(element.get(), u"bin.base64");
  dom_.PutText(element.get(), u"AAEC");
  dom_.PutDataType(element.get(), u"string");
  EXPECT_EQ(std::get<Text>(dom_.GetNodeTypedValue(element.get())), u"AAEC");
  dom_.PutText(element.get(), u"AAECAwQF");
  EXPECT_EQ(dom_.GetText(element.get()), u"AAECAwQF");
  dom_.PutDataType(element.get(), u"bin.base64");
  EXPECT_EQ(std::get<Bytes>(dom_.GetNodeTypedValue(element.get())), (Bytes{0, 1, 2, 3, 4, 5}));
  dom_.PutText(element.get(), u"no Base64");
  EXPECT_EQ(dom_.GetText(element.get()), u"no Base64");
}

// The attributes of a data type are made when they are looked at: before whatever comes after them.
TEST_F(PortableDom, DataType_AttributesAroundIt_KeepTheirOrder) {
  const XmlDocument document = NewDocument();
  const XmlDocument other = NewDocument();
  const XmlNode element = Element(document, u"e");
  const auto add = [&](TextView name) {
    const XmlReference map = Own(dom_.Attributes(element.get()));
    const XmlNode attribute = Own(dom_.CreateAttribute(document.get(), name));
    Own(dom_.SetNamedItem(map.get(), attribute.get()));
  };
  const XmlReference map = Own(dom_.Attributes(element.get()));
  add(u"a");
  dom_.PutDataType(element.get(), u"uuid");
  EXPECT_EQ(dom_.GetText(Own(dom_.GetNamedItem(map.get(), u"dt:dt")).get()), u"uuid");
  dom_.PutDataType(element.get(), u"INT");
  add(u"b");
  dom_.PutDataType(element.get(), u"bin.base64");
  const XmlNode root = Element(other, u"r");
  Append(root, element);
  EXPECT_EQ(Xml(root),
            "<r><e a=\"\" xmlns:dt=\"urn:schemas-microsoft-com:datatypes\" dt:dt=\"bin.base64\" b=\"\"/></r>");
  dom_.PutNodeTypedValue(element.get(), Bytes{0});
  EXPECT_EQ(dom_.GetText(element.get()), u"AA==");
}

TEST_F(PortableDom, DataType_ItsAttributeHeld_ShowsTheNewTypeAtOnceAndCanBeOverwritten) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_.PutDataType(element.get(), u"uuid");
  const XmlReference map = Own(dom_.Attributes(element.get()));
  const XmlNode type = Own(dom_.GetNamedItem(map.get(), u"dt:dt"));
  dom_.PutDataType(element.get(), u"string");
  EXPECT_EQ(dom_.GetText(type.get()), u"string");
  dom_.PutText(type.get(), u"bin.base64");
  dom_.PutText(element.get(), u"QQA=");
  EXPECT_EQ(dom_.GetNodeTypedValue(element.get()), Variant(Bytes{0x41, 0x00}));
  EXPECT_TRUE(Xml(element).ends_with(" dt:dt=\"bin.base64\">QQA=</e>")) << Xml(element);
}

TEST_F(PortableDom, TypedValue_BytesWithoutDataType_AreTheTextsByteView) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  constexpr std::uint8_t kBytes[] = {0x41, 0x00, 0xAC, 0x20, 0x42};
  dom_.PutNodeTypedValue(element.get(), kBytes);
  EXPECT_EQ(dom_.GetText(element.get()), u"A€");
}

// The index that takes over when attributes grow many finds the same as a look at each.
TEST_F(PortableDom, ManyAttributes_SetInAnyOrder_AreTheSameAsInAMap) {
  std::mt19937 random(5);
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  const XmlReference map = Own(dom_.Attributes(element.get()));
  std::map<std::string, std::string> model;
  for (int i = 0; i < 5000; ++i) {
    const std::string name = Numbered("n", random() % 700);
    const std::string value = std::to_string(i);
    XmlNode attribute = Own(dom_.GetNamedItem(map.get(), FromUtf8(name)));
    ASSERT_EQ(static_cast<bool>(attribute), model.contains(name));
    if (attribute) {
      ASSERT_EQ(ToUtf8(dom_.GetText(attribute.get())), model[name]);
    }
    if (!attribute || random() % 2 == 0) {
      attribute = Own(dom_.CreateAttribute(document.get(), FromUtf8(name)));
      Own(dom_.SetNamedItem(map.get(), attribute.get()));
    }
    dom_.PutText(attribute.get(), FromUtf8(value));
    model[name] = value;
  }
  const XmlDocument reloaded = Loaded(dom_.GetXml(element.get()));
  const XmlReference reloadedMap = Own(dom_.Attributes(Select(reloaded, u"e").get()));
  for (const auto& [name, value] : model) {
    EXPECT_EQ(ToUtf8(dom_.GetText(Own(dom_.GetNamedItem(reloadedMap.get(), FromUtf8(name))).get())), value);
  }
}

TEST_F(PortableDom, MovedElementWithManyAttributes_IsStillSearchedByName) {
  XmlDocument from = NewDocument();
  const XmlNode element = Element(from, u"e");
  const XmlReference map = Own(dom_.Attributes(element.get()));
  for (std::size_t i = 0; i < 100; ++i) {
    Own(dom_.SetNamedItem(map.get(), Own(dom_.CreateAttribute(from.get(), FromUtf8(Numbered("n", i)))).get()));
  }
  const XmlDocument to = NewDocument();
  Append(to, element);
  from = XmlDocument();
  const XmlNode again = Own(dom_.CreateAttribute(to.get(), u"n50"));
  Own(dom_.SetNamedItem(map.get(), again.get()));
  dom_.PutText(again.get(), u"nuovo");
  const std::string xml = Xml(to);
  EXPECT_EQ(xml.find("n50"), xml.rfind("n50"));
  EXPECT_NE(xml.find("n99=\"\" n50=\"nuovo\"/>"), std::string::npos);
}

// Elements wander between documents while these and other handles come and go; the sanitizer watches.
TEST_F(PortableDom, ElementsMovedBetweenManyDocuments_StayAliveAsLongAsAnyHandle) {
  std::mt19937 random(11);
  std::vector<XmlDocument> documents;
  std::vector<XmlNode> held;
  for (int i = 0; i < 12; ++i) documents.push_back(Loaded(u"<r><a><b x='1'>testo</b></a></r>"));
  for (int i = 0; i < 3000; ++i) {
    XmlDocument& from = documents[random() % documents.size()];
    XmlDocument& to = documents[random() % documents.size()];
    const XmlNode moved = Select(from, random() % 2 == 0 ? u"r/a/b" : u"r/a");
    if (moved && !ErrorOf([&] { Append(Select(to, random() % 2 == 0 ? u"r" : u"r/a"), moved); }).has_value()) {
      held.push_back(moved);
    }
    if (random() % 50 == 0) from = Loaded(u"<r><a><b x='1'>testo</b></a></r>");
    if (held.size() > 20) held.erase(held.begin() + static_cast<std::ptrdiff_t>(random() % held.size()));
  }
  documents.clear();
  for (const XmlNode& node : held) EXPECT_NE(Xml(node).find('<'), std::string::npos);
}

TEST_F(PortableDom, LoadXml_OverANodeThatIsHeld_LeavesItDetached) {
  const XmlDocument document = Loaded(u"<a><b/></a>");
  const XmlNode old = Select(document, u"a");
  EXPECT_FALSE(dom_.LoadXml(document.get(), u"<"));
  EXPECT_TRUE(dom_.LoadXml(document.get(), u"<c/>"));
  Append(Select(document, u"c"), old);
  EXPECT_EQ(Xml(document), "<c><a><b/></a></c>\r\n");
}

TEST_F(PortableDom, LoadXml_OverAnElementOfAnotherDocument_ReplacesIt) {
  const XmlDocument other = NewDocument();
  for (const TextView xml : {u"<b></b>", u"<b n='1'/>", u"<b>"}) {
    const XmlDocument document = NewDocument();  // nothing but the element that comes to it
    const XmlNode moved = Element(other, u"a");
    Append(document, moved);
    const bool loaded = dom_.LoadXml(document.get(), xml);
    EXPECT_EQ(Select(document, u"a").get(), nullptr) << ToUtf8(xml);
    EXPECT_EQ(Xml(document).starts_with("<b"), loaded) << Xml(document);
    EXPECT_EQ(Xml(moved), "<a/>");
  }
}

TEST_F(PortableDom, LoadXml_AgainAndAgain_WithAndWithoutOtherHandles_LoadsTheSame) {
  const XmlDocument document = NewDocument();
  XmlNode held;
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(dom_.LoadXml(document.get(), u"<a x='1'><b>testo</b></a>"));
    EXPECT_EQ(Xml(document), "<a x=\"1\"><b>testo</b></a>\r\n");
    if (held) {
      EXPECT_EQ(Xml(held), "<b>testo</b>");
    }
    held = i % 3 == 0 ? Select(document, u"a/b") : i % 3 == 1 ? held : XmlNode();
    EXPECT_FALSE(dom_.LoadXml(document.get(), u"<a><b></a>"));
  }
}

TEST_F(PortableDom, PutText_ShorterAndLongerInTurn_KeepsOnlyTheLast) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  for (const TextView text : {u"uno", u"dodici", u"no", u"", u"ventiquattro", u"x"}) {
    dom_.PutText(element.get(), text);
    EXPECT_EQ(dom_.GetText(element.get()), text);
  }
}

TEST_F(PortableDom, SelectSingleNode_Paths_GoBackWhereABranchEnds) {
  const XmlDocument document = Loaded(u"<r><a><x/></a><a/><a><b n='1'/></a><c><b n='2'/></c></r>");
  EXPECT_EQ(Xml(Select(document, u"r/a/b")), "<b n=\"1\"/>");
  EXPECT_EQ(Xml(Select(document, u"/r/c/b")), "<b n=\"2\"/>");
  EXPECT_EQ(Xml(Select(Select(document, u"r/c"), u"b")), "<b n=\"2\"/>");
  EXPECT_EQ(Xml(Select(Select(document, u"r/c"), u"/r/a/b")), "<b n=\"1\"/>");
  EXPECT_FALSE(Select(document, u"r/a/b/x"));
  EXPECT_FALSE(Select(document, u"b"));
  for (const TextView query : {u"/", u"a/", u"a//b", u"//a", u"*", u".", u"a/text()", u"@n", u"p:a", u"a b", u"1"}) {
    EXPECT_EQ(ErrorOf([&] { dom_.SelectSingleNode(document.get(), query); }).value().number(), kErrDomFailure)
        << ToUtf8(query);
  }
}

TEST_F(PortableDom, GetXml_OfAnAttribute_IsItsNameAndValue) {
  const XmlDocument document = Loaded(u"<r a='&lt;1'/>");
  const XmlReference map = Own(dom_.Attributes(Select(document, u"r").get()));
  EXPECT_EQ(Xml(Own(dom_.GetNamedItem(map.get(), u"a"))), "a=\"&lt;1\"");
}

TEST_F(PortableDom, GetXml_NoncharactersInTexts_AreReplaced) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_.PutText(element.get(),
               u"a\uFFFEb\uFFFFc\xD83D\xDE00"
               u"d\xDE00\xD83D");
  EXPECT_EQ(Xml(element), "<e>a\uFFFDb\uFFFDc😀d\uFFFD\uFFFD</e>");
}

// Every unit at the beginning, within and at the end of a text and of an attribute's value.
TEST_F(PortableDom, GetXml_EveryUnit_IsWrittenAsItIsOrAsWhatStandsForIt) {
  const std::map<char16_t, Text> escapedInBoth = {
      {u'&', u"&amp;"}, {u'<', u"&lt;"}, {u'>', u"&gt;"}, {u'\r', u"&#13;"}};
  const std::map<char16_t, Text> escapedInAttributes = {{u'"', u"&quot;"}, {u'\t', u"&#9;"}, {u'\n', u"&#10;"}};
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  const XmlNode attribute = Own(dom_.CreateAttribute(document.get(), u"a"));
  Own(dom_.SetNamedItem(Own(dom_.Attributes(element.get())).get(), attribute.get()));
  for (std::uint32_t code = 1; code <= 0xFFFF; ++code) {
    const auto unit = static_cast<char16_t>(code);
    Text inText(1, unit);
    if (escapedInBoth.count(unit) != 0) inText = escapedInBoth.at(unit);
    if (code < 0x20 && inText == Text(1, unit) && unit != u'\t') inText = unit == u'\n' ? u"\r\n" : u"";
    if ((code >= 0xD800 && code < 0xE000) || code >= 0xFFFE) inText = u"\uFFFD";
    const Text inAttribute = escapedInAttributes.count(unit) != 0 ? escapedInAttributes.at(unit) : inText;
    const Text content = unit + Text(u"x") + unit + u"y" + unit;
    dom_.PutText(element.get(), content);
    dom_.PutText(attribute.get(), content);
    const auto written = [](const Text& piece) { return piece + u"x" + piece + u"y" + piece; };
    ASSERT_EQ(dom_.GetXml(element.get()), u"<e a=\"" + written(inAttribute) + u"\">" + written(inText) + u"</e>")
        << code;
  }
}

TEST(PortableXmlDom, LoadXml_TellsFromTimeToTimeHowFarItHasCome) {
  std::vector<std::pair<std::size_t, std::size_t>> told;
  const PortableXmlDom::Reached reached = [&](std::size_t done, std::size_t all) { told.emplace_back(done, all); };
  PortableXmlDom dom(&reached);
  const XmlDocument document(dom, dom.CreateDocument());
  ASSERT_TRUE(dom.LoadXml(document.get(), u"<a><b/></a>"));
  EXPECT_TRUE(told.empty());

  Text text = u"<a>";
  while (text.size() < 1'000'000) text += u"<b>testo</b>";
  text += u"</a>";
  ASSERT_TRUE(dom.LoadXml(document.get(), text));
  ASSERT_EQ(told.size(), 3u);
  for (std::size_t i = 0; i < told.size(); ++i) {
    EXPECT_EQ(told[i].second, text.size());
    EXPECT_GE(told[i].first, (i + 1) << 18);
    EXPECT_LT(told[i].first, ((i + 1) << 18) + 100);
  }
}

}  // namespace
}  // namespace nerio::platform
