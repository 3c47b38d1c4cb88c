#include "tests/platform/conformance/xml_dom_conformance.h"

#include <cstdint>
#include <functional>
#include <variant>
#include <vector>

#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/types/utf8.h"
#include "tests/testing/raised_error.h"

namespace nerio::testing {

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(XmlDomConformance);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(XmlDomRefusals);

using platform::kErrDomFailure;
using platform::XmlDocument;
using platform::XmlLoadError;
using platform::XmlNode;
using platform::XmlObject;
using platform::XmlReference;

namespace {

constexpr TextView kValidNames[] = {u"a",   u"A",      u"abc", u"a1",      u"_",           u"_a", u"a-b",
                                    u"a.b", u"xmlfoo", u"è",   u"città",   u"Ω",           u"Ж",  u"日本",
                                    u"〇",  u"a·",     u"a٣",  u"e\u0301", u"nome:cognome"};
constexpr TextView kInvalidNames[] = {
    u"",        u"1",   u"1a", u"-a",     u".a",      u" ", u" a",    u"a ",      u"a b",     u"a\tb",    u"a\nb", u"<",
    u"a>",      u"a&b", u"a=", u"\"",     u"a'",      u"/", u"#text", u"@a",      u"a[1]",    u"÷",       u"a×",   u"€",
    u"\u0301a", u"·",   u"٣",  u"\u00A0", u"a\u2003", u"😀", u"a😀",    u"\uFEFFa", u"a\u0001", u"a\uFFFE", u"ª"};

}  // namespace

XmlDocument XmlDomConformance::Loaded(TextView xml) {
  XmlDocument document = NewDocument();
  EXPECT_TRUE(dom_->LoadXml(document.get(), xml)) << ToUtf8(xml);
  return document;
}

XmlNode XmlDomConformance::Attribute(const XmlNode& element, TextView name) {
  const XmlReference map = Own(dom_->Attributes(element.get()));
  return Own(dom_->GetNamedItem(map.get(), name));
}

void XmlDomConformance::SetAttribute(const XmlDocument& document, const XmlNode& element, TextView name,
                                     TextView value) {
  const XmlNode attribute = Own(dom_->CreateAttribute(document.get(), name));
  dom_->PutText(attribute.get(), value);
  const XmlReference map = Own(dom_->Attributes(element.get()));
  Own(dom_->SetNamedItem(map.get(), attribute.get()));
}

std::string XmlDomConformance::Xml(const XmlReference& node) {
  std::string xml = ToUtf8(dom_->GetXml(node.get()));
  if (xml.ends_with("\r\n")) xml.resize(xml.size() - 2);
  return xml;
}

std::string XmlDomConformance::OneLine(const XmlReference& node) {
  std::string xml = Xml(node);
  if (!traits_.writesOneLine) std::erase_if(xml, [](char c) { return c == '\r' || c == '\n' || c == '\t'; });
  return xml;
}

TEST_P(XmlDomConformance, NewDocument_EitherWay_IsEmpty) {
  for (XmlObject* const made : {dom_->CreateDocument(), dom_->CreateDocumentByName()}) {
    const XmlDocument document = Own(made);
    ASSERT_TRUE(document);
    EXPECT_EQ(Xml(document), "");
    EXPECT_FALSE(Select(document, u"a"));
    EXPECT_EQ(dom_->LoadError(document.get()), XmlLoadError());
  }
}

TEST_P(XmlDomConformance, NullHandle_EveryCall_Raises91) {
  const XmlDocument document = Loaded(u"<a/>");
  const XmlNode element = Select(document, u"a");
  const XmlReference map = Own(dom_->Attributes(element.get()));
  const std::vector<std::function<void()>> calls = {[&] { dom_->CreateElement(nullptr, u"a"); },
                                                    [&] { dom_->CreateAttribute(nullptr, u"a"); },
                                                    [&] { dom_->Attributes(nullptr); },
                                                    [&] { dom_->GetNamedItem(nullptr, u"a"); },
                                                    [&] { dom_->SetNamedItem(nullptr, element.get()); },
                                                    [&] { dom_->SetNamedItem(map.get(), nullptr); },
                                                    [&] { dom_->AppendChild(nullptr, element.get()); },
                                                    [&] { dom_->AppendChild(element.get(), nullptr); },
                                                    [&] { dom_->PutText(nullptr, u"a"); },
                                                    [&] { dom_->GetText(nullptr); },
                                                    [&] { dom_->PutDataType(nullptr, u"bin.base64"); },
                                                    [&] { dom_->PutNodeTypedValue(nullptr, {}); },
                                                    [&] { dom_->GetNodeTypedValue(nullptr); },
                                                    [&] { dom_->LoadXml(nullptr, u"<a/>"); },
                                                    [&] { dom_->LoadError(nullptr); },
                                                    [&] { dom_->SelectSingleNode(nullptr, u"a"); },
                                                    [&] { dom_->GetXml(nullptr); }};
  for (std::size_t i = 0; i < calls.size(); ++i) {
    SCOPED_TRACE(i);
    ExpectError(ErrorOf(calls[i]), kErrObjectNotSet, u"",
                u"Variabile oggetto o variabile del blocco With non impostata");
  }
  EXPECT_EQ(Xml(document), "<a/>");
}

TEST_P(XmlDomConformance, Names_OfXml_AreTakenAndFound) {
  for (const TextView name : kValidNames) {
    SCOPED_TRACE(ToUtf8(name));
    const XmlDocument document = NewDocument();
    const XmlNode element = Element(document, name);
    Text expected = u"<";
    expected.append(name);
    EXPECT_EQ(dom_->GetXml(element.get()), Text(expected).append(u"/>"));
    EXPECT_FALSE(Attribute(element, name));
    SetAttribute(document, element, name, u"v");
    const XmlNode attribute = Attribute(element, name);
    ASSERT_TRUE(attribute);
    EXPECT_EQ(dom_->GetText(attribute.get()), u"v");
    EXPECT_EQ(dom_->GetXml(element.get()), expected.append(u" ").append(name).append(u"=\"v\"/>"));
  }
}

TEST_P(XmlDomConformance, Names_NotOfXml_AreRefused) {
  const XmlDocument document = NewDocument();
  for (const TextView name : kInvalidNames) {
    SCOPED_TRACE(ToUtf8(name));
    const auto element = ErrorOf([&] { dom_->CreateElement(document.get(), name); });
    ASSERT_TRUE(element.has_value());
    EXPECT_EQ(element->number(), kErrDomFailure);
    const auto attribute = ErrorOf([&] { dom_->CreateAttribute(document.get(), name); });
    ASSERT_TRUE(attribute.has_value());
    EXPECT_EQ(attribute->number(), kErrDomFailure);
  }
}

TEST_P(XmlDomConformance, Names_EndAtTheirFirstNul) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, TextView(u"a\0b", 3));
  EXPECT_EQ(Xml(element), "<a/>");
  SetAttribute(document, element, TextView(u"x\0 y", 4), u"v");
  EXPECT_TRUE(Attribute(element, u"x"));
  EXPECT_TRUE(Attribute(element, TextView(u"x\0z", 3)));
  const auto nul = ErrorOf([&] { dom_->CreateElement(document.get(), TextView(u"\0a", 2)); });
  ASSERT_TRUE(nul.has_value());
  EXPECT_EQ(nul->number(), kErrDomFailure);
}

