#include "nerio/hosts/portable/text/ansi_fold.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "nerio/hosts/portable/text/code_page_1252.h"

namespace nerio::platform {
namespace {

constexpr std::array<char, 256> FoldTable() {
  std::array<char, 256> table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    const bool asciiCapital = byte >= 'A' && byte <= 'Z';
    const bool accentedCapital = byte >= 0xC0 && byte <= 0xDE && byte != 0xD7;  // D7 is the multiplication sign
    table[byte] = static_cast<char>(asciiCapital || accentedCapital ? byte + 0x20 : byte);
  }
  table[0x8A] = static_cast<char>(0x9A);  // Š
  table[0x8C] = static_cast<char>(0x9C);  // Œ
  table[0x8E] = static_cast<char>(0x9E);  // Ž
  table[0x9F] = static_cast<char>(0xFF);  // Ÿ
  return table;
}

constexpr std::array<char, 256> kFolded = FoldTable();

// Within this file, where the compiler may not put a function's body in place of a call that a shared library could
// divert.
constexpr char Folded(char byte) { return kFolded[static_cast<unsigned char>(byte)]; }

}  // namespace

char FoldAnsi(char byte) { return Folded(byte); }

AnsiText FoldAnsi(std::string_view name) {
  AnsiText folded(name);
  for (char& byte : folded) byte = Folded(byte);
  return folded;
}

bool SameAnsiName(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) { return Folded(a) == Folded(b); });
}

bool AnsiNameOrder::operator()(std::string_view left, std::string_view right) const {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return UnitOf1252(Folded(a)) < UnitOf1252(Folded(b)); });
}

}  // namespace nerio::platform
