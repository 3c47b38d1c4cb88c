// Base64 of a text, UTF-16 in and out, beside what a program would call instead. Every contender encodes the text's
// byte view into a new UTF-16 text and decodes such a text back. The limit moves as many bytes as go in and come out: a
// copy of half as many, which are read once and written once.

#include <benchmark/benchmark.h>
#include <glib.h>
#include <openssl/evp.h>

#include <QByteArray>
#include <cstdint>
#include <cstring>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/platform/host.h"
#include "nerio/platform/xml_dom.h"
#include "nerio/support/base64.h"
#include "nerio/types/text.h"

namespace {

using nerio::Text;
using nerio::TextView;

// A text of so many bytes that holds every byte value, and its Base64 form.
struct Pair {
  explicit Pair(std::size_t bytes) : plain(bytes / sizeof(char16_t), u'\0') {
    std::uint32_t state = 1;
    for (char16_t& unit : plain) unit = static_cast<char16_t>((state = state * 1664525 + 1013904223) >> 16);
    nerio::EncodeBase64(plain, encoded);
    constexpr std::size_t kColumns = 72;
    for (std::size_t i = 0; i < encoded.size(); i += kColumns) lines.append(encoded, i, kColumns).append(u"\n");
  }
  // A copy of so many bytes reads and writes as many as the call does.
  std::size_t CopiedBytes() const { return (plain.size() + encoded.size()) * sizeof(char16_t) / 2; }

  Text plain;
  Text encoded;
  Text lines;  // the same, with an LF after every 72 characters
};

const Pair& PairOf(const benchmark::State& state) {
  static std::map<std::int64_t, Pair> pairs;
  return pairs.try_emplace(state.range(0), static_cast<std::size_t>(state.range(0))).first->second;
}

std::span<const std::uint8_t> ByteView(const Text& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size() * sizeof(char16_t)};
}

Text FromByteView(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / sizeof(char16_t)};
}

Text Widened(std::string_view ascii) {
  return {reinterpret_cast<const unsigned char*>(ascii.data()),
          reinterpret_cast<const unsigned char*>(ascii.data()) + ascii.size()};
}

std::string Narrowed(TextView text) {
  std::string narrow(text.size(), '\0');
  for (std::size_t i = 0; i < text.size(); ++i) narrow[i] = static_cast<char>(text[i]);
  return narrow;
}

