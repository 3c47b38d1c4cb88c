#pragma once

#include <cstddef>
#include <functional>

#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/platform/xml_dom.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// Why a document with a document type declaration is refused. Without one there is no entity to expand and nothing to
/// fetch from elsewhere.
inline constexpr TextView kNoDoctype = u"a document type declaration (<!DOCTYPE) is not accepted";

/// Parses a document into an empty tree: XML 1.0 (4th edition) with Namespaces in XML 1.0, without document type
/// declaration. A byte-order mark in front is skipped; an encoding named in the XML declaration has no meaning, since
/// the text is decoded already.
///
/// As the DOM does by default, texts of blanks only are dropped, unless xml:space="preserve" holds there.
///
/// No part of the work nests on the stack, and all of it is linear in the length of the text (a sort apart, over the
/// attributes with a prefix of one element).
///
/// @param error set when the answer is false; the tree's content is then unspecified.
/// @param reached told from time to time how many code units are parsed, not at the end. A short text is parsed without.
/// @return whether the document is well-formed. Raises nothing but std::bad_alloc and what `reached` throws.
bool Parse(TextView text, Tree& tree, XmlLoadError& error, const std::function<void(std::size_t)>& reached = {});

/// Returns the encoding named in a text's XML declaration; empty when none is named or the declaration is not
/// well-formed, which `Parse` reports.
TextView DeclaredEncoding(TextView text);

/// Makes the error of a reason that shows at a place of the text, given as an offset in code units.
XmlLoadError ErrorAt(TextView text, std::size_t offset, Text reason);

}  // namespace nerio::platform::xml
