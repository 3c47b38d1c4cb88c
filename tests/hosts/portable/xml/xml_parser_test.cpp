#include "nerio/hosts/portable/xml/xml_parser.h"

#include <gtest/gtest.h>

#include <string>

#include "nerio/hosts/portable/xml/xml_dom.h"
#include "nerio/hosts/portable/xml/xml_writer.h"
#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

// Loads a text and writes it again; an empty text when it is refused.
std::string Reload(TextView xml) {
  PortableXmlDom dom;
  const XmlDocument document(dom, dom.CreateDocument());
  if (!dom.LoadXml(document.get(), xml)) return "";
  return ToUtf8(dom.GetXml(document.get()));
}

// "line:column reason" of a text that is refused.
std::string Refusal(TextView xml) {
  PortableXmlDom dom;
  const XmlDocument document(dom, dom.CreateDocument());
  EXPECT_FALSE(dom.LoadXml(document.get(), xml)) << ToUtf8(xml);
  const XmlLoadError error = dom.LoadError(document.get());
  return std::to_string(error.line) + ":" + std::to_string(error.column) + " " + ToUtf8(error.reason);
}

// A document of one empty element and nothing else is read in a way of its own; the blank in the end tag prevents it.
TEST(XmlParser, OneEmptyElement_IsReadAsAnyOther) {
  for (const Text name :
       {u"a", u"DOC", u"x-1.y_", u"\u00E8\u4E00", u"1", u"-", u"a:b", u":", u"a b", u"a<", u"a\u00D7", u""}) {
    const Text tags = u"<" + name + u"></" + name;
    EXPECT_EQ(Reload(tags + u">"), Reload(tags + u" >")) << ToUtf8(name);
  }
  EXPECT_EQ(Reload(u"<DOC></DOC>"), "<DOC/>\r\n");
  for (const TextView wrong :
       {u"<a></b>", u"<a></a", u"<a></a>x", u"<a><a>", u"<a></aa>", u"<aa></a>", u"<a></>", u"<"}) {
    EXPECT_EQ(Reload(wrong), "") << ToUtf8(wrong);
  }
  PortableXmlDom dom;
  const XmlDocument document(dom, dom.CreateDocument());
  EXPECT_TRUE(dom.LoadXml(document.get(), u"<a></a>"));
  EXPECT_TRUE(dom.LoadXml(document.get(), u"<b></b>"));
  EXPECT_EQ(dom.GetXml(document.get()), u"<b/>\r\n");
}

