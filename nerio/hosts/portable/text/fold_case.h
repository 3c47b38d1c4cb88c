#pragma once

#include <string>
#include <string_view>

#include "nerio/types/ansi_text.h"
#include "nerio/types/text.h"

namespace nerio::platform {

/// Returns the small letter of a capital letter of the Latin, Greek, Cyrillic and Armenian scripts, unit by unit, and
/// every other unit unchanged. The region plays no part.
char16_t FoldCase(char16_t unit);

/// The same for one byte of code page 1252. One byte for one byte: "ß" stays itself and never equals "SS".
char FoldAnsi(char byte);

/// Folds the case of a name in code page 1252. Two registry names are the same exactly when their folded forms are.
std::string FoldAnsi(std::string_view name);

/// Tells whether two names are the same registry name: whether they differ in case only.
bool SameAnsiName(std::string_view left, std::string_view right);

/// Orders names in code page 1252 as the registry enumerates them: by the code units of their folded characters, so "\"
/// comes before "a" and "ÿ" before "š". Names that differ in case only are equivalent; names need not be folded.
struct AnsiNameOrder {
  using is_transparent = void;
  bool operator()(std::string_view left, std::string_view right) const;
  bool operator()(const AnsiText& left, const AnsiText& right) const {
    return (*this)(std::string_view(left.bytes()), std::string_view(right.bytes()));
  }
};

}  // namespace nerio::platform
