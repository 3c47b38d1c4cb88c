#pragma once

#include <concepts>
#include <cstdint>

#include "nerio/types/text.h"

// Xlib.h has macros of these names. They are set aside here and are as before after this header.
#pragma push_macro("True")
#pragma push_macro("False")
#undef True
#undef False

namespace nerio {

/// Carries a truth value across an interface: True is -1 and False is 0, in 16 bits. Any other value that a foreign
/// caller hands in counts as true, as it does for the language's own conditions.
enum Boolean : std::int16_t { False = 0, True = -1 };

/// The same values by names that no macro of another library takes.
constexpr Boolean kFalse = False;
constexpr Boolean kTrue = True;

/// Refuses to compile a comparison with a `bool`: `true` is 1, which True is not. Compare with True or False.
template <std::same_as<bool> Other>
bool operator==(Boolean, Other) = delete;

/// Turns a condition into the value that crosses an interface.
constexpr Boolean ToBoolean(bool condition) { return condition ? True : False; }

/// Returns the text of a truth value, "True" or "False" whatever the host's language is.
constexpr TextView TextOf(Boolean value) { return value != False ? u"True" : u"False"; }

}  // namespace nerio

#pragma pop_macro("True")
#pragma pop_macro("False")
