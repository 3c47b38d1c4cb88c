#pragma once

#include <cstddef>
#include <functional>

#include "nerio/platform/xml_dom.h"

namespace nerio::platform {

namespace xml {
class Tree;
}

/// The XML DOM in pure C++, for hosts whose system has none. It knows elements, attributes, texts, CDATA sections,
/// comments and processing instructions; document type declarations are refused.
///
/// A document takes at most three times the memory of a fresh one with the same content, and 1 MiB, whatever was done to
/// it before: what nothing leads to any more (removed nodes, replaced attributes and texts, names) is left behind from
/// time to time, when the rest is copied together. Content is also what a handle leads to, with all below it. A node
/// moved into another document is copied there, and its handles lead to the copy. The first handle to a node costs some
/// 32 bytes, each other one only counts. The counts are not atomic: a document and all handles to it belong to one
/// thread at a time. The object itself has no state that changes.
///
/// What its calls do beyond what `XmlDom` says:
/// - Names are those of XML 1.0, 4th edition, up to their first NUL, colons included; every other name raises
///   `kErrDomFailure`. Whether a prefix is declared shows only when the document is loaded again.
/// - `SetNamedItem` refuses anything but an attribute of the same document that belongs to no other element, and
///   `AppendChild` anything but an element under an element or a document, a second document element, and an element
///   under itself or what is below it: `kErrDomFailure`. An element may come from another document.
/// - `PutText` of a document raises `kErrDomFailure`. `GetText` leaves out blanks at both ends of an element's text,
///   and all of an attribute's when there is nothing else; the stored text keeps them.
/// - `PutDataType` takes the names of the DOM's data types in any case, for elements, and notes them in the attributes
///   xmlns:dt and dt:dt; any other name raises `kErrDomFailure`. Typed values are bytes under "bin.base64" and texts
///   under "string" and without a type; other types raise `kErrDomNotImplemented`. Reading a text that is not Base64
///   raises `kErrDomFailure`.
/// - `LoadXml` takes well-formed documents of XML 1.0 (4th edition) and Namespaces in XML 1.0 without document type
///   declaration, up to the first NUL. Texts of blanks only are dropped unless
///   xml:space="preserve" holds. An encoding named in the XML declaration is not looked at and not kept.
/// - `SelectSingleNode` takes paths of names without prefix ("DOC", "a/b", "/a/b"); any other query raises
///   `kErrDomFailure`.
/// - `GetXml` writes one line: nothing is indented, each node at document level is followed by CR LF.
///
/// A handle of another kind than a call needs raises `kErrDomArgument`, a null handle 91 (`RaiseObjectNotSet`). Other
/// errors have the source "XmlDom" and a description in English; an Error leaves everything as it was. std::bad_alloc
/// may come from each call but `AddRef` and `Release`; it also stands for a name or a text of some 2^31 code units and
/// for a typed value of 2^32 bytes or more, which do not fit. No depth of nesting and no number of nodes needs a
/// deep stack.
class PortableXmlDom final : public XmlDom {
 public:
  using Reached = std::function<void(std::size_t done, std::size_t all)>;

  /// @param reached borrowed; told by `LoadXml` from time to time how many code units of a long text are read. Null: nobody
  /// is told.
  explicit PortableXmlDom(const Reached* reached = nullptr) noexcept : reached_(reached) {}

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

 private:
  bool Load(TextView text, xml::Tree& tree);

  const Reached* reached_;
};

}  // namespace nerio::platform
