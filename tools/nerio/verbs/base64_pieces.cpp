#include "tools/nerio/verbs/base64_pieces.h"

#include <variant>

#include "nerio/types/byte_view.h"
#include "nerio/types/error.h"
#include "nerio/types/surrogates.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/output.h"

namespace nerio::tool {
namespace {

Failure NotBase64() {
  return {Exit::kBadInput, "this is not Base64", "Base64 is A-Z a-z 0-9 + / in groups of four, = at the end only"};
}

Failure NotUtf8() { return {Exit::kBadInput, "standard input is not UTF-8"}; }

std::string Narrowed(const Text& ascii) { return {ascii.begin(), ascii.end()}; }

}  // namespace

ByteElement::ByteElement(platform::XmlDom& dom)
    : dom_(dom), document_(dom, dom.CreateDocument()), element_(dom, dom.CreateElement(document_.get(), u"TEMP")) {
  dom.PutDataType(element_.get(), u"bin.base64");
}

Text ByteElement::Encode(std::string_view bytes) {
  dom_.PutNodeTypedValue(element_.get(), {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  return dom_.GetText(element_.get());
}

std::string ByteElement::Decode(TextView encoded) {
  try {
    dom_.PutText(element_.get(), encoded);
    const auto bytes = std::get<nerio::Bytes>(dom_.GetNodeTypedValue(element_.get()));
    return {bytes.begin(), bytes.end()};
  } catch (const Error& error) {
    throw NotBase64().WithError(error);
  }
}

std::string Base64Encoder::Put(std::string_view bytes) {
  left_ += bytes;
  const std::size_t whole = left_.size() / 3 * 3;
  std::string encoded = Narrowed(element_.Encode(std::string_view(left_).substr(0, whole)));
  left_.erase(0, whole);
  return encoded;
}

std::string Base64Encoder::End() { return Narrowed(element_.Encode(left_)); }

std::string Base64Decoder::Put(std::string_view piece) {
  for (const char each : piece) {
    if (each == ' ' || each == '\t' || each == '\r' || each == '\n') continue;
    if (each == '\0') throw Failure(Exit::kBadInput, "this is not Base64: it holds a NUL");
    left_ += static_cast<unsigned char>(each);
  }
  const std::size_t whole = left_.size() / 4 * 4;
  if (padded_ && !left_.empty()) throw NotBase64();
  if (whole == 0) return {};
  std::string bytes = element_.Decode(TextView(left_).substr(0, whole));
  padded_ = left_[whole - 1] == u'=';
  left_.erase(0, whole);
  if (padded_ && !left_.empty()) throw NotBase64();
  return bytes;
}

void Base64Decoder::End() {
  if (!left_.empty()) throw NotBase64();
}

std::string Utf8Pieces::Put(std::string_view piece) {
  left_ += piece;
  const std::size_t whole = WellFormedUtf8(left_);
  constexpr std::size_t kLongestBeginning = 3;
  if (left_.size() - whole > kLongestBeginning) throw NotUtf8();
  const Text text = FromUtf8(std::string_view(left_).substr(0, whole));
  left_.erase(0, whole);
  Text swapped;
  const auto bytes = ByteView(text, swapped);
  return {bytes.begin(), bytes.end()};
}

void Utf8Pieces::End() {
  if (!left_.empty()) throw NotUtf8();
}

std::string Utf16Pieces::Written(std::size_t bytes) {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(left_.data());
  const Text text = TextOfBytes(Bytes(first, first + bytes));
  left_.erase(0, bytes);
  std::string utf8 = ToUtf8(text);
  wasText_ = wasText_ && FromUtf8(utf8) == text;
  return utf8;
}

std::string Utf16Pieces::Put(std::string_view piece) {
  left_ += piece;
  std::size_t whole = left_.size() / 2 * 2;
  if (whole == 0) return {};
  const auto high = static_cast<unsigned char>(left_[whole - 1]);
  if (IsHighSurrogate(static_cast<char16_t>(high << 8))) whole -= 2;
  return Written(whole);
}

std::string Utf16Pieces::End() { return Written(left_.size() / 2 * 2); }

}  // namespace nerio::tool
