// Decodes any text as Base64 and compares the answer with a decoder written for being read.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "fuzz/fuzz_input.h"
#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/hosts/portable/base64/base64_lines.h"

namespace {

using nerio::Bytes;
using nerio::Text;
using nerio::TextView;
using nerio::fuzz::Require;

std::optional<Bytes> Reference(TextView text) {
  const std::u16string alphabet = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::u16string compact;
  for (const char16_t unit : text) {
    if (unit != u' ' && unit != u'\t' && unit != u'\r' && unit != u'\n') compact += unit;
  }
  if (compact.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && !compact.empty() && compact.back() == u'=') {
    compact.pop_back();
    ++padding;
  }
  std::string bits;
  for (const char16_t unit : compact) {
    const auto value = alphabet.find(unit);
    if (value == std::u16string::npos) return std::nullopt;
    for (int bit = 5; bit >= 0; --bit) bits += (value >> bit & 1) != 0 ? '1' : '0';
  }
  Bytes bytes;
  for (std::size_t i = 0; i + 8 <= bits.size(); i += 8) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(bits.substr(i, 8), nullptr, 2)));
  }
  return bytes;
}

// A text in lines that is read as such means what it means to any reader, and is written again as it was.
void RequireLines(const Text& text, const std::optional<Bytes>& expected, nerio::platform::Base64Method method) {
  const nerio::platform::Base64Lines lines = nerio::platform::LinesOf(text);
  if (lines.columns == 0) return;
  Bytes room(text.size() / 4 * 3);
  const std::uint8_t* const end = nerio::platform::ReadBase64Lines(text, lines, room.data(), method);
  if (end == nullptr) return;
  room.resize(static_cast<std::size_t>(end - room.data()));
  Require(room == expected);
  Require(nerio::platform::Base64Of(room, lines) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte says how the rest becomes text.
  if (size == 0) return 0;
  const Text text = nerio::fuzz::TextOf({data + 1, size - 1}, data[0] % 2 != 0);

  const std::optional<Bytes> expected = Reference(text);
  const Bytes content(data, data + size);
  for (auto method = nerio::platform::ThisProcessorsBase64(); !method.empty(); method = method.subspan(1)) {
    Bytes bytes(3, 0xA5);
    Require(nerio::platform::ReadBase64(text, bytes, method) == expected.has_value());
    Require(nerio::fuzz::AsAnswered(bytes, 0) == expected.value_or(Bytes()));

    // Any bytes come back from their Base64 form.
    Text encoded(nerio::platform::Base64Length(content.size()), u'?');
    nerio::platform::WriteBase64(content, encoded.data(), method);
    Require(nerio::platform::ReadBase64(encoded, bytes, method));
    Require(bytes == content);
    Require(Reference(encoded) == content);
    Bytes room(encoded.size() / 4 * 3);
    Require(nerio::platform::ReadPlainBase64(encoded, room.data(), method) == room.data() + content.size());
    RequireLines(text, expected, method);
    const nerio::platform::Base64Lines lines{
        .columns = static_cast<std::uint16_t>(4 + data[0] % 32 * 4), .returns = data[0] / 32 % 2 != 0, .ended = true};
    const Text inLines = nerio::platform::Base64Of(content, lines);
    Require(nerio::platform::LinesOf(inLines).columns != 0);
    RequireLines(inLines, content, method);
  }
  return 0;
}
