#pragma once

namespace nerio::platform {

/// Returns the small letter of a capital letter of the Latin, Greek, Cyrillic and Armenian scripts, unit by unit, and
/// every other unit unchanged. The region plays no part.
char16_t FoldCase(char16_t unit);

}  // namespace nerio::platform