TEST_P(XmlDomConformance, AttributeMap_OfDocumentAndAttribute_IsNull) {
  const XmlDocument document = Loaded(u"<a b='c'/>");
  EXPECT_FALSE(Own(dom_->Attributes(document.get())));
  EXPECT_FALSE(Own(dom_->Attributes(Attribute(Select(document, u"a"), u"b").get())));
}

TEST_P(XmlDomConformance, GetNamedItem_AnythingButTheExactName_IsNull) {
  const XmlDocument document = Loaded(u"<r xmlns:p='urn:p' a='1' A='2' p:b='3' xml:lang='it'/>");
  const XmlNode element = Select(document, u"r");
  EXPECT_EQ(dom_->GetText(Attribute(element, u"a").get()), u"1");
  EXPECT_EQ(dom_->GetText(Attribute(element, u"A").get()), u"2");
  EXPECT_EQ(dom_->GetText(Attribute(element, u"p:b").get()), u"3");
  EXPECT_EQ(dom_->GetText(Attribute(element, u"xml:lang").get()), u"it");
  for (const TextView missing : {u"b", u"P:b", u"lang", u"z", u"", u" a", u"a ", u"1", u"<", u":a", u"a:"}) {
    EXPECT_FALSE(Attribute(element, missing)) << ToUtf8(missing);
  }
}

