#include "nerio/hosts/portable/base64/base64_lines.h"

#include <algorithm>

namespace nerio::platform {
namespace {

// Longer lines are not looked for. So many characters are put together, since the codec works on many at once, and stay
// in the nearest cache.
constexpr std::size_t kMostColumns = 1024;
constexpr std::size_t kPieceUnits = 4 * kMostColumns;

}  // namespace

Base64Lines LinesOf(TextView text) noexcept {
  Base64Lines lines;
  const std::size_t first = text.substr(0, kMostColumns + 1).find_first_of(u"\r\n");
  if (first == TextView::npos || first == 0 || first % 4 != 0) return lines;
  lines.columns = static_cast<std::uint16_t>(first);
  lines.returns = text[first] == u'\r';
  lines.ended = text.ends_with(lines.End());
  return lines;
}

std::uint8_t* ReadBase64Lines(TextView text, const Base64Lines& lines, std::uint8_t* out,
                              Base64Method method) noexcept {
  const TextView end = lines.End();
  const std::size_t columns = lines.columns;
  if (lines.ended) text.remove_suffix(end.size());
  while (text.size() > columns) {
    alignas(64) char16_t piece[kPieceUnits];
    std::size_t count = 0;
    for (; text.size() > columns && count + columns <= kPieceUnits; count += columns) {
      if (text.substr(columns, end.size()) != end) return nullptr;
      std::copy_n(text.data(), columns, piece + count);
      text.remove_prefix(columns + end.size());
    }
    std::uint8_t* const next = ReadPlainBase64({piece, count}, out, method);
    // Padding ends the last line only.
    if (next == nullptr || next != out + count / 4 * 3) return nullptr;
    out = next;
  }
  // There is no line without characters.
  return text.empty() ? nullptr : ReadPlainBase64(text, out, method);
}

std::size_t Base64Length(std::size_t byteCount, const Base64Lines& lines) noexcept {
  const std::size_t length = Base64Length(byteCount);
  if (lines.columns == 0) return length;
  return length + ((length - 1) / lines.columns + (lines.ended ? 1 : 0)) * lines.End().size();
}

Text Base64Of(std::span<const std::uint8_t> bytes, const Base64Lines& lines) {
  if (lines.columns == 0) return Base64Of(bytes);
  const Text text = Base64Of(bytes);
  Text broken;
  broken.reserve(Base64Length(bytes.size(), lines));
  for (std::size_t i = 0; i < text.size(); i += lines.columns) {
    if (i != 0) broken += lines.End();
    broken.append(text, i, lines.columns);
  }
  if (lines.ended) broken += lines.End();
  return broken;
}

}  // namespace nerio::platform
