#include "nerio/types/utf8.h"

#include <cstddef>
#include <cstdint>

#include "nerio/types/surrogates.h"

namespace nerio {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t point) {
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += static_cast<char>(0xC0 | (point >> 6));
    out += static_cast<char>(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    out += static_cast<char>(0xE0 | (point >> 12));
    out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (point & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (point >> 18));
    out += static_cast<char>(0x80 | ((point >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (point & 0x3F));
  }
}

struct Decoded {
  char32_t point;      // kReplacement when ill-formed
  std::size_t length;  // bytes consumed, at least 1
  bool wellFormed;
};

// Decodes the sequence at the front of a non-empty view. The bounds of the second byte (Unicode, table 3-7) refuse
// overlong forms, surrogates and points above U+10FFFF at the first byte that cannot continue the sequence.
Decoded DecodeFront(std::string_view bytes) {
  const auto lead = static_cast<std::uint8_t>(bytes[0]);
  if (lead < 0x80) return {lead, 1, true};
  std::size_t length = 0;
  std::uint8_t low = 0x80;
  std::uint8_t high = 0xBF;
  char32_t point = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    point = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    point = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    point = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return {kReplacement, 1, false};
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (i == bytes.size()) return {kReplacement, i, false};
    const auto next = static_cast<std::uint8_t>(bytes[i]);
    if (next < low || next > high) return {kReplacement, i, false};
    low = 0x80;
    high = 0xBF;
    point = (point << 6) | (next & 0x3F);
  }
  return {point, length, true};
}

}  // namespace

std::string ToUtf8(TextView text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (IsPairAt(text, i)) {
      AppendUtf8(out, PointOfPair(unit, text[i + 1]));
      ++i;
    } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
      AppendUtf8(out, kReplacement);
    } else {
      AppendUtf8(out, unit);
    }
  }
  return out;
}

Text FromUtf8(std::string_view utf8) {
  Text out;
  out.reserve(utf8.size());
  while (!utf8.empty()) {
    const Decoded decoded = DecodeFront(utf8);
    AppendPoint(out, decoded.point);
    utf8.remove_prefix(decoded.length);
  }
  return out;
}

std::size_t WellFormedUtf8(std::string_view bytes) {
  std::size_t length = 0;
  while (length < bytes.size()) {
    const Decoded decoded = DecodeFront(bytes.substr(length));
    if (!decoded.wellFormed) break;
    length += decoded.length;
  }
  return length;
}

bool IsUtf8(std::string_view bytes) { return WellFormedUtf8(bytes) == bytes.size(); }

}  // namespace nerio
