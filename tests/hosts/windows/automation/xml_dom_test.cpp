// The XML routines over the system's own DOM.
#include "nerio/hosts/windows/automation/xml_dom.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "nerio/hosts/windows/automation/system_message.h"
#include "nerio/support/base64.h"
#include "nerio/support/xml.h"
#include "tests/platform/conformance/xml_dom_conformance.h"
#include "tests/testing/raised_error.h"

namespace nerio::platform {
namespace {

using testing::ErrorOf;
using testing::ExpectError;
using testing::XmlDomConformance;
using testing::XmlDomImplementation;

// In what Wine's DOM differs from version 4.0. It also takes trees that no document can have.
constexpr testing::XmlDomTraits kDifferences{
    .keepsEveryUnit = false,           // it keeps texts in UTF-8 and leaves out what XML does not have
    .writesOneLine = false,            // it indents what it writes
    .keepsWhatGaveWay = false,         // a replaced attribute that is held reads as empty, its memory is given back
    .refusesUndeclaredPrefix = false,  // it knows prefixes but loads without their declarations
};

INSTANTIATE_TEST_SUITE_P(Msxml, XmlDomConformance,
                         ::testing::Values(XmlDomImplementation{
                             "msxml", []() -> std::unique_ptr<XmlDom> { return std::make_unique<WindowsXmlDom>(); },
                             kDifferences}));

class SystemDom : public ::testing::Test {
 protected:
  XmlNode Root() { return AddXMLElement(document_, document_, u"radice", u""); }
  Text Attribute(const XmlNode& node, TextView name) {
    const XmlReference map(dom_, dom_.Attributes(node.get()));
    const XmlNode found(dom_, dom_.GetNamedItem(map.get(), name));
    return found ? dom_.GetText(found.get()) : Text(u"(none)");
  }

  WindowsXmlDom dom_;
  XmlDocument document_{dom_, dom_.CreateDocument()};
};

TEST_F(SystemDom, SetXMLAttribute_AnyQualifiedName_IsSetOnceAndReplaced) {
  const XmlNode root = Root();
  for (const TextView name : {u"nome", u"p:nome", u"q:nome", u"xml:lang", u"Nome", u"citt\u00E0"}) {
    SetXMLAttribute(document_, root, name, u"uno");
    SetXMLAttribute(document_, root, name, Text(u"due ").append(name));
  }
  for (const TextView name : {u"nome", u"p:nome", u"q:nome", u"xml:lang", u"Nome", u"citt\u00E0"}) {
    EXPECT_EQ(Attribute(root, name), Text(u"due ").append(name));
  }
  const Text xml = dom_.GetXml(root.get());
  EXPECT_EQ(xml.find(u"uno"), Text::npos) << "an attribute is there twice";
  SetXMLAttribute(document_, root, u"nome", u"");
  EXPECT_EQ(Attribute(root, u"nome"), u"");
  EXPECT_EQ(Attribute(root, u"manca"), u"(none)");
}

TEST_F(SystemDom, SetXMLAttribute_OtherPrefixOfTheSameNamespace_LeavesTheFirstAttributeAsItWas) {
  ASSERT_TRUE(dom_.LoadXml(document_.get(), u"<r xmlns:p='urn:u' xmlns:q='urn:u' p:b='1'/>"));
  const XmlNode root(dom_, dom_.SelectSingleNode(document_.get(), u"r"));
  SetXMLAttribute(document_, root, u"q:b", u"2");
  EXPECT_EQ(Attribute(root, u"p:b"), u"1");
  EXPECT_EQ(Attribute(root, u"q:b"), u"2");
}

TEST_F(SystemDom, AddXMLElement_AppendsInOrderAndNests) {
  const XmlNode root = Root();
  for (const TextView name : {u"a", u"b", u"c"}) AddXMLElement(document_, root, Text(name), name);
  AddXMLElement(document_, AddXMLElement(document_, root, u"d", u""), u"e", u"< & \u00E8");
  XmlDocument loaded(dom_, dom_.CreateDocument());
  ASSERT_TRUE(dom_.LoadXml(loaded.get(), dom_.GetXml(document_.get())));
  const XmlNode nested(dom_, dom_.SelectSingleNode(loaded.get(), u"radice/d/e"));
  ASSERT_TRUE(nested);
  EXPECT_EQ(dom_.GetText(nested.get()), u"< & \u00E8");
  const Text xml = dom_.GetXml(document_.get());
  EXPECT_LT(xml.find(u"<a>"), xml.find(u"<b>"));
  EXPECT_LT(xml.find(u"<b>"), xml.find(u"<c>"));
}

TEST_F(SystemDom, NameThatXmlDoesNotHave_IsRefusedAndAddsNothing) {
  const XmlNode root = Root();
  const Text before = dom_.GetXml(root.get());
  for (const Text& name : {Text(), Text(u"1a"), Text(u"a b"), Text(u"<"), Text(u"-a"), Text(u"\0a", 2)}) {
    ExpectError(ErrorOf([&] { AddXMLElement(document_, root, name, u""); }), kErrDomFailure, u"",
                SystemMessage(kErrDomFailure));
    ExpectError(ErrorOf([&] { SetXMLAttribute(document_, root, name, u""); }), kErrDomFailure, u"",
                SystemMessage(kErrDomFailure));
  }
  EXPECT_EQ(dom_.GetXml(root.get()), before);
}

TEST_F(SystemDom, EmptyReference_RaisesObjectNotSet) {
  const XmlNode root = Root();
  const XmlNode none(dom_, nullptr);
  const TextView description = u"Variabile oggetto o variabile del blocco With non impostata";
  ExpectError(ErrorOf([&] { SetXMLAttribute(none, root, u"a", u""); }), kErrObjectNotSet, u"", description);
  ExpectError(ErrorOf([&] { SetXMLAttribute(document_, none, u"a", u""); }), kErrObjectNotSet, u"", description);
  ExpectError(ErrorOf([&] { AddXMLElement(document_, none, u"a", u""); }), kErrObjectNotSet, u"", description);
  ExpectError(ErrorOf([&] { SetXMLAttribute(document_, document_, u"a", u""); }), kErrObjectNotSet, u"", description);
}

TEST_F(SystemDom, Base64_ComesBackAndWhatIsNoneIsTheEmptyText) {
  Text encoded = u"A";
  EXPECT_EQ(EncodeBase64(encoded, encoded), 0);
  EXPECT_EQ(encoded, u"QQA=");
  const Text any = u"perch\u00E9 \u20AC \xD800" + Text(1, u'\0') + u"dopo";
  ASSERT_EQ(EncodeBase64(any, encoded), 0);
  EXPECT_EQ(DecodeBase64(encoded), any);
  EXPECT_EQ(DecodeBase64(u" QQ\r\nBC\tAA == "), u"AB");
  EXPECT_EQ(DecodeBase64(u"YWJjZA=="), u"\u6261\u6463");
  EXPECT_EQ(DecodeBase64(u""), u"");
  for (const Text text : {u"non base64!", u"????", u"=QQA", u"QQA", u"QQ=", u"=", u"QQ\u0001==", u"-_-_"}) {
    EXPECT_EQ(DecodeBase64(text), u"");
  }
}

TEST_F(SystemDom, TextThatIsNoDocument_IsNotLoadedAndSaysWhy) {
  EXPECT_FALSE(dom_.LoadXml(document_.get(), u"<a><b></a>"));
  EXPECT_FALSE(dom_.LoadError(document_.get()).reason.empty());
  EXPECT_TRUE(dom_.LoadXml(document_.get(), u"<a/>"));
  EXPECT_TRUE(dom_.LoadError(document_.get()).reason.empty());
}

// Takes a key of the system's classes away, with everything below it, until the end of a test.
class ClassKeyAway {
 public:
  explicit ClassKeyAway(const std::wstring& name) : name_(L"Software\\Classes\\" + name) { Move(name_, kAside); }
  ClassKeyAway(const ClassKeyAway&) = delete;
  ClassKeyAway& operator=(const ClassKeyAway&) = delete;
  ~ClassKeyAway() { Move(kAside, name_); }