TEST(XmlParser, Refusal_SaysWhereAndWhy) {
  constexpr struct {
    TextView xml;
    const char* refusal;
  } kCases[] = {
      {u"", "1:1 there is no document element"},
      {u"<!DOCTYPE a><a/>", "1:1 a document type declaration (<!DOCTYPE) is not accepted"},
      {u"<?xml version='1.0'?>\n<!-- c -->\r\n  <!DOCTYPE a SYSTEM 'http://x/y.dtd'><a/>",
       "3:3 a document type declaration (<!DOCTYPE) is not accepted"},
      {u"<a>\n<b>\r\n</c></a>", "3:3 the end tag of \"b\" is needed here"},
      {u"<a>\r<b>", "2:4 the document ends within the element \"b\""},
      {u"<a/>\n\n<b/>", "3:1 a second document element"},
      {u"<a/>testo", "1:5 text stands outside of the document element"},
      {u"testo<a/>", "1:1 text stands outside of the document element"},
      {u"&#32;<a/>", "1:1 text stands outside of the document element"},
      {u"<![CDATA[x]]><a/>", "1:10 text stands outside of the document element"},
      {u"<a b='1' c='2' b='3'/>", "1:16 a second attribute \"b\""},
      {u"<a b='1'c='2'/>", "1:9 a blank or the end of the tag is needed here"},
      {u"<a b/>", "1:5 something else stands where \"=\" is needed, after a name"},
      {u"<a b=1/>", "1:6 a quoted value is needed after \"=\""},
      {u"<a b='1/>", "1:7 the quoted value has no end: \"'\" is missing"},
      {u"<a b='<'/>", "1:7 \"<\" cannot stand in the value of an attribute"},
      {u"<a", "1:3 a blank or the end of the tag is needed here"},
      {u"<a / >", "1:4 something else stands where \">\" is needed, at the end of a start tag"},
      {u"<1/>", "1:2 a name is needed here"},
      {u"< a/>", "1:2 a name is needed here"},
      {u"</a>", "1:1 an end tag stands where no element is open"},
      {u"<a></a b>", "1:8 something else stands where \">\" is needed, at the end of an end tag"},
      {u"<a>]]></a>", "1:4 \"]]>\" cannot stand in a text"},
      {u"<a>&x;</a>", "1:4 the entity \"x\" is not declared"},
      {u"<a>& b</a>", "1:4 \"&\" begins a reference that has no end"},
      {u"<a>&1;</a>", "1:4 \"&\" begins something that is not a reference"},
      {u"<a>&#0;</a>", "1:4 a reference to a character that XML does not have"},
      {u"<a>&#xD800;</a>", "1:4 a reference to a character that XML does not have"},
      {u"<a>&#x110000;</a>", "1:4 a reference to a character that XML does not have"},
      {u"<a>&#99999999999999999999;</a>", "1:4 a reference to a character that XML does not have"},
      {u"<a>&#;</a>", "1:4 a reference to a character that XML does not have"},
      {u"<a>&#xG;</a>", "1:4 a reference to a character has digits between \"&#\" or \"&#x\" and \";\""},
      {u"<a>&#A;</a>", "1:4 a reference to a character has digits between \"&#\" or \"&#x\" and \";\""},
      {u"<a>\u0001</a>", "1:4 a character that XML does not have"},
      {u"<a>\xD800</a>", "1:4 a character that XML does not have"},
      {u"<a>\xDC00\xD800</a>", "1:4 a character that XML does not have"},
      {u"<a b='\uFFFE'/>", "1:7 a character that XML does not have"},
      {u"<a><!-- \u0001 --></a>", "1:9 a character that XML does not have"},
      {u"<a><!-- -- --></a>", "1:9 \"--\" cannot stand within a comment"},
      {u"<a><!-- --->", "1:9 \"--\" cannot stand within a comment"},
      {u"<a><!-- ", "1:8 the comment has no end: \"--\" is missing"},
      {u"<a><![CDATA[ ]]", "1:13 the CDATA section has no end: \"]]>\" is missing"},
      {u"<a><?p ", "1:8 the instruction has no end: \"?>\" is missing"},
      {u"<?p:q?><a/>", "1:3 the target of an instruction has no colon"},
      {u"<a/><?XmL ?>",
       "1:7 an instruction cannot be called \"xml\", and an XML declaration stands only at the very beginning"},
      {u" <?xml version='1.0'?><a/>",
       "1:4 an instruction cannot be called \"xml\", and an XML declaration stands only at the very beginning"},
      {u"<?xml version='1.1'?><a/>", "1:15 the version has to be \"1.0\""},
      {u"<?xml encoding='UTF-8'?><a/>", "1:7 the XML declaration has to begin with \"version\""},
      {u"<?xml version='1.0' encoding='-'?><a/>", "1:30 this cannot be the name of an encoding"},
      {u"<?xml version='1.0' standalone='YES'?><a/>", "1:32 \"standalone\" has to be \"yes\" or \"no\""},
      {u"<p:a/>", "1:1 the prefix \"p\" is not declared"},
      {u"<a p:b='1'/>", "1:1 the prefix \"p\" is not declared"},
      {u"<a xmlns:p='u'/><!-- p:b -->\n<p:b/>", "2:1 a second document element"},
      {u"<r><a xmlns:p='u'/><p:b/></r>", "1:20 the prefix \"p\" is not declared"},
      {u"<a xmlns:p='u' xmlns:q='u' p:b='1' q:b='2'/>", "1:1 two attributes \"b\" of the same namespace"},
      {u"<a xmlns:p=''/>", "1:1 the prefix \"p\" is declared with an empty namespace"},
      {u"<a:b:c/>", "1:2 \"a:b:c\" is not a name with a prefix"},
      {u"<a:/>", "1:2 \"a:\" is not a name with a prefix"},
      {u"<a:1 xmlns:a='u'/>", "1:2 \"a:1\" is not a name with a prefix"},
      {u"<a xmlns:xmlns='u'/>", "1:1 the prefix \"xmlns\" cannot be declared"},
      {u"<xmlns:a/>", "1:1 the prefix \"xmlns\" is not declared"},
      {u"<a xmlns:xml='u'/>", "1:1 the prefix \"xml\" and its namespace belong together, and to nothing else"},
      {u"<a xmlns:p='http://www.w3.org/XML/1998/namespace'/>",
       "1:1 the prefix \"xml\" and its namespace belong together, and to nothing else"},
      {u"<a xmlns='http://www.w3.org/2000/xmlns/'/>",
       "1:1 the default namespace cannot be that of \"xml\" or \"xmlns\""},
      {u"<a xmlns:p='http://www.w3.org/2000/xmlns/'/>", "1:1 the namespace of \"xmlns\" cannot be declared"},
  };
  for (const auto& [xml, refusal] : kCases) EXPECT_EQ(Refusal(xml), refusal) << ToUtf8(xml);
}

TEST(XmlParser, Refusal_NulIsNoCharacter) {
  // A text ends at its first NUL.
  EXPECT_EQ(Refusal(TextView(u"<a>\0</a>", 8)), "1:4 the document ends within the element \"a\"");
}

TEST(XmlParser, Refusal_LongNames_AreQuotedInPart) {
  EXPECT_EQ(Refusal(u"<a>&" + Text(1000, u'x') + u";</a>"),
            "1:4 the entity \"" + std::string(80, 'x') + "...\" is not declared");
}

