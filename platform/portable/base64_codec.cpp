#include "platform/portable/base64_codec.h"

#include <array>

namespace nerio::platform {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// What a character stands for: 0 to 63, or one of the kinds below, which all have a bit that no value has.
constexpr std::uint8_t kNoValue = 0x40;
constexpr std::uint8_t kBlank = 0x41;
constexpr std::uint8_t kPadding = 0x42;
constexpr std::uint8_t kRefused = 0x43;

constexpr std::array<std::uint8_t, 256> MakeMeanings() {
  std::array<std::uint8_t, 256> meanings{};
  meanings.fill(kRefused);
  for (std::uint8_t value = 0; value < 64; ++value) meanings[static_cast<std::uint8_t>(kAlphabet[value])] = value;
  for (const char blank : {' ', '\t', '\r', '\n'}) meanings[static_cast<std::uint8_t>(blank)] = kBlank;
  meanings['='] = kPadding;
  return meanings;
}
constexpr auto kMeanings = MakeMeanings();

std::uint8_t MeaningOf(char16_t unit) { return unit < kMeanings.size() ? kMeanings[unit] : kRefused; }

char16_t CharacterOf(std::uint32_t value) { return static_cast<char16_t>(kAlphabet[value & 0x3F]); }

std::uint8_t* WriteGroup(std::uint32_t group, std::uint8_t* out) {
  out[0] = static_cast<std::uint8_t>(group >> 16);
  out[1] = static_cast<std::uint8_t>(group >> 8);
  out[2] = static_cast<std::uint8_t>(group);
  return out + 3;
}

// Reads into a buffer with room for three bytes per four characters begun. Returns the end of what was written, null
// when the text is not Base64.
std::uint8_t* Read(TextView text, std::uint8_t* out) {
  std::uint32_t group = 0;  // the values of the group that is being read
  unsigned count = 0;       // how many of them
  unsigned padding = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (count == 0 && padding == 0) {
      for (; text.size() - i >= 4; i += 4) {
        const std::uint32_t a = MeaningOf(text[i]);
        const std::uint32_t b = MeaningOf(text[i + 1]);
        const std::uint32_t c = MeaningOf(text[i + 2]);
        const std::uint32_t d = MeaningOf(text[i + 3]);
        if (((a | b | c | d) & kNoValue) != 0) break;
        out = WriteGroup(a << 18 | b << 12 | c << 6 | d, out);
      }
      if (i == text.size()) break;
    }
    const std::uint8_t meaning = MeaningOf(text[i]);
    if (meaning == kBlank) continue;
    if (meaning == kPadding) {
      if (++padding > 2) return nullptr;
      continue;
    }
    if (meaning == kRefused || padding != 0) return nullptr;
    group = group << 6 | meaning;
    if (++count == 4) {
      out = WriteGroup(group & 0xFFFFFF, out);
      count = 0;
    }
  }
  if (count + padding == 0) return out;
  if (count + padding != 4) return nullptr;
  // The last group has two or three characters, which hold one or two bytes.
  group <<= 6 * padding;
  *out++ = static_cast<std::uint8_t>(group >> 16);
  if (count == 3) *out++ = static_cast<std::uint8_t>(group >> 8);
  return out;
}

}  // namespace

void WriteBase64(std::span<const std::uint8_t> bytes, char16_t* out) noexcept {
  std::size_t i = 0;
  for (; bytes.size() - i >= 3; i += 3, out += 4) {
    const std::uint32_t group = std::uint32_t{bytes[i]} << 16 | std::uint32_t{bytes[i + 1]} << 8 | bytes[i + 2];
    out[0] = CharacterOf(group >> 18);
    out[1] = CharacterOf(group >> 12);
    out[2] = CharacterOf(group >> 6);
    out[3] = CharacterOf(group);
  }
  const std::size_t rest = bytes.size() - i;
  if (rest == 0) return;
  const std::uint32_t group = std::uint32_t{bytes[i]} << 16 | (rest == 2 ? std::uint32_t{bytes[i + 1]} << 8 : 0);
  out[0] = CharacterOf(group >> 18);
  out[1] = CharacterOf(group >> 12);
  out[2] = rest == 2 ? CharacterOf(group >> 6) : u'=';
  out[3] = u'=';
}

bool ReadBase64(TextView text, Bytes& bytes) {
  bytes.resize(text.size() / 4 * 3 + 3);
  const std::uint8_t* const end = Read(text, bytes.data());
  bytes.resize(end != nullptr ? static_cast<std::size_t>(end - bytes.data()) : 0);
  return end != nullptr;
}

}  // namespace nerio::platform