TEST_P(XmlDomConformance, SetNamedItem_SameNameAgain_ReplacesAndMovesToTheEnd) {
  const XmlDocument document = Loaded(u"<r a='1' b='2' c='3'/>");
  const XmlNode element = Select(document, u"r");
  const XmlNode before = traits_.keepsWhatGaveWay ? Attribute(element, u"a") : XmlNode();
  SetAttribute(document, element, u"a", u"nuovo");
  EXPECT_EQ(Xml(element), "<r b=\"2\" c=\"3\" a=\"nuovo\"/>");
  if (before) {
    EXPECT_EQ(dom_->GetText(before.get()), u"1");
  }
}

TEST_P(XmlDomConformance, SetNamedItem_PrefixedName_IsFoundAgainAndReplaced) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"r");
  for (const TextView name : {u"p:b", u"xml:lang"}) {
    SetAttribute(document, element, name, u"1");
    ASSERT_TRUE(Attribute(element, name)) << ToUtf8(name);
    dom_->PutText(Attribute(element, name).get(), u"2");
  }
  EXPECT_EQ(Xml(element), "<r p:b=\"2\" xml:lang=\"2\"/>");
}

TEST_P(XmlDomConformance, SetNamedItem_AnElement_IsRefused) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"r");
  const XmlReference map = Own(dom_->Attributes(element.get()));
  const auto error = ErrorOf([&] { dom_->SetNamedItem(map.get(), Element(document, u"e").get()); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), kErrDomFailure);
}

TEST_P(XmlDomRefusals, SetNamedItem_AttributeOfAnotherElementOrDocument_IsRefused) {
  const XmlDocument document = Loaded(u"<r a='1'/>");
  const XmlNode owner = Select(document, u"r");
  const XmlNode other = Element(document, u"s");
  const XmlReference map = Own(dom_->Attributes(other.get()));
  const XmlDocument otherDocument = NewDocument();
  const XmlNode foreign = Own(dom_->CreateAttribute(otherDocument.get(), u"f"));
  for (const XmlNode& attribute : {Attribute(owner, u"a"), foreign}) {
    const auto error = ErrorOf([&] { dom_->SetNamedItem(map.get(), attribute.get()); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), kErrDomFailure);
  }
  EXPECT_EQ(Xml(owner), "<r a=\"1\"/>");
  EXPECT_EQ(Xml(other), "<s/>");
}

TEST_P(XmlDomConformance, AppendChild_ChildThere_MovesToTheEnd) {
  const XmlDocument document = Loaded(u"<r><a/><b/></r>");
  const XmlNode root = Select(document, u"r");
  Append(root, Select(root, u"a"));
  EXPECT_EQ(dom_->GetXml(Select(root, u"a").get()), u"<a/>");
  EXPECT_EQ(OneLine(document), "<r><b/><a/></r>");
  Append(Select(root, u"b"), Select(root, u"a"));
  EXPECT_FALSE(Select(document, u"r/a"));
  EXPECT_TRUE(Select(document, u"r/b/a"));
}

TEST_P(XmlDomConformance, AppendChild_ElementOfAnotherDocument_MovesAndOutlivesIt) {
  XmlDocument from = Loaded(u"<r><a x='1'>testo</a></r>");
  const XmlDocument to = Loaded(u"<s/>");
  {
    const XmlNode moved = Select(from, u"r/a");
    Append(Select(to, u"s"), moved);
  }
  EXPECT_FALSE(Select(from, u"r/a"));
  from = XmlDocument();
  const XmlNode moved = Select(to, u"s/a");
  ASSERT_TRUE(moved);
  SetAttribute(to, moved, u"x", u"2");
  SetAttribute(to, moved, u"y", u"3");
  EXPECT_EQ(Xml(moved), "<a x=\"2\" y=\"3\">testo</a>");
}

