#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Converts a text to UTF-8. A lone surrogate becomes U+FFFD (EF BF BD). Raises nothing but std::bad_alloc.
NERIO_PUBLIC std::string ToUtf8(TextView text);

/// Converts UTF-8 to a text. Every maximal ill-formed sequence becomes one U+FFFD. Raises nothing but std::bad_alloc.
NERIO_PUBLIC Text FromUtf8(std::string_view utf8);

/// Returns how many bytes from the front are well-formed UTF-8, in whole characters; all of them when nothing is wrong.
NERIO_PUBLIC std::size_t WellFormedUtf8(std::string_view bytes);

/// Tells whether bytes are well-formed UTF-8: shortest forms only, no surrogates, nothing above U+10FFFF.
NERIO_PUBLIC bool IsUtf8(std::string_view bytes);

}  // namespace nerio
