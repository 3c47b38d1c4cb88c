#include "nerio/hosts/portable/text/code_page_1252.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

namespace nerio::platform {
namespace {

using namespace std::string_view_literals;

constexpr char kReplacement = '?';

// The characters of the bytes 80 to 9F. Every other byte has the code unit of its own number.
constexpr char16_t kUnitsFrom80[] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

// A run of code units from U+0100 on: the byte of each one, exact or best fit; NUL where there is none.
struct Run {
  char16_t first;
  std::string_view bytes;
};

constexpr Run kRuns[] = {
    {u'\x0100',
     "AaAaAaCcCcCcCcDd\320dEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIi\0\0JjKk\0LlLlLl\0\0LlNnNnNn\0\0\0OoOoOo\214\234RrRrRrSsSsSs\212\232TtTtTtUuUuUuUuUuUuWwYy\237ZzZz\216\236\0b"sv},
    {u'\x0189', "\320"sv},
    {u'\x0191', "\203\203\0\0\0\0I\0\0l\0\0\0\0OOo"sv},
    {u'\x01AB', "t\0\0TUu\0\0\0\0\0z"sv},
    {u'\x01C0', "|\0\0!"sv},
    {u'\x01CD', "AaIiOoUuUuUuUuUu\0Aa\0\0\0\0GgGgKkOoOo\0\0j"sv},
    {u'\x0261', "g"sv},
    {u'\x02B9', "'\"\0'"sv},
    {u'\x02C4', "^\0\210\0'\257\264`\0_"sv},
    {u'\x02DA', "\260\0\230"sv},
    {u'\x0300', "`\264^~\257\257\0\0\250\0\260\0\0\0\""sv},
    {u'\x0327', "\270"sv},
    {u'\x0331', "__"sv},
    {u'\x037E', ";"sv},
    {u'\x0393', "G\0\0\0\0T"sv},
    {u'\x03A3', "S\0\0F\0\0O"sv},
    {u'\x03B1', "a\337\0de"sv},
    {u'\x03BC', "\265\0\0\0p\0\0st\0f"sv},
    {u'\x04BB', "h"sv},
    {u'\x0589', ":"sv},
    {u'\x066A', "%"sv},
    {u'\x2000', "       "sv},
    {u'\x2010', "--\0\226\227\0\0=\221\222\202\0\223\224\204\0\206\207\225\0\267\0\205"sv},
    {u'\x2030', "\211\0'\0\0`\0\0\0\213\233"sv},
    {u'\x2044', "/"sv},
    {u'\x2070', "\260\0\0\00045678"sv},
    {u'\x207F', "n0123456789"sv},
    {u'\x20A1', "\242\0\0\243\0\0P\0\0\0\0\200"sv},
    {u'\x2102', "C\0\0\0\0E\0\0gHHHh\0IILl\0N\0\0PPQRRR\0\0\0\0\231\0Z\0\0\0Z\0K\305BCeeEF\0Mo"sv},
    {u'\x2205', "\330"sv},
    {u'\x2212', "-\261\0/\\*\260\267v\0\0\0008\0\0\0\0|\0\0\0\0\0n"sv},
    {u'\x2236', ":\0\0\0\0\0~"sv},
    {u'\x2248', "\230"sv},
    {u'\x2261', "=\0\0==\0\0\0\0\253\273"sv},
    {u'\x22C5', "\267"sv},
    {u'\x2302', "\246^"sv},
    {u'\x2310', "\254"sv},
    {u'\x2320', "()"sv},
    {u'\x2329', "<>"sv},
    {u'\x2500', "-\0\246"sv},
    {u'\x250C', "+\0\0\0+\0\0\0+\0\0\0+\0\0\0+"sv},
    {u'\x2524', "\246"sv},
    {u'\x252C', "-"sv},
    {u'\x2534', "-"sv},
    {u'\x253C', "+"sv},
    {u'\x2550', "-\246++++++++++++\246\246\246\246\246\246------+++"sv},
    {u'\x2580', "\257\0\0\0_\0\0\0\246\0\0\0\246\0\0\0\246\246\246\246"sv},
    {u'\x25A0', "\246"sv},
    {u'\x263C', "\244"sv},
    {u'\x2758', "|"sv},
    {u'\x3000', " "sv},
    {u'\x3008', "<>\253\273"sv},
    {u'\x301A', "[]"sv},
    {u'\x30FB', "\267"sv},
    {u'\xFF01', "!\"#$%&'()*+,-./0123456789:;<=>\0@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~"sv},
};

char ByteFrom100(char16_t unit) {
  const Run* after = std::upper_bound(std::begin(kRuns), std::end(kRuns), unit,
                                      [](char16_t wanted, const Run& run) { return wanted < run.first; });
  if (after == std::begin(kRuns)) return kReplacement;
  const Run& run = *(after - 1);
  const std::size_t offset = static_cast<std::size_t>(unit - run.first);
  if (offset >= run.bytes.size() || run.bytes[offset] == '\0') return kReplacement;
  return run.bytes[offset];
}

char ByteOf(char16_t unit) {
  if (unit >= 0x100) return ByteFrom100(unit);
  if (unit >= 0x80 && unit < 0xA0 && kUnitsFrom80[unit - 0x80] != unit) return kReplacement;
  return static_cast<char>(unit);
}

// Copies elements one by one and returns all their bits. ASCII, the common case, is right like that; the loop has no
// branches, so that the compiler makes it work on many elements at once.
template <typename From, typename To>
unsigned CopyAsAscii(const From* from, To* to, std::size_t count) {
  unsigned bits = 0;
  for (std::size_t i = 0; i < count; ++i) {
    to[i] = static_cast<To>(from[i]);
    bits |= from[i];
  }
  return bits;
}

constexpr unsigned kFirstBeyondAscii = 0x80;

}  // namespace

char16_t UnitOf1252(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= 0x80 && value < 0xA0 ? kUnitsFrom80[value - 0x80] : static_cast<char16_t>(value);
}

AnsiText CodePage1252::ToAnsi(TextView text) {
  std::string bytes(text.size(), '\0');
  const unsigned bits = CopyAsAscii(text.data(), bytes.data(), text.size());
  if (bits >= kFirstBeyondAscii) std::transform(text.begin(), text.end(), bytes.begin(), ByteOf);
  return AnsiText(std::move(bytes));
}

Text CodePage1252::ToText(std::string_view bytes) {
  Text text(bytes.size(), u'\0');
  const auto* const from = reinterpret_cast<const unsigned char*>(bytes.data());
  const unsigned bits = CopyAsAscii(from, text.data(), bytes.size());
  if (bits >= kFirstBeyondAscii) std::transform(bytes.begin(), bytes.end(), text.begin(), UnitOf1252);
  return text;
}

}  // namespace nerio::platform
