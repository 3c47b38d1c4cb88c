#pragma once

#include "nerio/platform/host.h"
#include "nerio/platform/xml_dom.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Tells whether the XML DOM, version 4.0, is there: creates a document through the programmatic identifier
/// "MSXML2.DOMDocument.4.0", where the host has such, and gives it back at once. Each call creates a real one; nothing
/// is kept.
///
/// Never raises: any failure to create the document is the answer false.
NERIO_PUBLIC bool CheckXMLParser(const platform::Host& host = platform::ThisHost());

/// Sets an attribute of a node to a value. An attribute of that name gets the new value in place of its own; otherwise
/// the document creates one, which is added after the others.
///
/// Traps nothing. A failure part-way leaves what was done: an attribute that was created and added stays, without text.
/// Everything obtained on the way is released, also then.
///
/// @param document the document that owns the node. Used only to create a missing attribute; may be empty when there is
///   one.
/// @param node the element to receive the attribute.
/// @param name the qualified name, matched exactly, up to its first NUL. Two prefixes of one namespace are two names:
///   a document with both p:b and q:b of the same element cannot be loaded again.
/// @param value the value, up to its first NUL; may be empty, the attribute is there then too.
/// @throws Error 91 (`RaiseObjectNotSet`) when `node` is empty or can carry no attributes, or `document` is empty and
///   needed; `kErrDomArgument` when a missing attribute is to be created and the two belong to two DOMs; otherwise the
///   DOM's own number, source and description, unchanged, such as `kErrDomFailure` for a name that is not a valid XML
///   name.
NERIO_PUBLIC void SetXMLAttribute(const platform::XmlDocument& document, const platform::XmlNode& node, TextView name,
                                  TextView value);

/// Appends a new element with a text to a node, as its last child.
///
/// Traps nothing. A failure part-way leaves what was done: an element that was appended stays, without its text.
/// Everything obtained on the way is released, also then.
///
/// @param document the document that creates the element.
/// @param parent the node that receives the element.
/// @param name the element's tag name, up to its first NUL.
/// @param text the element's text, up to its first NUL; may be empty, the element is appended then too.
/// @return the new element: a reference that the caller owns and may use as the parent of further calls.
/// @throws Error 91 (`RaiseObjectNotSet`) when `document` or `parent` is empty; `kErrDomArgument` when they belong to
///   two DOMs; otherwise the DOM's own number, source and description, unchanged.
NERIO_PUBLIC platform::XmlNode AddXMLElement(const platform::XmlDocument& document, const platform::XmlNode& parent,
                                             const Text& name, TextView text);

}  // namespace nerio
