#include "nerio/hosts/portable/base64/base64_codec.h"

#include <algorithm>
#include <array>

#include "nerio/hosts/portable/base64/base64_codec_x86.h"

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

std::size_t WriteGroups(const std::uint8_t* bytes, std::size_t count, char16_t* out) noexcept {
  std::size_t i = 0;
  for (; count - i >= 3; i += 3, out += 4) {
    const std::uint32_t group = std::uint32_t{bytes[i]} << 16 | std::uint32_t{bytes[i + 1]} << 8 | bytes[i + 2];
    out[0] = CharacterOf(group >> 18);
    out[1] = CharacterOf(group >> 12);
    out[2] = CharacterOf(group >> 6);
    out[3] = CharacterOf(group);
  }
  return i;
}

std::size_t ReadGroups(const char16_t* text, std::size_t count, std::uint8_t* out) noexcept {
  std::size_t i = 0;
  for (; count - i >= 4; i += 4) {
    const std::uint32_t a = MeaningOf(text[i]);
    const std::uint32_t b = MeaningOf(text[i + 1]);
    const std::uint32_t c = MeaningOf(text[i + 2]);
    const std::uint32_t d = MeaningOf(text[i + 3]);
    if (((a | b | c | d) & kNoValue) != 0) break;
    out = WriteGroup(a << 18 | b << 12 | c << 6 | d, out);
  }
  return i;
}

// The fastest first. A processor that supports one supports all that follow.
#if defined(NERIO_BASE64_X86)
constexpr Base64Blocks kBlocks[] = {{"AVX-512 VBMI", WriteBase64ByVbmi, ReadBase64ByVbmi},
                                    {"SSSE3", WriteBase64BySsse3, ReadBase64BySsse3},
                                    {"portable", WriteGroups, ReadGroups}};

std::size_t FirstKnown() {
  if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw")) return 0;
  return __builtin_cpu_supports("ssse3") ? 1 : 2;
}
#else
constexpr Base64Blocks kBlocks[] = {{"portable", WriteGroups, ReadGroups}};

std::size_t FirstKnown() { return 0; }
#endif

// Reads a text piece by piece.
class Reader {
 public:
  explicit Reader(Base64Method method) : method_(method) {}

  // Reads the next piece into room for three bytes for every four characters begun, those of the piece before
  // included. Returns the end of what was written, null when the text is not Base64.
  std::uint8_t* Read(TextView text, std::uint8_t* out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (count_ == 0 && padding_ == 0) {
        for (const Base64Blocks& blocks : method_) {
          const std::size_t taken = blocks.read(text.data() + i, text.size() - i, out);
          i += taken;
          out += taken / 4 * 3;
        }
        if (i == text.size()) break;
      }
      const std::uint8_t meaning = MeaningOf(text[i]);
      if (meaning == kBlank) continue;
      if (meaning == kPadding) {
        if (++padding_ > 2) return nullptr;
        continue;
      }
      if (meaning == kRefused || padding_ != 0) return nullptr;
      group_ = group_ << 6 | meaning;
      if (++count_ == 4) {
        out = WriteGroup(group_ & 0xFFFFFF, out);
        count_ = 0;
      }
    }
    return out;
  }

  // Writes the last group, of two or three characters, which hold one or two bytes. Returns as `Read`.
  std::uint8_t* End(std::uint8_t* out) const {
    if (count_ + padding_ == 0) return out;
    if (count_ + padding_ != 4) return nullptr;
    const std::uint32_t group = group_ << 6 * padding_;
    *out++ = static_cast<std::uint8_t>(group >> 16);
    if (count_ == 3) *out++ = static_cast<std::uint8_t>(group >> 8);
    return out;
  }

 private:
  Base64Method method_;
  std::uint32_t group_ = 0;  // the values of the group that is being read
  unsigned count_ = 0;       // how many of them
  unsigned padding_ = 0;
};

// What is written or read in one go on its way to a place that grows: it stays in the nearest cache.
constexpr std::size_t kPieceBytes = std::size_t{3} << 10;
constexpr std::size_t kPieceUnits = Base64Length(kPieceBytes);

}  // namespace

Base64Method ThisProcessorsBase64() noexcept { return Base64Method(kBlocks).subspan(FirstKnown()); }

void WriteBase64(std::span<const std::uint8_t> bytes, char16_t* out, Base64Method method) noexcept {
  for (const Base64Blocks& blocks : method) {
    const std::size_t taken = blocks.write(bytes.data(), bytes.size(), out);
    bytes = bytes.subspan(taken);
    out += taken / 3 * 4;
  }
  if (bytes.empty()) return;
  const bool two = bytes.size() == 2;
  const std::uint32_t group = std::uint32_t{bytes[0]} << 16 | (two ? std::uint32_t{bytes[1]} << 8 : 0);
  out[0] = CharacterOf(group >> 18);
  out[1] = CharacterOf(group >> 12);
  out[2] = two ? CharacterOf(group >> 6) : u'=';
  out[3] = u'=';
}

Text Base64Of(std::span<const std::uint8_t> bytes) {
  const Base64Method method = ThisProcessorsBase64();
  // Piece by piece, since a text cannot be given a length without being filled first.
  alignas(64) char16_t piece[kPieceUnits];
  if (bytes.size() <= kPieceBytes) {
    WriteBase64(bytes, piece, method);
    return Text(piece, Base64Length(bytes.size()));
  }
  Text text;
  text.reserve(Base64Length(bytes.size()));
  while (!bytes.empty()) {
    const auto next = bytes.first(std::min(bytes.size(), kPieceBytes));
    WriteBase64(next, piece, method);
    text.append(piece, Base64Length(next.size()));
    bytes = bytes.subspan(next.size());
  }
  return text;
}

bool ReadBase64(TextView text, Bytes& bytes, Base64Method method) {
  bytes.clear();
  bytes.reserve(text.size() / 4 * 3);
  Reader reader(method);
  // Up to three characters may be left from the piece before.
  std::array<std::uint8_t, kPieceBytes + 3> piece;
  const auto append = [&](const std::uint8_t* end) {
    if (end == nullptr) {
      bytes.clear();
      return false;
    }
    bytes.insert(bytes.end(), static_cast<const std::uint8_t*>(piece.data()), end);
    return true;
  };
  while (!text.empty()) {
    const TextView next = text.substr(0, kPieceUnits);
    if (!append(reader.Read(next, piece.data()))) return false;
    text.remove_prefix(next.size());
  }
  return append(reader.End(piece.data()));
}

std::uint8_t* ReadPlainBase64(TextView text, std::uint8_t* out, Base64Method method) noexcept {
  if (text.size() % 4 != 0) return nullptr;
  for (const Base64Blocks& blocks : method) {
    const std::size_t taken = blocks.read(text.data(), text.size(), out);
    text.remove_prefix(taken);
    out += taken / 4 * 3;
  }
  if (text.empty()) return out;
  // What is left has to be a last group with padding, whose bits that belong to no byte are zero.
  if (text.size() != 4 || text[3] != u'=') return nullptr;
  const bool two = text[2] != u'=';
  const std::uint32_t a = MeaningOf(text[0]);
  const std::uint32_t b = MeaningOf(text[1]);
  const std::uint32_t c = two ? MeaningOf(text[2]) : std::uint8_t{0};
  if (((a | b | c) & kNoValue) != 0 || (two ? c & 0x3 : b & 0xF) != 0) return nullptr;
  *out++ = static_cast<std::uint8_t>(a << 2 | b >> 4);
  if (two) *out++ = static_cast<std::uint8_t>(b << 4 | c >> 2);
  return out;
}

}  // namespace nerio::platform