template <typename Encode>
void MeasureEncode(benchmark::State& state, Encode encode) {
  const Pair& pair = PairOf(state);
  if (encode(pair.plain) != pair.encoded) return state.SkipWithError("encoded another text");
  for (auto _ : state) {
    Text encoded = encode(pair.plain);
    benchmark::DoNotOptimize(encoded.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <typename Decode>
void MeasureDecode(benchmark::State& state, Decode decode, const Text Pair::*encoded = &Pair::encoded) {
  const Pair& pair = PairOf(state);
  if (decode(pair.*encoded) != pair.plain) return state.SkipWithError("decoded another text");
  for (auto _ : state) {
    Text plain = decode(pair.*encoded);
    benchmark::DoNotOptimize(plain.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

// The result alone, copied into a text made for it: what any result of this length costs, however it is worked out.
Text NewText(const Text& result) { return Text(result); }

// The document alone: what the call makes, looks up and releases, without a data type, a text or bytes.
void MeasureDocumentOfEncode(benchmark::State& state) {
  nerio::platform::XmlDom& dom = nerio::platform::ThisHost().xml;
  for (auto _ : state) {
    nerio::platform::XmlNode element;
    const nerio::platform::XmlDocument document(dom, dom.CreateDocument());
    element = nerio::platform::XmlNode(dom, dom.CreateElement(document.get(), u"TEMP"));
    benchmark::DoNotOptimize(element.get());
  }
}

void MeasureDocumentOfDecode(benchmark::State& state) {
  nerio::platform::XmlDom& dom = nerio::platform::ThisHost().xml;
  for (auto _ : state) {
    const nerio::platform::XmlDocument document(dom, dom.CreateDocument());
    if (!dom.LoadXml(document.get(), u"<DOC></DOC>")) return state.SkipWithError("did not load");
    for (int i = 0; i < 3; ++i) {
      const nerio::platform::XmlNode element(dom, dom.SelectSingleNode(document.get(), u"DOC"));
      benchmark::DoNotOptimize(element.get());
    }
  }
}

// One copy that reads and writes as many bytes as the call does, between places that are in memory already.
void MeasureCopy(benchmark::State& state) {
  const std::size_t count = PairOf(state).CopiedBytes();
  const std::vector<char> from(count, 'x');
  std::vector<char> to(count);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), count);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

Text EncodeByNerio(const Text& plain) {
  Text encoded;
  nerio::EncodeBase64(plain, encoded);
  return encoded;
}

Text DecodeByNerio(const Text& encoded) { return nerio::DecodeBase64(encoded); }

// The codec alone, without a document.
Text EncodeByCodec(const Text& plain) {
  Text encoded(nerio::platform::Base64Length(plain.size() * sizeof(char16_t)), u'\0');
  nerio::platform::WriteBase64(ByteView(plain), encoded.data());
  return encoded;
}

Text DecodeByCodec(const Text& encoded) {
  Text plain(encoded.size() / 4 * 3 / sizeof(char16_t) + 1, u'\0');
  auto* const bytes = reinterpret_cast<std::uint8_t*>(plain.data());
  const std::uint8_t* const end = nerio::platform::ReadPlainBase64(encoded, bytes);
  plain.resize(end != nullptr ? static_cast<std::size_t>(end - bytes) / sizeof(char16_t) : 0);
  return plain;
}

Text EncodeByOpenSsl(const Text& plain) {
  const auto bytes = ByteView(plain);
  std::string ascii(nerio::platform::Base64Length(bytes.size()) + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(ascii.data()), bytes.data(), static_cast<int>(bytes.size()));
  return Widened({ascii.data(), static_cast<std::size_t>(length)});
}

Text DecodeByOpenSsl(const Text& encoded) {
  const std::string ascii = Narrowed(encoded);
  std::vector<std::uint8_t> bytes(ascii.size() / 4 * 3);
  const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(ascii.data()),
                                     static_cast<int>(ascii.size()));
  // The padding counts as bytes.
  std::size_t padding = 0;
  while (padding < 2 && padding < ascii.size() && ascii[ascii.size() - 1 - padding] == '=') ++padding;
  return length < 0 ? Text() : FromByteView({bytes.data(), static_cast<std::size_t>(length) - padding});
}

Text EncodeByGlib(const Text& plain) {
  const auto bytes = ByteView(plain);
  gchar* const ascii = g_base64_encode(bytes.data(), bytes.size());
  Text encoded = Widened(ascii);
  g_free(ascii);
  return encoded;
}

Text DecodeByGlib(const Text& encoded) {
  gsize length = 0;
  guchar* const bytes = g_base64_decode(Narrowed(encoded).c_str(), &length);
  Text plain = FromByteView({bytes, length});
  g_free(bytes);
  return plain;
}

Text EncodeByQt(const Text& plain) {
  const auto bytes = ByteView(plain);
  const QByteArray ascii =
      QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size())).toBase64();
  return Widened({ascii.data(), static_cast<std::size_t>(ascii.size())});
}

Text DecodeByQt(const Text& encoded) {
  const std::string ascii = Narrowed(encoded);
  const QByteArray bytes =
      QByteArray::fromBase64(QByteArray::fromRawData(ascii.data(), static_cast<int>(ascii.size())));
  return FromByteView({reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<std::size_t>(bytes.size())});
}

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// What one would write by hand: a table and a loop.
Text EncodeByLoop(const Text& plain) {
  const auto bytes = ByteView(plain);
  Text encoded;
  encoded.reserve(nerio::platform::Base64Length(bytes.size()));
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    const auto group = static_cast<std::uint32_t>(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]);
    for (const unsigned shift : {18u, 12u, 6u, 0u}) encoded += static_cast<char16_t>(kAlphabet[group >> shift & 63]);
  }
  if (i < bytes.size()) {
    const bool two = i + 1 < bytes.size();
    const auto group = static_cast<std::uint32_t>(bytes[i] << 16 | (two ? bytes[i + 1] << 8 : 0));
    encoded += static_cast<char16_t>(kAlphabet[group >> 18]);
    encoded += static_cast<char16_t>(kAlphabet[group >> 12 & 63]);
    encoded += two ? static_cast<char16_t>(kAlphabet[group >> 6 & 63]) : u'=';
    encoded += u'=';
  }
  return encoded;
}

