#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "nerio/platform/code_page.h"
#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"

namespace nerio::tool {

/// Says that a text is not a key, a name or a text that the registry can hold; `what()` says why, in UTF-8.
class BadText : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Names a key: a predefined root and the path below it, in bytes of the ANSI code page. The levels of the path are
/// separated by single "\", with none at its ends; the empty path names the root itself.
struct RegistryKey {
  platform::KeyHandle root = 0;
  AnsiText path;

  friend bool operator==(const RegistryKey&, const RegistryKey&) = default;
};

/// Longest name of one level of a path, in characters.
constexpr std::size_t kMaxKeyName = 256;
/// Longest name of a value, in characters.
constexpr std::size_t kMaxValueName = 16383;

/// Reads a key such as `HKLM\Software\Nerio` or `HKEY_LOCAL_MACHINE\Software\Nerio`; roots in upper or lower case.
/// Several separators in a row count as one and one at the end as none.
/// @throws BadText for an unknown root, a level that is too long, a NUL, or a character outside the code page.
RegistryKey ParseKey(TextView text, platform::CodePage& codePage);

/// Returns the length of the root's name that a text begins with, in upper or lower case; 0 where it begins with none.
std::size_t RootNameLength(TextView text);

/// Writes a key with the long name of its root.
Text KeyText(const RegistryKey& key, platform::CodePage& codePage);

/// Writes a key as `KeyText` does, in UTF-8.
std::string ShownKey(const RegistryKey& key, platform::CodePage& codePage);

/// Writes the name of a value in quotes and UTF-8; "the unnamed value" for the empty name.
std::string ShownName(const AnsiText& name, platform::CodePage& codePage);

/// Writes which value of which key is meant.
std::string ShownValue(const RegistryKey& key, const AnsiText& name, platform::CodePage& codePage);

/// Returns a text with its capital letters made small.
Text Folded(Text text);

/// Returns a name, or a path, with its capital letters made small: two are one to the registry when these are equal.
Text FoldedName(const AnsiText& name, platform::CodePage& codePage);

/// Reads the name of a value; the empty name is the unnamed value.
/// @throws BadText for a name that is too long, has a NUL or a character outside the code page.
AnsiText ParseValueName(TextView text, platform::CodePage& codePage);

/// Converts a text to bytes of the ANSI code page, or refuses: nothing is ever replaced.
/// @throws BadText naming the first character that the code page does not hold.
AnsiText ToAnsiExactly(TextView text, platform::CodePage& codePage);

/// Names the key above; the root's own path is empty, and so is that of what is above it.
RegistryKey UpperKey(const RegistryKey& key);

/// Joins two parts of a path; either may be empty.
AnsiText JoinPath(const AnsiText& upper, const AnsiText& lower);

}  // namespace nerio::tool
