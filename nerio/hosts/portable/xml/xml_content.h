#pragma once

#include <cstdint>

#include "nerio/hosts/portable/xml/xml_names.h"
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
constexpr bool Stops(char16_t unit, Form form) noexcept {
  switch (unit) {
    case u'<':
    case u'&':
      return form != Form::kVerbatim;
    case u']':
      return form == Form::kText;
    case u'\t':
    case u'\n':
      return form == Form::kAttribute;
    default:
      return unit < 0x20 || (unit >= 0xD800 && !IsCharacterUnit(unit));
  }
}

/// Gives a value of `tree` its text from a piece of the document. Throws a `Failure` where the piece is not well-formed, and
/// std::bad_alloc.
void StoreContent(Tree& tree, Value& value, TextView piece, Form form);

}  // namespace nerio::platform::xml