 private:
  static void Move(const std::wstring& from, const std::wstring& to) {
    HKEY source = nullptr;
    HKEY target = nullptr;
    EXPECT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, from.c_str(), 0, KEY_ALL_ACCESS, &source), ERROR_SUCCESS);
    EXPECT_EQ(
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, to.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &target, nullptr),
        ERROR_SUCCESS);
    EXPECT_EQ(::RegCopyTreeW(source, nullptr, target), ERROR_SUCCESS);
    ::RegCloseKey(source);
    ::RegCloseKey(target);
    EXPECT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, from.c_str()), ERROR_SUCCESS);
  }

  static inline const std::wstring kAside = L"Software\\Nerio messo da parte";
  std::wstring name_;
};

// The probe asks by name, the codec by class.
TEST_F(SystemDom, NameOfTheDocumentMissing_OnlyTheProbeFails) {
  ASSERT_TRUE(CheckXMLParser());
  const ClassKeyAway away(L"MSXML2.DOMDocument.4.0");
  EXPECT_FALSE(CheckXMLParser());
  EXPECT_EQ(ErrorOf([&] { dom_.CreateDocumentByName(); })->number(), kErrInvalidClassString);
  Text encoded;
  EXPECT_EQ(EncodeBase64(u"A", encoded), 0);
  EXPECT_EQ(DecodeBase64(encoded), u"A");
}

TEST_F(SystemDom, ClassOfTheDocumentMissing_EachRoutineAnswersItsFailure) {
  const ClassKeyAway away(L"CLSID\\{88D969C0-F192-11D4-A65F-0040963251E5}");
  EXPECT_FALSE(CheckXMLParser());
  Text encoded = u"intatto";
  EXPECT_EQ(EncodeBase64(u"A", encoded), kErrClassNotRegistered);
  EXPECT_EQ(encoded, u"intatto");
  EXPECT_EQ(DecodeBase64(u"QQA="), u"");
}

}  // namespace
}  // namespace nerio::platform
