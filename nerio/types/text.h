#pragma once

#include <string>
#include <string_view>

namespace nerio {

/// Holds a text as UTF-16 code units. Lone surrogates and NUL are legal content; an empty text and a missing text are
/// the same value. Lengths are code units, never bytes.
using Text = std::u16string;

/// Views a text owned by somebody else, as UTF-16 code units.
using TextView = std::u16string_view;

}  // namespace nerio
