#include "nerio/hosts/portable/text/fold_case.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "nerio/hosts/portable/text/code_page_1252.h"

namespace nerio::platform {
namespace {

constexpr bool Within(char16_t unit, char16_t first, char16_t last) { return first <= unit && unit <= last; }

// Blocks where a capital letter stands right before its small one, on even or on odd places.
constexpr bool IsCapitalBeforeSmall(char16_t unit) {
  if (Within(unit, 0x0139, 0x0148) || Within(unit, 0x0179, 0x017E)) return unit % 2 == 1;
  // 0130 and 0131 are the dotted capital I and the dotless small i, which are nobody's pair.
  if (Within(unit, 0x0100, 0x012F) || Within(unit, 0x0132, 0x0137) || Within(unit, 0x014A, 0x0177))
    return unit % 2 == 0;
  if (Within(unit, 0x0218, 0x021F) || Within(unit, 0x0460, 0x0481) || Within(unit, 0x048A, 0x04BF))
    return unit % 2 == 0;
  return Within(unit, 0x04D0, 0x052F) || Within(unit, 0x1E00, 0x1E95) || Within(unit, 0x1EA0, 0x1EFF) ? unit % 2 == 0
                                                                                                      : false;
}

// Blocks where all capital letters stand a fixed distance before their small ones.
constexpr char16_t DistanceToSmall(char16_t unit) {
  if (Within(unit, 0x00C0, 0x00DE)) return unit == 0x00D7 ? 0 : 0x20;  // 00D7 is the multiplication sign
  if (Within(unit, 0x0391, 0x03AB)) return unit == 0x03A2 ? 0 : 0x20;  // 03A2 is no letter
  if (Within(unit, 0x0388, 0x038A)) return 0x25;
  if (Within(unit, 0x0410, 0x042F)) return 0x20;
  if (Within(unit, 0x0400, 0x040F)) return 0x50;
  return Within(unit, 0x0531, 0x0556) ? 0x30 : 0;
}

constexpr char16_t Folded(char16_t unit) {
  if (unit < 0x80) return u'A' <= unit && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
  switch (unit) {
    case 0x0178:
      return 0x00FF;
    case 0x0386:
      return 0x03AC;
    case 0x038C:
      return 0x03CC;
    case 0x038E:
      return 0x03CD;
    case 0x038F:
      return 0x03CE;
    default:
      break;
  }
  if (IsCapitalBeforeSmall(unit)) return static_cast<char16_t>(unit + 1);
  return static_cast<char16_t>(unit + DistanceToSmall(unit));
}

constexpr std::array<char, 256> FoldTable() {
  std::array<char, 256> table{};
  // Except for 80 to 9F a byte is the code unit of its own number; as units those have no case.
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    table[byte] = static_cast<char>(Folded(static_cast<char16_t>(byte)));
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

// The code units of the folded bytes, by which names are ordered.
const std::array<char16_t, 256>& UnitsInOrder() {
  static const std::array<char16_t, 256> units = [] {
    std::array<char16_t, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) table[byte] = UnitOf1252(kFolded[byte]);
    return table;
  }();
  return units;
}

}  // namespace

char16_t FoldCase(char16_t unit) { return Folded(unit); }

char FoldAnsi(char byte) { return Folded(byte); }

std::string FoldAnsi(std::string_view name) {
  std::string folded(name);
  for (char& byte : folded) byte = Folded(byte);
  return folded;
}

bool SameAnsiName(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) { return Folded(a) == Folded(b); });
}

bool AnsiNameOrder::operator()(std::string_view left, std::string_view right) const {
  const std::array<char16_t, 256>& units = UnitsInOrder();
  const std::size_t common = std::min(left.size(), right.size());
  for (std::size_t i = 0; i < common; ++i) {
    const char16_t one = units[static_cast<unsigned char>(left[i])];
    const char16_t other = units[static_cast<unsigned char>(right[i])];
    if (one != other) return one < other;
  }
  return left.size() < right.size();
}

}  // namespace nerio::platform
