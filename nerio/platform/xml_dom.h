#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "nerio/types/text.h"
#include "nerio/types/variant.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// An object of the DOM behind a raw handle: a document, a node or an attribute map. Never defined: only a host knows
/// what the pointer means. A null handle is a legal argument of every call of `XmlDom`; its use raises error 91.
struct XmlObject;

/// A DOM call failed without a reason of its own (E_FAIL), such as a name that is not a valid XML name.
constexpr std::int32_t kErrDomFailure = static_cast<std::int32_t>(0x80004005u);
/// A DOM call is not implemented for what it was given (E_NOTIMPL).
constexpr std::int32_t kErrDomNotImplemented = static_cast<std::int32_t>(0x80004001u);
/// A DOM call was given an argument that it cannot take (E_INVALIDARG).
constexpr std::int32_t kErrDomArgument = static_cast<std::int32_t>(0x80070057u);
/// The class of documents is not there (REGDB_E_CLASSNOTREG, CO_E_CLASSSTRING when asked for by name).
constexpr std::int32_t kErrClassNotRegistered = static_cast<std::int32_t>(0x80040154u);
constexpr std::int32_t kErrInvalidClassString = static_cast<std::int32_t>(0x800401F3u);

/// Says why a text could not be loaded: the DOM's parse error.
struct XmlLoadError {
  Text reason;              ///< empty when nothing is wrong
  std::int32_t line = 0;    ///< from 1; 0 where there is no place to name
  std::int32_t column = 0;  ///< from 1, in UTF-16 code units

  friend bool operator==(const XmlLoadError&, const XmlLoadError&) = default;
};

/// Mirrors the calls of the XML DOM, version 4.0, one to one. A failing call raises an Error with the DOM's own number
/// and description; a lookup that finds nothing answers null. Handles are raw: each one that a call returns is one
/// reference that the caller gives back with `Release`, and it keeps its whole document alive. `XmlReference` does that
/// by itself.
///
/// A handle belongs to the DOM that returned it: no call takes that of another one, not even of a second host's. What
/// would mix them is refused above this interface.
///
/// Texts end at their first NUL, that of `LoadXml` too. Lone surrogates and control characters are stored as they are.
class NERIO_PUBLIC XmlDom {
 public:
  virtual ~XmlDom() = default;

  /// Creates an empty document through the programmatic identifier "MSXML2.DOMDocument.4.0".
  virtual XmlObject* CreateDocumentByName() = 0;
  /// Creates an empty document directly from its class.
  virtual XmlObject* CreateDocument() = 0;

  virtual XmlObject* CreateElement(XmlObject* document, TextView name) = 0;
  virtual XmlObject* CreateAttribute(XmlObject* document, TextView name) = 0;

  /// Returns the node's attribute map, null for a node that can carry no attributes.
  virtual XmlObject* Attributes(XmlObject* node) = 0;
  /// Returns the attribute of exactly this qualified name, or null.
  virtual XmlObject* GetNamedItem(XmlObject* attributes, TextView name) = 0;
  /// Adds an attribute node, in place of one of the same name, and returns it.
  virtual XmlObject* SetNamedItem(XmlObject* attributes, XmlObject* attribute) = 0;

  /// Appends `child` as the last child, moving it when it has a parent already, and returns it.
  virtual XmlObject* AppendChild(XmlObject* parent, XmlObject* child) = 0;

  /// Replaces all the node's children by one text; an attribute's value. An empty text leaves none.
  virtual void PutText(XmlObject* node, TextView text) = 0;
  /// Returns the text of the node and all below it: an element's without blanks at its ends.
  virtual Text GetText(XmlObject* node) = 0;

  /// Sets an element's data type; "bin.base64" is the one that the layer uses.
  virtual void PutDataType(XmlObject* node, TextView type) = 0;
  /// Sets the node's typed value from bytes.
  virtual void PutNodeTypedValue(XmlObject* node, std::span<const std::uint8_t> bytes) = 0;
  /// Returns the node's typed value: bytes under "bin.base64", text where no data type is set.
  virtual Variant GetNodeTypedValue(XmlObject* node) = 0;

  /// Replaces the document's content by the parsed text. A text that is not well-formed is no error: the answer is
  /// false, the document is empty and `LoadError` knows why.
  virtual bool LoadXml(XmlObject* document, TextView xml) = 0;
  /// Returns why the document's last `LoadXml` answered false; all empty after one that answered true, or before any.
  virtual XmlLoadError LoadError(XmlObject* document) = 0;
  /// Returns the first node that the query selects, or null. The layer asks for the document element by its name.
  virtual XmlObject* SelectSingleNode(XmlObject* node, TextView query) = 0;
  /// Returns the node written as XML.
  virtual Text GetXml(XmlObject* node) = 0;

  virtual void AddRef(XmlObject* object) noexcept = 0;
  virtual void Release(XmlObject* object) noexcept = 0;
};

/// Returns the layer's own DOM in portable C++, the same on every host; where the system has none it is the host's as
/// well. It takes no document type declaration, so it never fetches anything nor expands an entity. It holds nothing
/// and lives as long as the process.
NERIO_PUBLIC XmlDom& OwnXmlDom() noexcept;

/// Owns one reference to an object of a DOM, or nothing. Copies share the object, each with a reference of its own. It
/// must not outlive the `XmlDom` that it came from.
class XmlReference {
 public:
  XmlReference() = default;
  /// Takes over a reference that a call of `dom` returned; it may be null.
  XmlReference(XmlDom& dom, XmlObject* taken) noexcept : dom_(&dom), object_(taken) {}
  XmlReference(const XmlReference& other) noexcept : dom_(other.dom_), object_(other.object_) {
    if (object_ != nullptr) dom_->AddRef(object_);
  }
  XmlReference(XmlReference&& other) noexcept : dom_(other.dom_), object_(std::exchange(other.object_, nullptr)) {}
  XmlReference& operator=(XmlReference other) noexcept {
    std::swap(dom_, other.dom_);
    std::swap(object_, other.object_);
    return *this;
  }
  ~XmlReference() {
    if (object_ != nullptr) dom_->Release(object_);
  }

  /// Lends the raw handle, null when empty.
  XmlObject* get() const noexcept { return object_; }
  /// Lends the DOM that the object belongs to, null for a default-made reference.
  XmlDom* dom() const noexcept { return dom_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  XmlDom* dom_ = nullptr;
  XmlObject* object_ = nullptr;
};

/// A document, owned through a reference.
using XmlDocument = XmlReference;
/// A node of a document, owned through a reference.
using XmlNode = XmlReference;

}  // namespace nerio::platform
