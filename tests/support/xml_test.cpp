#include "nerio/support/xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <new>
#include <string>

#include "nerio/hosts/portable/xml/xml_dom.h"
#include "nerio/types/utf8.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/raised_error.h"
#include "tests/testing/recording_xml_dom.h"

namespace nerio {
namespace {

using platform::XmlDocument;
using platform::XmlNode;
using ::testing::ElementsAre;
using testing::ErrorOf;
using testing::ExpectError;
using testing::FakeHost;
using testing::RecordingXmlDom;

constexpr TextView kNotSet = u"Variabile oggetto o variabile del blocco With non impostata";

class Xml : public ::testing::Test {
 protected:
  Xml() { Start(); }
  ~Xml() override {
    root_ = XmlNode();
    document_ = XmlDocument();
    EXPECT_EQ(dom_.OpenReferences(), 0u);
  }

  // Makes a fresh document, 1, with the root element, 2.
  void Start() {
    dom_.FailCall(0, 0);
    document_ = XmlDocument(dom_, dom_.CreateDocument());
    root_ = XmlNode(dom_, dom_.CreateElement(document_.get(), u"radice"));
    dom_.Release(dom_.AppendChild(document_.get(), root_.get()));
    dom_.calls.clear();
  }

  std::string Document() {
    const Text xml = portable_.GetXml(document_.get());
    return ToUtf8(xml.substr(0, xml.size() - 2));
  }

