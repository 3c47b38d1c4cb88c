#pragma once

#include "nerio/platform/xml_dom.h"

struct IDispatch;

namespace nerio::platform {

/// Reaches the system's XML DOM, version 4.0. A handle is the pointer to any COM interface of the object, so that an
/// object that a client made itself serves as well. The calling thread is in a COM apartment.
///
/// Some implementations of the DOM are laxer than version 4.0, or miss something of it. Here the answers are those of
/// version 4.0 nevertheless:
/// - Names that XML 1.0 (4th edition) does not have, and text that is not Base64 for a node of type "bin.base64", are
///   refused before the call, with `kErrDomFailure`.
/// - An attribute with a prefix that was made by name, and that the map does not find, is looked for one by one.
/// - An attribute without a prefix would lose its place to a new one of the same local name with a prefix: it is taken
///   out before and put back after it.
class WindowsXmlDom : public XmlDom {
 public:
  XmlObject* CreateDocumentByName() override;
  XmlObject* CreateDocument() override;
  XmlObject* CreateElement(XmlObject* document, TextView name) override;
  XmlObject* CreateAttribute(XmlObject* document, TextView name) override;
  XmlObject* Attributes(XmlObject* node) override;
  XmlObject* GetNamedItem(XmlObject* attributes, TextView name) override;
  XmlObject* SetNamedItem(XmlObject* attributes, XmlObject* attribute) override;
  XmlObject* AppendChild(XmlObject* parent, XmlObject* child) override;
  void PutText(XmlObject* node, TextView text) override;
  Text GetText(XmlObject* node) override;
  void PutDataType(XmlObject* node, TextView type) override;
  void PutNodeTypedValue(XmlObject* node, std::span<const std::uint8_t> bytes) override;
  Variant GetNodeTypedValue(XmlObject* node) override;
  bool LoadXml(XmlObject* document, TextView xml) override;
  XmlLoadError LoadError(XmlObject* document) override;
  XmlObject* SelectSingleNode(XmlObject* node, TextView query) override;
  Text GetXml(XmlObject* node) override;
  void AddRef(XmlObject* object) noexcept override;
  void Release(XmlObject* object) noexcept override;
};

/// Makes a reference of its own to an object of the DOM that a client holds through automation; empty for null.
XmlReference ShareXmlObject(XmlDom& dom, IDispatch* object) noexcept;

/// Returns the automation interface of an object of the DOM: one reference, the caller's; null for an empty one.
/// @throws Error when the object has none.
IDispatch* AutomationOf(const XmlReference& object);

}  // namespace nerio::platform
