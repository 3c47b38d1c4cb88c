#include "nerio/hosts/windows/automation/xml_dom.h"

#include <windows.h>
// The order matters: the DOM's header needs the automation types.
#include <oleauto.h>

#include <msxml2.h>

#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_error.h"
#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/variant.h"

namespace nerio::platform {
namespace {

constexpr wchar_t kDocumentName[] = L"MSXML2.DOMDocument.4.0";
constexpr CLSID kDocumentClass = {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
constexpr TextView kBase64Type = u"bin.base64";

// Lets a call's success through; raises its failure.
void Check(HRESULT result) {
  if (FAILED(result)) RaiseComError(result);
}

XmlObject* ToHandle(IUnknown* object) { return reinterpret_cast<XmlObject*>(object); }
IUnknown* ToNative(XmlObject* handle) { return reinterpret_cast<IUnknown*>(handle); }

// Asks an object for the interface that the next call needs, and clears the way for that call's own error information.
template <typename Interface>
ComPointer<Interface> As(XmlObject* handle, const IID& id) {
  if (handle == nullptr) RaiseObjectNotSet();
  ClearErrorInfo();
  ComPointer<Interface> object;
  Check(ToNative(handle)->QueryInterface(id, object.putVoid()));
  return object;
}

ComPointer<IXMLDOMDocument> AsDocument(XmlObject* handle) { return As<IXMLDOMDocument>(handle, IID_IXMLDOMDocument); }
ComPointer<IXMLDOMNode> AsNode(XmlObject* handle) { return As<IXMLDOMNode>(handle, IID_IXMLDOMNode); }
ComPointer<IXMLDOMNamedNodeMap> AsMap(XmlObject* handle) {
  return As<IXMLDOMNamedNodeMap>(handle, IID_IXMLDOMNamedNodeMap);
}

// A text ends for the DOM at its first NUL.
TextView UpToNul(TextView text) { return text.substr(0, text.find(u'\0')); }
Bstr ToDomText(TextView text) { return Bstr(UpToNul(text)); }

// The name of a new node. What is no name is refused as version 4.0 does.
Bstr ToDomName(TextView text) {
  const TextView name = UpToNul(text);
  if (!xml::IsName(name)) RaiseComError(kErrDomFailure);
  return Bstr(name);
}

bool HoldsBase64(IXMLDOMNode& node) {
  NativeVariant type;
  return node.get_dataType(type.put()) == S_OK && FromNative(type.get()) == Variant(Text(kBase64Type));
}

// The qualified name of an attribute.
Text NameOf(IXMLDOMNode& attribute) {
  Bstr name;
  Check(attribute.get_nodeName(name.put()));
  return Text(name.view());
}

// Tells whether the system's DOM puts an attribute "p:b" that a document created in the place of "b". A private document
// shows it; where there is none, nothing has to be minded.
bool PutsPrefixedInPlaceOfPlain() {
  ComPointer<IXMLDOMDocument> document;
  ComPointer<IXMLDOMElement> element;
  ComPointer<IXMLDOMNamedNodeMap> map;
  ComPointer<IXMLDOMAttribute> prefixed;
  ComPointer<IXMLDOMNode> set;
  ComPointer<IXMLDOMNode> plain;
  VARIANT_BOOL loaded = VARIANT_FALSE;
  return SUCCEEDED(::CoCreateInstance(kDocumentClass, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                                      document.putVoid())) &&
         document->loadXML(Bstr(u"<a b='1'/>").get(), &loaded) == S_OK &&
         document->get_documentElement(element.put()) == S_OK && element->get_attributes(map.put()) == S_OK &&
         document->createAttribute(Bstr(u"p:b").get(), prefixed.put()) == S_OK &&
         map->setNamedItem(prefixed.get(), set.put()) == S_OK &&
         map->getNamedItem(Bstr(u"b").get(), plain.put()) != S_OK;
}

XmlObject* NewDocument(const CLSID& id, DWORD context) {
  ClearErrorInfo();
  ComPointer<IXMLDOMDocument> document;
  Check(::CoCreateInstance(id, nullptr, context, IID_IXMLDOMDocument, document.putVoid()));
  return ToHandle(document.release());
}

}  // namespace

XmlObject* WindowsXmlDom::CreateDocumentByName() {
  ClearErrorInfo();
  CLSID id{};
  Check(::CLSIDFromProgID(kDocumentName, &id));
  return NewDocument(id, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER);
}

XmlObject* WindowsXmlDom::CreateDocument() { return NewDocument(kDocumentClass, CLSCTX_INPROC_SERVER); }

XmlObject* WindowsXmlDom::CreateElement(XmlObject* document, TextView name) {
  const ComPointer<IXMLDOMDocument> owner = AsDocument(document);
  ComPointer<IXMLDOMElement> element;
  Check(owner->createElement(ToDomName(name).get(), element.put()));
  return ToHandle(element.release());
}

XmlObject* WindowsXmlDom::CreateAttribute(XmlObject* document, TextView name) {
  const ComPointer<IXMLDOMDocument> owner = AsDocument(document);
  ComPointer<IXMLDOMAttribute> attribute;
  Check(owner->createAttribute(ToDomName(name).get(), attribute.put()));
  return ToHandle(attribute.release());
}

XmlObject* WindowsXmlDom::Attributes(XmlObject* node) {
  const ComPointer<IXMLDOMNode> owner = AsNode(node);
  ComPointer<IXMLDOMNamedNodeMap> map;
  Check(owner->get_attributes(map.put()));
  return ToHandle(map.release());
}

XmlObject* WindowsXmlDom::GetNamedItem(XmlObject* attributes, TextView name) {
  const ComPointer<IXMLDOMNamedNodeMap> map = AsMap(attributes);
  ComPointer<IXMLDOMNode> found;
  Check(map->getNamedItem(ToDomText(name).get(), found.put()));
  // A DOM that looks for the namespace and not for the prefix finds another attribute, or none that it was given itself.
  if (name.find(u':') == TextView::npos || (found && NameOf(*found.get()) == UpToNul(name)))
    return ToHandle(found.release());
  LONG count = 0;
  Check(map->get_length(&count));
  for (LONG i = 0; i < count; ++i) {
    ComPointer<IXMLDOMNode> candidate;
    Check(map->get_item(i, candidate.put()));
    if (NameOf(*candidate.get()) == UpToNul(name)) return ToHandle(candidate.release());
  }
  return nullptr;
}

XmlObject* WindowsXmlDom::SetNamedItem(XmlObject* attributes, XmlObject* attribute) {
  const ComPointer<IXMLDOMNamedNodeMap> map = AsMap(attributes);
  const ComPointer<IXMLDOMNode> item = AsNode(attribute);
  const Text name = NameOf(*item.get());
  const std::size_t colon = name.find(u':');
  ComPointer<IXMLDOMNode> namesake;
  if (colon != Text::npos) Check(map->getNamedItem(Bstr(TextView(name).substr(colon + 1)).get(), namesake.put()));
  // The namesake steps aside only where it would be lost.
  if (namesake && PutsPrefixedInPlaceOfPlain()) {
    ComPointer<IXMLDOMNode> removed;
    Check(map->removeNamedItem(Bstr(TextView(name).substr(colon + 1)).get(), removed.put()));
  } else {
    namesake = {};
  }
  ComPointer<IXMLDOMNode> set;
  const HRESULT result = map->setNamedItem(item.get(), set.put());
  ComPointer<IXMLDOMNode> again;
  if (namesake) Check(map->setNamedItem(namesake.get(), again.put()));
  Check(result);
  return ToHandle(set.release());
}

XmlObject* WindowsXmlDom::AppendChild(XmlObject* parent, XmlObject* child) {
  const ComPointer<IXMLDOMNode> owner = AsNode(parent);
  const ComPointer<IXMLDOMNode> item = AsNode(child);
  ComPointer<IXMLDOMNode> appended;
  Check(owner->appendChild(item.get(), appended.put()));
  return ToHandle(appended.release());
}

void WindowsXmlDom::PutText(XmlObject* node, TextView text) {
  const ComPointer<IXMLDOMNode> target = AsNode(node);
  if (Bytes decoded; HoldsBase64(*target.get()) && !ReadBase64(UpToNul(text), decoded)) RaiseComError(kErrDomFailure);
  Check(target->put_text(ToDomText(text).get()));
}

Text WindowsXmlDom::GetText(XmlObject* node) {
  const ComPointer<IXMLDOMNode> target = AsNode(node);
  Bstr text;
  Check(target->get_text(text.put()));
  return Text(text.view());
}

void WindowsXmlDom::PutDataType(XmlObject* node, TextView type) {
  const ComPointer<IXMLDOMNode> target = AsNode(node);
  Check(target->put_dataType(ToDomText(type).get()));
}

void WindowsXmlDom::PutNodeTypedValue(XmlObject* node, std::span<const std::uint8_t> bytes) {
  const ComPointer<IXMLDOMNode> target = AsNode(node);
  NativeVariant value(bytes);
  Check(target->put_nodeTypedValue(value.get()));
}

Variant WindowsXmlDom::GetNodeTypedValue(XmlObject* node) {
  const ComPointer<IXMLDOMNode> target = AsNode(node);
  NativeVariant value;
  Check(target->get_nodeTypedValue(value.put()));
  return FromNative(value.get());
}

bool WindowsXmlDom::LoadXml(XmlObject* document, TextView xml) {
  const ComPointer<IXMLDOMDocument> target = AsDocument(document);
  VARIANT_BOOL loaded = VARIANT_FALSE;
  Check(target->loadXML(ToDomText(xml).get(), &loaded));
  return loaded != VARIANT_FALSE;
}

XmlLoadError WindowsXmlDom::LoadError(XmlObject* document) {
  const ComPointer<IXMLDOMDocument> target = AsDocument(document);
  ComPointer<IXMLDOMParseError> parseError;
  Check(target->get_parseError(parseError.put()));
  LONG code = 0;
  Check(parseError->get_errorCode(&code));
  if (code == 0) return {};
  Bstr reason;
  LONG line = 0;
  LONG column = 0;
  Check(parseError->get_reason(reason.put()));
  Check(parseError->get_line(&line));
  Check(parseError->get_linepos(&column));
  return {Text(reason.view()), line, column};
}

XmlObject* WindowsXmlDom::SelectSingleNode(XmlObject* node, TextView query) {
  const ComPointer<IXMLDOMNode> start = AsNode(node);
  ComPointer<IXMLDOMNode> selected;
  Check(start->selectSingleNode(ToDomText(query).get(), selected.put()));
  return ToHandle(selected.release());
}

Text WindowsXmlDom::GetXml(XmlObject* node) {
  const ComPointer<IXMLDOMNode> target = AsNode(node);
  Bstr xml;
  Check(target->get_xml(xml.put()));
  return Text(xml.view());
}

void WindowsXmlDom::AddRef(XmlObject* object) noexcept { ToNative(object)->AddRef(); }

void WindowsXmlDom::Release(XmlObject* object) noexcept { ToNative(object)->Release(); }

XmlReference ShareXmlObject(XmlDom& dom, IDispatch* object) noexcept {
  if (object != nullptr) object->AddRef();
  return {dom, ToHandle(object)};
}

IDispatch* AutomationOf(const XmlReference& object) {
  return object ? As<IDispatch>(object.get(), IID_IDispatch).release() : nullptr;
}

}  // namespace nerio::platform