  platform::PortableXmlDom portable_;
  RecordingXmlDom dom_{portable_};
  FakeHost host_{.xml = &dom_};
  XmlDocument document_;
  XmlNode root_;
  static constexpr std::size_t kHeld = 2;  // references: the document and its root
};

TEST_F(Xml, CheckXMLParser_DomThere_CreatesARealDocumentByNameEachTime) {
  EXPECT_TRUE(CheckXMLParser(host_.View()));
  EXPECT_TRUE(CheckXMLParser(host_.View()));
  EXPECT_THAT(dom_.calls,
              ElementsAre("CreateDocumentByName() = 3", "Release(3)", "CreateDocumentByName() = 4", "Release(4)"));
}

TEST_F(Xml, CheckXMLParser_DomMissing_IsFalseEvenWhenDocumentsCanBeMadeOtherwise) {
  dom_.FailCall(1, Error(platform::kErrInvalidClassString, u"", u""));
  EXPECT_FALSE(CheckXMLParser(host_.View()));
  EXPECT_THAT(dom_.calls, ElementsAre("CreateDocumentByName()"));
  EXPECT_TRUE(XmlDocument(dom_, dom_.CreateDocument()));
}

TEST_F(Xml, CheckXMLParser_AnyOtherFailure_IsFalse) {
  dom_.FailCall(1, std::bad_alloc());
  EXPECT_FALSE(CheckXMLParser(host_.View()));
  dom_.FailCall(1, 1);
  EXPECT_FALSE(CheckXMLParser(host_.View()));
}

TEST_F(Xml, SetXMLAttribute_TwiceWithTheSameName_LeavesOneAttributeWithTheSecondValue) {
  SetXMLAttribute(document_, root_, u"nome", u"primo");
  SetXMLAttribute(document_, root_, u"nome", u"secondo");
  EXPECT_EQ(Document(), "<radice nome=\"secondo\"/>");
}

TEST_F(Xml, SetXMLAttribute_OtherPrefixOfTheSameNamespace_LeavesTheFirstAttributeAsItWas) {
  ASSERT_TRUE(portable_.LoadXml(document_.get(), u"<r xmlns:p='urn:u' xmlns:q='urn:u' p:b='1'/>"));
  const XmlNode root(dom_, dom_.SelectSingleNode(document_.get(), u"r"));
  SetXMLAttribute(document_, root, u"q:b", u"2");
  EXPECT_EQ(Document(), "<r xmlns:p=\"urn:u\" xmlns:q=\"urn:u\" p:b=\"1\" q:b=\"2\"/>");
}

// A DOM takes any handle for one of its own: another's would be read as what it is not.
TEST_F(Xml, ObjectsOfTwoDoms_AreRefusedAndStayAsTheyWere) {
  platform::XmlDom& other = platform::OwnXmlDom();
  const XmlDocument foreign(other, other.CreateDocument());
  const XmlNode stranger(other, other.CreateElement(foreign.get(), u"estraneo"));
  const TextView why = u"the document and the node belong to two DOMs";
  const auto refused = [&](const std::function<void()>& call) {
    ExpectError(ErrorOf(call), platform::kErrDomArgument, u"XmlDom", Text(why));
  };
  refused([&] { SetXMLAttribute(foreign, root_, u"nome", u"x"); });
  refused([&] { SetXMLAttribute(document_, stranger, u"nome", u"x"); });
  refused([&] { AddXMLElement(foreign, root_, u"nome", u"x"); });
  refused([&] { AddXMLElement(document_, stranger, u"nome", u"x"); });
  EXPECT_EQ(Document(), "<radice/>");
  EXPECT_EQ(other.GetXml(stranger.get()), u"<estraneo/>");
  // The document is not needed where the attribute is there.
  SetXMLAttribute(document_, root_, u"nome", u"x");
  SetXMLAttribute(foreign, root_, u"nome", u"y");
  EXPECT_EQ(Document(), "<radice nome=\"y\"/>");
}

TEST_F(Xml, SetXMLAttribute_PrefixedName_IsFoundAgain) {
  SetXMLAttribute(document_, root_, u"p:nome", u"primo");
  SetXMLAttribute(document_, root_, u"p:nome", u"secondo");
  EXPECT_EQ(Document(), "<radice p:nome=\"secondo\"/>");
}

TEST_F(Xml, SetXMLAttribute_EmptyValue_LeavesTheAttributeWithAnEmptyValue) {
  SetXMLAttribute(document_, root_, u"nome", u"");
  EXPECT_EQ(Document(), "<radice nome=\"\"/>");
  SetXMLAttribute(document_, root_, u"nome", u"x");
  SetXMLAttribute(document_, root_, u"nome", u"");
  EXPECT_EQ(Document(), "<radice nome=\"\"/>");
}

TEST_F(Xml, SetXMLAttribute_NamesThatDifferInCase_AreTwoAttributes) {
  SetXMLAttribute(document_, root_, u"nome", u"1");
  SetXMLAttribute(document_, root_, u"Nome", u"2");
  EXPECT_EQ(Document(), "<radice nome=\"1\" Nome=\"2\"/>");
}

TEST_F(Xml, SetXMLAttribute_MissingAttribute_MakesTheseCalls) {
  SetXMLAttribute(document_, root_, u"nome", u"valore");
  EXPECT_THAT(dom_.calls, ElementsAre("Attributes(2) = 3", "GetNamedItem(3, \"nome\") = null",
                                      "CreateAttribute(1, \"nome\") = 4", "SetNamedItem(3, 4) = 4", "Release(4)",
                                      "PutText(4, \"valore\")", "Release(4)", "Release(3)"));
}

TEST_F(Xml, SetXMLAttribute_AttributeThere_DoesNotUseTheDocument) {
  SetXMLAttribute(document_, root_, u"nome", u"primo");
  dom_.calls.clear();
  SetXMLAttribute(XmlDocument(), root_, u"nome", u"secondo");
  EXPECT_THAT(dom_.calls, ElementsAre("Attributes(2) = 5", "GetNamedItem(5, \"nome\") = 6", "PutText(6, \"secondo\")",
                                      "Release(6)", "Release(5)"));
  EXPECT_EQ(Document(), "<radice nome=\"secondo\"/>");
}

TEST_F(Xml, SetXMLAttribute_EmptyDocumentOrNode_Raises91AtItsFirstUse) {
  const auto set = [&](const XmlDocument& document, const XmlNode& node) {
    return ErrorOf([&] { SetXMLAttribute(document, node, u"nome", u"valore"); });
  };
  ExpectError(set(document_, XmlNode()), kErrObjectNotSet, u"", kNotSet);
  ExpectError(set(document_, XmlNode(dom_, nullptr)), kErrObjectNotSet, u"", kNotSet);
  EXPECT_THAT(dom_.calls, ElementsAre("Attributes(null)"));
  dom_.calls.clear();
  ExpectError(set(XmlDocument(), root_), kErrObjectNotSet, u"", kNotSet);
  EXPECT_THAT(dom_.calls, ElementsAre("Attributes(2) = 3", "GetNamedItem(3, \"nome\") = null", "Release(3)"));
  ExpectError(set(XmlDocument(dom_, nullptr), root_), kErrObjectNotSet, u"", kNotSet);
  EXPECT_EQ(dom_.OpenReferences(), kHeld);
  EXPECT_EQ(Document(), "<radice/>");
}

TEST_F(Xml, SetXMLAttribute_NodeWithoutAttributes_Raises91) {
  ExpectError(ErrorOf([&] { SetXMLAttribute(document_, document_, u"nome", u"valore"); }), kErrObjectNotSet, u"",
              kNotSet);
  EXPECT_THAT(dom_.calls, ElementsAre("Attributes(1) = null", "GetNamedItem(null, \"nome\")"));
}

TEST_F(Xml, SetXMLAttribute_NameThatIsNoXmlName_RaisesTheDomsErrorUnchanged) {
  for (const TextView name : {u"", u"1a", u"a b", u"<", u"-a"}) {
    ExpectError(ErrorOf([&] { SetXMLAttribute(document_, root_, name, u"valore"); }), platform::kErrDomFailure,
                u"XmlDom", u"the name is not one of XML 1.0");
  }
  EXPECT_EQ(dom_.OpenReferences(), kHeld);
  EXPECT_EQ(Document(), "<radice/>");
}

TEST_F(Xml, SetXMLAttribute_EachCallFailing_RaisesItUnchangedAndKeepsWhatWasDone) {
  constexpr std::size_t kCalls = 5;
  for (std::size_t n = 1; n <= kCalls + 1; ++n) {
    SCOPED_TRACE(n);
    Start();
    dom_.FailCall(n, Error(static_cast<std::int32_t>(n), u"msxml", u"guasto"));
    const auto error = ErrorOf([&] { SetXMLAttribute(document_, root_, u"nome", u"valore"); });
    EXPECT_EQ(dom_.OpenReferences(), kHeld);
    EXPECT_EQ(dom_.CallsSince(), std::min(n, kCalls));
    if (n <= kCalls) {
      ExpectError(error, static_cast<std::int32_t>(n), u"msxml", u"guasto");
      // The attribute that was added already stays, deliberately.
      EXPECT_EQ(Document(), n < kCalls ? "<radice/>" : "<radice nome=\"\"/>");
    } else {
      EXPECT_FALSE(error.has_value());
      EXPECT_EQ(Document(), "<radice nome=\"valore\"/>");
    }
    Start();
    dom_.FailCall(n, std::bad_alloc());
    if (n <= kCalls) {
      EXPECT_THROW(SetXMLAttribute(document_, root_, u"nome", u"valore"), std::bad_alloc);
    }
    EXPECT_EQ(dom_.OpenReferences(), kHeld);
  }
}

TEST_F(Xml, AddXMLElement_ThreeTimesOnOneParent_AppendsInCallOrder) {
  AddXMLElement(document_, root_, u"a", u"1");
  AddXMLElement(document_, root_, u"b", u"2");
  AddXMLElement(document_, root_, u"a", u"3");
  EXPECT_EQ(Document(), "<radice><a>1</a><b>2</b><a>3</a></radice>");
}

TEST_F(Xml, AddXMLElement_ReturnedElementAsParent_Nests) {
  const XmlNode outer = AddXMLElement(document_, root_, u"a", u"");
  const XmlNode inner = AddXMLElement(document_, outer, u"b", u"testo");
  SetXMLAttribute(document_, inner, u"nome", u"x");
  EXPECT_EQ(Document(), "<radice><a><b nome=\"x\">testo</b></a></radice>");
  EXPECT_EQ(dom_.OpenReferences(), kHeld + 2);
}

TEST_F(Xml, AddXMLElement_EmptyText_CreatesAnEmptyElement) {
  AddXMLElement(document_, root_, u"a", u"");
  EXPECT_EQ(Document(), "<radice><a/></radice>");
}

TEST_F(Xml, AddXMLElement_NewElement_MakesTheseCallsAndHandsOverOneReference) {
  {
    const XmlNode element = AddXMLElement(document_, root_, u"a", u"testo");
    EXPECT_THAT(dom_.calls, ElementsAre("CreateElement(1, \"a\") = 3", "AppendChild(2, 3) = 3", "PutText(3, \"testo\")",
                                        "Release(3)"));
    EXPECT_EQ(dom_.OpenReferences(), kHeld + 1);
  }
  EXPECT_EQ(dom_.OpenReferences(), kHeld);
}

TEST_F(Xml, AddXMLElement_FirstElementOfADocument_BecomesItsRoot) {
  const XmlDocument document(dom_, dom_.CreateDocument());
  const XmlNode root = AddXMLElement(document, document, u"radice", u"è");
  EXPECT_EQ(ToUtf8(portable_.GetXml(document.get())), "<radice>è</radice>\r\n");
}

TEST_F(Xml, AddXMLElement_EmptyDocumentOrParent_Raises91AtItsFirstUse) {
  const auto add = [&](const XmlDocument& document, const XmlNode& parent) {
    return ErrorOf([&] { AddXMLElement(document, parent, u"a", u"testo"); });
  };
  ExpectError(add(XmlDocument(), root_), kErrObjectNotSet, u"", kNotSet);
  EXPECT_THAT(dom_.calls, ElementsAre());
  ExpectError(add(XmlDocument(dom_, nullptr), root_), kErrObjectNotSet, u"", kNotSet);
  EXPECT_THAT(dom_.calls, ElementsAre("CreateElement(null, \"a\")"));
  dom_.calls.clear();
  ExpectError(add(document_, XmlNode()), kErrObjectNotSet, u"", kNotSet);
  EXPECT_THAT(dom_.calls, ElementsAre("CreateElement(1, \"a\") = 3", "Release(3)"));
  ExpectError(add(document_, XmlNode(dom_, nullptr)), kErrObjectNotSet, u"", kNotSet);
  EXPECT_EQ(dom_.OpenReferences(), kHeld);
  EXPECT_EQ(Document(), "<radice/>");
}

TEST_F(Xml, AddXMLElement_NameThatIsNoXmlName_RaisesTheDomsErrorUnchanged) {
  for (const TextView name : {u"", u"1a", u"a b", u"<", u"-a"}) {
    ExpectError(ErrorOf([&] { AddXMLElement(document_, root_, Text(name), u"testo"); }), platform::kErrDomFailure,
                u"XmlDom", u"the name is not one of XML 1.0");
  }
  EXPECT_EQ(dom_.OpenReferences(), kHeld);
  EXPECT_EQ(Document(), "<radice/>");
}

TEST_F(Xml, AddXMLElement_EachCallFailing_RaisesItUnchangedAndKeepsWhatWasDone) {
  constexpr std::size_t kCalls = 3;
  for (std::size_t n = 1; n <= kCalls + 1; ++n) {
    SCOPED_TRACE(n);
    Start();
    dom_.FailCall(n, Error(0, u"msxml", u"guasto"));
    const auto error = ErrorOf([&] { AddXMLElement(document_, root_, u"a", u"testo"); });
    EXPECT_EQ(dom_.OpenReferences(), kHeld);
    EXPECT_EQ(dom_.CallsSince(), std::min(n, kCalls));
    if (n <= kCalls) {
      ExpectError(error, 0, u"msxml", u"guasto");
      // The element that was appended already stays, deliberately.
      EXPECT_EQ(Document(), n < kCalls ? "<radice/>" : "<radice><a/></radice>");
    } else {
      EXPECT_FALSE(error.has_value());
      EXPECT_EQ(Document(), "<radice><a>testo</a></radice>");
    }
  }
}

// The text may be a view into what the call changes.
TEST_F(Xml, AddXMLElement_NameAndTextOfTheSameVariable_Work) {
  const Text name = u"nome";
  AddXMLElement(document_, root_, name, name);
  SetXMLAttribute(document_, root_, name, name);
  EXPECT_EQ(Document(), "<radice nome=\"nome\"><nome>nome</nome></radice>");
}

}  // namespace
}  // namespace nerio