TEST_P(XmlDomConformance, AppendChild_AttributeToElementOrElementToAttribute_IsRefused) {
  const XmlDocument document = Loaded(u"<r a='1'/>");
  const XmlNode root = Select(document, u"r");
  const XmlNode attribute = Own(dom_->CreateAttribute(document.get(), u"b"));
  const XmlNode element = Element(document, u"e");
  for (const auto& [parent, child] : {std::pair{root, attribute}, std::pair{Attribute(root, u"a"), element}}) {
    const auto error = ErrorOf([&, &up = parent, &down = child] { dom_->AppendChild(up.get(), down.get()); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), kErrDomFailure);
  }
  EXPECT_EQ(Xml(document), "<r a=\"1\"/>");
}

TEST_P(XmlDomRefusals, AppendChild_SecondDocumentElementOrElementBelowItself_IsRefused) {
  const XmlDocument document = Loaded(u"<r><a><b/></a></r>");
  const XmlNode root = Select(document, u"r");
  const XmlNode outer = Select(root, u"a");
  const XmlNode inner = Select(outer, u"b");
  const XmlNode second = Element(document, u"s");
  for (const auto& [parent, child] : {std::pair<XmlReference, XmlReference>{document, second},
                                      {inner, outer},
                                      {inner, root},
                                      {outer, outer},
                                      {inner, inner},
                                      {inner, document}}) {
    const auto error = ErrorOf([&, &up = parent, &down = child] { dom_->AppendChild(up.get(), down.get()); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), kErrDomFailure);
  }
  Append(document, root);
  EXPECT_EQ(Xml(document), "<r><a><b/></a></r>");
}

TEST_P(XmlDomConformance, PutText_ElementWithChildren_ReplacesThemAndLeavesThemDetached) {
  const XmlDocument document = Loaded(u"<r>prima<a>x</a>dopo</r>");
  const XmlNode root = Select(document, u"r");
  const XmlNode child = traits_.keepsWhatGaveWay ? Select(root, u"a") : XmlNode();
  dom_->PutText(root.get(), u"nuovo");
  EXPECT_EQ(Xml(document), "<r>nuovo</r>");
  if (child) {
    EXPECT_EQ(Xml(child), "<a>x</a>");
    Append(root, child);
    EXPECT_EQ(Xml(document), "<r>nuovo<a>x</a></r>");
  }
  dom_->PutText(root.get(), u"");
  EXPECT_EQ(Xml(document), "<r/>");
}

TEST_P(XmlDomConformance, PutText_Document_IsRefused) {
  const XmlDocument document = Loaded(u"<r/>");
  const auto error = ErrorOf([&] { dom_->PutText(document.get(), u"testo"); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), kErrDomFailure);
}

TEST_P(XmlDomConformance, GetText_BlanksAtTheEnds_ArePartOfTheStoredTextOnly) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  SetAttribute(document, element, u"a", u"");
  const XmlNode attribute = Attribute(element, u"a");
  constexpr struct {
    TextView stored;
    TextView ofElement;
    TextView ofAttribute;
  } kTexts[] = {{u"", u"", u""},
                {u"a", u"a", u"a"},
                {u" a b ", u"a b", u" a b "},
                {u"\na\n", u"a", u"\na\n"},
                {u"a\t", u"a", u"a\t"},
                {u" ", u"", u""},
                {u" \r\n\t ", u"", u""},
                {u"\u00A0a\u00A0", u"\u00A0a\u00A0", u"\u00A0a\u00A0"}};
  for (const auto& [stored, ofElement, ofAttribute] : kTexts) {
    SCOPED_TRACE(ToUtf8(stored));
    dom_->PutText(element.get(), stored);
    EXPECT_EQ(dom_->GetText(element.get()), ofElement);
    dom_->PutText(attribute.get(), stored);
    EXPECT_EQ(dom_->GetText(attribute.get()), ofAttribute);
  }
  dom_->PutText(attribute.get(), u"");
  dom_->PutText(element.get(), u" a b ");
  EXPECT_EQ(Xml(element), "<e a=\"\"> a b </e>");
}

TEST_P(XmlDomConformance, GetText_ElementWithChildren_JoinsAllTextBelow) {
  const XmlDocument document = Loaded(u"<r>uno<a>due<b>tre</b></a><!-- no --><?no no?><![CDATA[<4>]]></r>");
  EXPECT_EQ(dom_->GetText(Select(document, u"r").get()), u"unoduetre<4>");
  EXPECT_EQ(dom_->GetText(document.get()), u"unoduetre<4>");
}

