#pragma once

#include <optional>

#include "nerio/types/text.h"

namespace nerio::tool {

// Changes of XML documents for which the interface of the DOM has no call. Each takes a well-formed document as a text.

/// What came of a deletion.
enum class XmlDeletion { kDone, kNoElement, kNoAttribute, kDocumentElement };

/// Takes an element out of a document with all below it, or an attribute of it.
/// @param[in,out] xml changed only when the answer is kDone.
/// @param path names of elements from the top, as the DOM selects them; the first such element counts.
/// @param attribute its name; nothing for the element itself, which is not taken out when it is the document's.
XmlDeletion DeleteInXml(Text& xml, TextView path, const std::optional<Text>& attribute);

/// Puts each child of an element on a line of its own, two blanks deeper than the element, where the element holds
/// neither texts nor CDATA sections and xml:space="preserve" does not hold. Everything else stays as it is.
void IndentXml(Text& xml);

}  // namespace nerio::tool