TEST(XmlParser, LineEnds_OfEachKind_BecomeLf) {
  EXPECT_EQ(Reload(u"<a>x\ry\r\nz\nw\r\r\n</a>"), "<a>x\r\ny\r\nz\r\nw\r\n\r\n</a>\r\n");
  EXPECT_EQ(Reload(u"<a><![CDATA[x\ry\r\n]]><!--\r--><?p x\r?></a>"),
            "<a><![CDATA[x\r\ny\r\n]]><!--\r\n--><?p x\r\n?></a>\r\n");
}

TEST(XmlParser, BlanksInAttributes_BecomeSpacesUnlessReferredTo) {
  EXPECT_EQ(Reload(u"<a b='x\ty\nz\r\nw\rv&#9;&#10;&#13;&#32;'/>"), "<a b=\"x y z w v&#9;&#10;&#13; \"/>\r\n");
}

TEST(XmlParser, References_AreResolved) {
  EXPECT_EQ(Reload(u"<a b='&quot;&apos;'>&amp;&lt;&gt;&#233;&#xe9;&#xE9;&#x1F600;&#x10FFFF;&#000000065;</a>"),
            "<a b=\"&quot;'\">&amp;&lt;&gt;ééé😀\U0010FFFFA</a>\r\n");
  EXPECT_EQ(Reload(u"<a>&amp;lt;</a>"), "<a>&amp;lt;</a>\r\n");
}

TEST(XmlParser, Declaration_IsKeptWithoutItsEncoding) {
  EXPECT_EQ(Reload(u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone='no' ?><a/>"),
            "<?xml version=\"1.0\" standalone=\"no\"?>\r\n<a/>\r\n");
  EXPECT_EQ(Reload(u"\uFEFF<?xml version = '1.0'?>\n<a/>"), "<?xml version=\"1.0\"?>\r\n<a/>\r\n");
}

TEST(XmlParser, EveryKindOfNode_ComesBack) {
  const TextView xml =
      u"<?p uno?>\r\n<!-- due -->\r\n<a x=\"1\" y=\"\">tre<![CDATA[<4>]]><!----><?q?><b/>cinque</a>\r\n<!-- sei "
      u"-->\r\n";
  EXPECT_EQ(Reload(xml), ToUtf8(xml));
}

TEST(XmlParser, TextsOfBlanks_AreKeptWhereXmlSpaceSaysSo) {
  EXPECT_EQ(Reload(u"<a> <b xml:space='preserve'> <c> </c><d xml:space='default'> </d> </b> </a>"),
            "<a><b xml:space=\"preserve\"> <c> </c><d xml:space=\"default\"/> </b></a>\r\n");
  EXPECT_EQ(Reload(u"<a xml:space='preserve'/>"), "<a xml:space=\"preserve\"/>\r\n");
  EXPECT_EQ(Reload(u"<r><a xml:space='preserve'/> </r>"), "<r><a xml:space=\"preserve\"/></r>\r\n");
  EXPECT_EQ(Reload(u"<a>&#32;&#10;</a>"), "<a/>\r\n");
}

TEST(XmlParser, Prefixes_MayBeDeclaredAnewBelowAndHoldInTheirElementOnly) {
  EXPECT_NE(Reload(u"<p:a xmlns:p='u'><p:b xmlns:p='v' p:x='1'/><p:c p:x='1'/></p:a>"), "");
  // The same name twice, in two namespaces.
  EXPECT_NE(Reload(u"<a xmlns:p='u' xmlns:q='v' p:b='1' q:b='2' b='3'/>"), "");
  // What the inner declaration makes equal is different again after it.
  EXPECT_NE(Reload(u"<a xmlns:p='u' xmlns:q='v'><b xmlns:q='u' q:x='1'/><c p:x='1' q:x='2'/></a>"), "");
  EXPECT_EQ(Reload(u"<a xmlns:p='u' xmlns:q='v'><b xmlns:q='u' q:x='1' p:x='2'/></a>"), "");
  EXPECT_NE(Reload(u"<a xmlns='u'><b xmlns=''/></a>"), "");
  EXPECT_NE(Reload(u"<a xml:lang='it' xmlns:xml='http://www.w3.org/XML/1998/namespace'/>"), "");
}

TEST(XmlParser, ManyAttributes_AreFoundTwiceByName) {
  Text xml = u"<a";
  for (int i = 0; i < 100; ++i) {
    const std::string number = std::to_string(i);
    xml += u" n" + Text(number.begin(), number.end()) + u"='x'";
  }
  EXPECT_NE(Reload(xml + u"/>"), "");
  EXPECT_EQ(Reload(xml + u" n50='x'/>"), "");
}

TEST(XmlParser, DeclaredEncoding_IsTheNameInTheDeclaration) {
  EXPECT_EQ(xml::DeclaredEncoding(u"<?xml version='1.0' encoding='x-1'?><a/>"), u"x-1");
  for (const TextView none :
       {u"", u"<a/>", u"<?xml version='1.0'?>", u"<?xml version='1.0' encoding='è'?>", u"<?xml"}) {
    EXPECT_EQ(xml::DeclaredEncoding(none), u"");
  }
}

}  // namespace
}  // namespace nerio::platform
