#pragma once

#include <cstdint>

#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// How a piece of a document becomes a value.
enum class Form : std::uint8_t {
  kText,       ///< references resolved, line ends become LF
  kAttribute,  ///< the same, and every blank becomes a space
  kVerbatim,   ///< line ends become LF
};

/// Tells whether a code unit of a piece may have to be stored in another way than it stands there, or refused.
bool Stops(char16_t unit, Form form) noexcept;

/// Gives a value its text from a piece of the document. Throws a `Failure` where the piece is not well-formed, and
/// std::bad_alloc.
void StoreContent(Value& value, TextView piece, Form form);

}  // namespace nerio::platform::xml