Text DecodeByLoop(const Text& encoded) {
  static const std::vector<std::int8_t> meanings = [] {
    std::vector<std::int8_t> values(0x10000, -1);
    for (std::int8_t i = 0; i < 64; ++i) values[static_cast<unsigned char>(kAlphabet[i])] = i;
    return values;
  }();
  std::vector<std::uint8_t> bytes;
  bytes.reserve(encoded.size() / 4 * 3);
  std::uint32_t group = 0;
  unsigned bits = 0;
  for (const char16_t unit : encoded) {
    const std::int8_t value = meanings[unit];
    if (value < 0) break;
    group = group << 6 | static_cast<std::uint32_t>(value);
    bits += 6;
    if (bits >= 8) bytes.push_back(static_cast<std::uint8_t>(group >> (bits -= 8)));
  }
  return FromByteView(bytes);
}

constexpr std::int64_t kSizes[] = {16, 256, 4 << 10, 64 << 10, 1 << 20, 64 << 20};

}  // namespace

int main(int argc, char** argv) {
  constexpr struct {
    const char* name;
    Text (*encode)(const Text&);
    Text (*decode)(const Text&);
    bool takesLines;
  } kContenders[] = {{"nerio", EncodeByNerio, DecodeByNerio, true},
                     {"codec", EncodeByCodec, DecodeByCodec, false},
                     {"openssl", EncodeByOpenSsl, DecodeByOpenSsl, false},
                     {"glib", EncodeByGlib, DecodeByGlib, true},
                     {"qt", EncodeByQt, DecodeByQt, true},
                     {"loop", EncodeByLoop, DecodeByLoop, false}};
  using nerio::bench::Contender;
  for (const std::int64_t size : kSizes) {
    for (const auto& contender : kContenders) {
      Contender(std::string("base64_encode/") + contender.name, [&contender](benchmark::State& state) {
        MeasureEncode(state, contender.encode);
      })->Arg(size);
      Contender(std::string("base64_decode/") + contender.name, [&contender](benchmark::State& state) {
        MeasureDecode(state, contender.decode);
      })->Arg(size);
      if (!contender.takesLines) continue;
      Contender(std::string("base64_decode_lines/") + contender.name, [&contender](benchmark::State& state) {
        MeasureDecode(state, contender.decode, &Pair::lines);
      })->Arg(size);
    }
    Contender("base64_decode_lines/one_line", [](benchmark::State& state) {
      MeasureDecode(state, DecodeByNerio);
    })->Arg(size);
    Contender("base64_decode_lines/limit", MeasureCopy)->Arg(size);
    Contender("base64_encode/new_text", [](benchmark::State& state) {
      MeasureEncode(state, [&](const Text&) { return NewText(PairOf(state).encoded); });
    })->Arg(size);
    Contender("base64_decode/new_text", [](benchmark::State& state) {
      MeasureDecode(state, [&](const Text&) { return NewText(PairOf(state).plain); });
    })->Arg(size);
    Contender("base64_encode/document", MeasureDocumentOfEncode)->Arg(size);
    Contender("base64_decode/document", MeasureDocumentOfDecode)->Arg(size);
    Contender("base64_encode/limit", MeasureCopy)->Arg(size);
    Contender("base64_decode/limit", MeasureCopy)->Arg(size);
  }
  return nerio::bench::RunSideBySide(argc, argv);
}
