#pragma once

#include <array>
#include <cstdint>

#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// Tells whether a code unit may begin a name: a letter of XML 1.0 (4th edition, appendix B), "_" or ":". Names hold
/// nothing beyond U+FFFF, so no surrogate ever may. Raises nothing, as all that follows.
inline bool IsNameStart(char16_t unit) noexcept;

/// Tells whether a code unit may stand in a name after its first one.
inline bool IsNameUnit(char16_t unit) noexcept;

/// Tells whether a text is a Name of XML 1.0 (4th edition). Colons count as letters here: whether a prefix is declared
/// is known only where the name stands. An empty text is not a name.
bool IsName(TextView text) noexcept;

/// Tells whether a text is a name of Namespaces in XML 1.0 without a prefix: a Name without a colon.
bool IsNameWithoutColon(TextView text) noexcept;

/// Views a text up to its first NUL.
inline TextView UpToNul(TextView text) noexcept {
  // Nearly no text holds one; to see that, the compiler makes a loop without a way out work on many units at a time.
  std::uint16_t found = 0;
  for (const char16_t unit : text) found |= static_cast<std::uint16_t>(unit == 0);
  return found != 0 ? text.substr(0, text.find(u'\0')) : text;
}

/// Tells whether two texts are equal but for the case of ASCII letters.
bool EqualInAnyCase(TextView left, TextView right) noexcept;

/// The blanks of XML: space, tab, CR, LF.
constexpr bool IsBlank(char16_t unit) { return unit == u' ' || unit == u'\t' || unit == u'\n' || unit == u'\r'; }

/// A set of code units: one bit for each.
class UnitSet {
 public:
  constexpr void Add(char16_t first, char16_t last) {
    for (std::uint32_t unit = first; unit <= last; ++unit) bits_[unit / 64] |= std::uint64_t{1} << unit % 64;
  }
  constexpr bool Contains(char16_t unit) const { return (bits_[unit / 64] >> unit % 64 & 1) != 0; }

 private:
  std::array<std::uint64_t, 0x10000 / 64> bits_{};
};

/// The units that may begin a name, and those that may stand in one.
extern const UnitSet kNameStarts;
extern const UnitSet kNameUnits;

inline bool IsNameStart(char16_t unit) noexcept { return kNameStarts.Contains(unit); }
inline bool IsNameUnit(char16_t unit) noexcept { return kNameUnits.Contains(unit); }

/// Tells whether a code unit that is not a surrogate is a character of XML 1.0; every pair of surrogates is one.
constexpr bool IsCharacterUnit(char16_t unit) {
  return (unit >= 0x20 && unit < 0xD800) || IsBlank(unit) || (unit >= 0xE000 && unit < 0xFFFE);
}

}  // namespace nerio::platform::xml