TEST_P(XmlDomConformance, Text_EndsAtItsFirstNul) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_->PutText(element.get(), TextView(u"a\0b", 3));
  EXPECT_EQ(dom_->GetText(element.get()), u"a");
  dom_->PutText(element.get(), TextView(u"\0b", 2));
  EXPECT_EQ(dom_->GetText(element.get()), u"");
  EXPECT_EQ(Xml(element), "<e/>");
}

TEST_P(XmlDomConformance, Text_AnyUnitButNul_IsReadBackUnchanged) {
  Text all = u"|";
  for (std::uint32_t number = 1; number <= 0xFFFF; ++number) {
    const auto unit = static_cast<char16_t>(number);
    if (traits_.keepsEveryUnit || platform::xml::IsCharacterUnit(unit)) all += unit;
  }
  all += u"|";
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_->PutText(element.get(), all);
  EXPECT_EQ(dom_->GetText(element.get()), all);
  SetAttribute(document, element, u"a", all);
  EXPECT_EQ(dom_->GetText(Attribute(element, u"a").get()), all);
}

TEST_P(XmlDomConformance, GetXml_MarkupInTexts_IsEscaped) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_->PutText(element.get(), u"<b>&amp;\"' ]]> è 日 😀 \t|\r|\n|");
  SetAttribute(document, element, u"a", u"<b>&amp;\"' è 日 😀 \t|\r|\n|");
  Append(document, element);
  EXPECT_EQ(Xml(document),
            "<e a=\"&lt;b&gt;&amp;amp;&quot;' è 日 😀 &#9;|&#13;|&#10;|\">"
            "&lt;b&gt;&amp;amp;\"' ]]&gt; è 日 😀 \t|&#13;|\r\n|</e>");
}

TEST_P(XmlDomConformance, GetXml_WhatXmlCannotHold_IsLeftOutOrReplaced) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"e");
  dom_->PutText(element.get(),
                u"a\u0001b\u001Fc\xD800"
                u"d\xDC00");
  EXPECT_EQ(Xml(element), "<e>abc\uFFFDd\uFFFD</e>");
  dom_->PutText(element.get(), u"\u0001\u0008");
  EXPECT_EQ(Xml(element), "<e/>");
}

TEST_P(XmlDomConformance, GetXml_Document_EndsInCrLfAndNodesDoNot) {
  const XmlDocument document = Loaded(u"<!-- c --><r/>");
  EXPECT_EQ(dom_->GetXml(document.get()), u"<!-- c -->\r\n<r/>\r\n");
  EXPECT_EQ(dom_->GetXml(Select(document, u"r").get()), u"<r/>");
}

TEST_P(XmlDomConformance, GetXml_BuiltTree_IsOneLine) {
  const XmlDocument document = NewDocument();
  const XmlNode root = Element(document, u"r");
  Append(document, root);
  Append(root, Element(document, u"a"));
  Append(Select(root, u"a"), Element(document, u"b"));
  EXPECT_EQ(dom_->GetXml(document.get()),
            traits_.writesOneLine ? u"<r><a><b/></a></r>\r\n" : u"<r>\r\n\t<a>\r\n\t\t<b/>\r\n\t</a>\r\n</r>\r\n");
}

TEST_P(XmlDomConformance, DataType_KnownNameInAnyCase_IsNotedInTheElement) {
  const XmlDocument document = NewDocument();
  for (const TextView name : {u"bin.base64", u"BIN.BASE64", u"Bin.Base64"}) {
    const XmlNode element = Element(document, u"TEMP");
    dom_->PutDataType(element.get(), name);
    dom_->PutDataType(element.get(), name);
    EXPECT_EQ(Xml(element), "<TEMP xmlns:dt=\"urn:schemas-microsoft-com:datatypes\" dt:dt=\"bin.base64\"/>");
  }
}

TEST_P(XmlDomConformance, DataType_UnknownName_IsRefused) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"TEMP");
  for (const TextView name : {u"xyz", u"", u" bin.base64", u"bin.base65"}) {
    const auto error = ErrorOf([&] { dom_->PutDataType(element.get(), name); });
    ASSERT_TRUE(error.has_value()) << ToUtf8(name);
    EXPECT_EQ(error->number(), kErrDomFailure);
  }
  EXPECT_EQ(Xml(element), "<TEMP/>");
}

