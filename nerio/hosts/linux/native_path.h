#pragma once

#include <string>
#include <string_view>

#include "nerio/types/text.h"

namespace nerio::platform {

/// Turns a path of the system, any bytes, into the layer's form: UTF-8 becomes UTF-16 and "/" becomes "\". Nothing is
/// lost: a byte that is no part of well-formed UTF-8 becomes the lone low surrogate U+DC00 + byte (U+DC80 to U+DCFF),
/// and so does a "\" inside a name (U+DC5C), so that `NativePath` gives back the same bytes.
Text TextFromNativePath(std::string_view path);

/// Turns a path in the layer's form into the system's: "\" becomes "/", the lone low surrogates that
/// `TextFromNativePath` writes become their byte, all other text becomes UTF-8. Any other lone surrogate becomes
/// U+FFFD.
std::string NativePath(TextView path);

}  // namespace nerio::platform
