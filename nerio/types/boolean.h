#pragma once

#include <cstdint>

#include "nerio/types/text.h"

namespace nerio {

/// Carries a truth value across an interface: True is -1 and False is 0, in 16 bits. Any other value that a foreign
/// caller hands in counts as true, as it does for the language's own conditions.
enum Boolean : std::int16_t { False = 0, True = -1 };

/// Turns a condition into the value that crosses an interface.
constexpr Boolean ToBoolean(bool condition) { return condition ? True : False; }

/// Returns the text of a truth value, "True" or "False" whatever the host's language is.
constexpr TextView TextOf(Boolean value) { return value != False ? u"True" : u"False"; }

}  // namespace nerio