TEST_P(XmlDomConformance, TypedValue_Bytes_AreBase64InTheText) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"TEMP");
  dom_->PutDataType(element.get(), u"bin.base64");
  constexpr std::uint8_t kBytes[] = {0x41, 0x00, 0xFF};
  dom_->PutNodeTypedValue(element.get(), std::span(kBytes).first(2));
  EXPECT_EQ(dom_->GetText(element.get()), u"QQA=");
  dom_->PutNodeTypedValue(element.get(), kBytes);
  EXPECT_EQ(dom_->GetText(element.get()), u"QQD/");
  EXPECT_EQ(std::get<Bytes>(dom_->GetNodeTypedValue(element.get())), (Bytes{0x41, 0x00, 0xFF}));
  dom_->PutNodeTypedValue(element.get(), {});
  EXPECT_EQ(dom_->GetText(element.get()), u"");
  EXPECT_EQ(std::get<Bytes>(dom_->GetNodeTypedValue(element.get())), Bytes());
}

TEST_P(XmlDomConformance, TypedValue_TextThatIsNotBase64_IsRefusedBeforeItsBytesAreHad) {
  const XmlDocument document = NewDocument();
  for (const TextView wrong : {u"not base64!", u"QQA", u"=", u"QQA=QQA=", u"QQ-A", u"QQ\u00A0A="}) {
    const XmlNode element = Element(document, u"DOC");
    dom_->PutDataType(element.get(), u"bin.base64");
    const auto error = ErrorOf([&] {
      dom_->PutText(element.get(), wrong);
      dom_->GetNodeTypedValue(element.get());
    });
    ASSERT_TRUE(error.has_value()) << ToUtf8(wrong);
    EXPECT_NE(error->number(), 0);
  }
}

TEST_P(XmlDomConformance, TypedValue_WithoutDataType_IsText) {
  const XmlDocument document = NewDocument();
  const XmlNode element = Element(document, u"TEMP");
  dom_->PutText(element.get(), u"testo");
  EXPECT_EQ(std::get<Text>(dom_->GetNodeTypedValue(element.get())), u"testo");
}

TEST_P(XmlDomConformance, LoadXml_WellFormed_ReplacesTheContent) {
  const XmlDocument document = Loaded(u"<vecchio/>");
  const XmlNode before = Select(document, u"vecchio");
  EXPECT_TRUE(dom_->LoadXml(document.get(), u"\uFEFF <nuovo a=\"&#233;&amp;\"><![CDATA[<x>]]></nuovo> "));
  EXPECT_EQ(Xml(document), "<nuovo a=\"é&amp;\"><![CDATA[<x>]]></nuovo>");
  EXPECT_FALSE(Select(document, u"vecchio"));
  EXPECT_EQ(Xml(before), "<vecchio/>");
}

TEST_P(XmlDomConformance, LoadXml_NotWellFormed_AnswersFalseEmptiesTheDocumentAndSaysWhy) {
  for (const TextView xml : {u"", u" ", u"x", u"<a", u"<a>", u"<a></b>", u"<a/><b/>", u"<a/>x", u"<a b='1' b='2'/>",
                             u"<a>]]></a>", u"<a>&x;</a>", u"<a>\u0001</a>", u"<a>\xD800</a>"}) {
    SCOPED_TRACE(ToUtf8(xml));
    const XmlDocument document = Loaded(u"<vecchio/>");
    EXPECT_EQ(dom_->LoadError(document.get()), XmlLoadError());
    EXPECT_FALSE(dom_->LoadXml(document.get(), xml));
    EXPECT_EQ(Xml(document), "");
    EXPECT_FALSE(dom_->LoadError(document.get()).reason.empty());
    EXPECT_TRUE(dom_->LoadXml(document.get(), u"<a/>"));
    EXPECT_EQ(dom_->LoadError(document.get()), XmlLoadError());
  }
}

// Two prefixes of one namespace are two names: the qualified name decides.
TEST_P(XmlDomConformance, GetNamedItem_OtherPrefixOfTheSameNamespace_IsAnotherAttribute) {
  const XmlDocument document = Loaded(u"<r xmlns:p='urn:u' xmlns:q='urn:u' p:b='1'/>");
  const XmlNode root = Select(document, u"r");
  EXPECT_FALSE(Attribute(root, u"q:b"));
  EXPECT_EQ(dom_->GetText(Attribute(root, u"p:b").get()), u"1");
}

