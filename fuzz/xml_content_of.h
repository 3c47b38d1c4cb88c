#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "nerio/types/text.h"

namespace nerio::fuzz {

/// What three parsers read of one document, in one form: a line for each element, attribute, text, CDATA section, comment
/// and instruction, in UTF-8, attributes in the order of their names. Nothing where the document is refused.
///
/// Left out of it is what the DOM leaves out (texts of blanks only) and what the parsers tell in ways that cannot be
/// compared: the XML declaration, where one CDATA section ends and the next begins, and a declaration of the prefix xml,
/// which libxml2 does not keep.
using Content = std::optional<std::string>;

/// Reads a document with this library.
Content ContentOf(TextView xml);
/// Reads a document with expat. `xml` is UTF-8, whatever its declaration names.
Content ContentByExpat(const std::string& xml);
/// Reads a document with libxml2. `xml` is UTF-8, whatever its declaration names.
Content ContentByLibxml2(const std::string& xml);

}  // namespace nerio::fuzz
