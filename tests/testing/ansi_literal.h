#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "nerio/types/ansi_text.h"

namespace nerio {

/// The characters of a literal, which are the same in every ANSI code page: anything but ASCII does not compile.
template <std::size_t size>
struct AsciiLiteral {
  consteval AsciiLiteral(const char (&literal)[size]) {  // NOLINT(google-explicit-constructor): a literal stands for it
    for (std::size_t i = 0; i < size; ++i) {
      if (static_cast<unsigned char>(literal[i]) >= 0x80) throw "not ASCII";
      characters[i] = literal[i];
    }
  }
  char characters[size]{};
};

/// Writes a text of ASCII, NULs included: `"Software\\App"_ansi`. Other bytes are spelt out: `AnsiText("\xE8")`.
template <AsciiLiteral literal>
AnsiText operator""_ansi() {
  return AnsiText(std::string(literal.characters, sizeof literal.characters - 1));
}

// For the messages of tests.
inline std::ostream& operator<<(std::ostream& out, const AnsiText& text) { return out << text.bytes(); }

}  // namespace nerio