TEST_P(XmlDomConformance, LoadXml_TextWithANul_IsReadUpToIt) {
  const XmlDocument document = Loaded(u"<vecchio/>");
  EXPECT_TRUE(dom_->LoadXml(document.get(), TextView(u"<a>x</a>\0<b>", 12)));
  EXPECT_EQ(Xml(document), "<a>x</a>");
  EXPECT_EQ(dom_->LoadError(document.get()), XmlLoadError());
  EXPECT_FALSE(dom_->LoadXml(document.get(), TextView(u"<a>\0</a>", 8)));
  EXPECT_FALSE(dom_->LoadXml(document.get(), TextView(u"\0<a/>", 5)));
  EXPECT_EQ(Xml(document), "");
}

TEST_P(XmlDomConformance, LoadXml_PrefixDeclaredNowhere_IsNotWellFormed) {
  for (const TextView xml : {u"<p:a/>", u"<a p:b='1'/>"}) {
    const XmlDocument document = NewDocument();
    EXPECT_EQ(dom_->LoadXml(document.get(), xml), !traits_.refusesUndeclaredPrefix) << ToUtf8(xml);
    EXPECT_EQ(dom_->LoadError(document.get()).reason.empty(), !traits_.refusesUndeclaredPrefix) << ToUtf8(xml);
  }
}

TEST_P(XmlDomConformance, LoadXml_TextsOfBlanksOnly_AreDropped) {
  const XmlDocument document = Loaded(u"<a>\n  <b/>\n  <c> t </c>\n</a>");
  EXPECT_EQ(dom_->GetText(document.get()), u"t");
  EXPECT_EQ(Xml(Select(document, u"a/c")), "<c> t </c>");
  EXPECT_EQ(OneLine(document), "<a><b/><c> t </c></a>");
}

TEST_P(XmlDomConformance, SelectSingleNode_Name_FindsTheFirstChildOfExactlyThatName) {
  const XmlDocument document = Loaded(u"<DOC><a n='1'/><a n='2'/></DOC>");
  EXPECT_EQ(Xml(Select(document, u"DOC/a")), "<a n=\"1\"/>");
  EXPECT_TRUE(Select(document, u"DOC"));
  EXPECT_TRUE(Select(document, u"/DOC"));
  EXPECT_FALSE(Select(document, u"doc"));
  EXPECT_FALSE(Select(document, u"X"));
  EXPECT_FALSE(Select(document, u"a"));
}

TEST_P(XmlDomConformance, SelectSingleNode_BadQuery_IsRefused) {
  const XmlDocument document = Loaded(u"<DOC/>");
  for (const TextView query : {u"", u"//", u"DOC[", u"@"}) {
    const auto error = ErrorOf([&] { dom_->SelectSingleNode(document.get(), query); });
    ASSERT_TRUE(error.has_value()) << ToUtf8(query);
    EXPECT_EQ(error->number(), kErrDomFailure);
  }
}

TEST_P(XmlDomConformance, Handles_OfAnyNode_KeepTheWholeDocument) {
  XmlNode element;
  XmlNode attribute;
  XmlReference map;
  {
    const XmlDocument document = Loaded(u"<r a='1'><b>testo</b></r>");
    element = Select(document, u"r/b");
    attribute = Attribute(Select(document, u"r"), u"a");
    map = Own(dom_->Attributes(Select(document, u"r").get()));
  }
  EXPECT_EQ(dom_->GetText(element.get()), u"testo");
  element = XmlNode();
  dom_->PutText(attribute.get(), u"2");
  attribute = XmlNode();
  const XmlReference copy = map;
  map = XmlReference();
  EXPECT_EQ(dom_->GetText(Own(dom_->GetNamedItem(copy.get(), u"a")).get()), u"2");
}

TEST_P(XmlDomConformance, TwoDocuments_AreIndependent) {
  const XmlDocument first = Loaded(u"<a>1</a>");
  const XmlDocument second = Loaded(u"<a>2</a>");
  dom_->PutText(Select(first, u"a").get(), u"3");
  EXPECT_EQ(Xml(first), "<a>3</a>");
  EXPECT_EQ(Xml(second), "<a>2</a>");
}

}  // namespace nerio::testing
