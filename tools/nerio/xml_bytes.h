#pragma once

#include <string_view>

#include "nerio/platform/xml_dom.h"
#include "nerio/types/text.h"

namespace nerio::tool {

/// Decodes the bytes of an XML file into the text to load. UTF-8 with or without byte-order mark, and UTF-16 of either
/// byte order with its mark, are known; the mark does not become part of the text. A second mark, and a NUL, at which
/// the DOM would end, are refused. An encoding named in the XML
/// declaration must be the one that the bytes are in: "UTF-8", or "UTF-16" in any case of letters.
///
/// @param text receives the text; untouched when the answer is false.
/// @param error receives the reason and its place when the answer is false; untouched otherwise.
/// @return whether the bytes are well-formed in their encoding and can be a document. Raises nothing but std::bad_alloc.
bool DecodeXmlBytes(std::string_view bytes, Text& text, platform::XmlLoadError& error);

/// Tells whether the XML declaration of a text names an encoding.
bool NamesEncoding(TextView text);

}  // namespace nerio::tool
