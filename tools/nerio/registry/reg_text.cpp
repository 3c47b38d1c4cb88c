#include "tools/nerio/registry/reg_text.h"

#include "nerio/types/utf8.h"
#include "tools/nerio/registry/reg_file.h"

namespace nerio::tool {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kBigEndianMark = "\xFE\xFF";

Text DecodeUtf8(std::string_view bytes, const char* otherwise) {
  if (IsUtf8(bytes)) return FromUtf8(bytes);
  std::size_t number = 0;
  for (std::string_view rest = bytes; !rest.empty();) {
    ++number;
    if (!IsUtf8(CutLine(rest))) break;
  }
  throw BadRegFile(number, std::string("not UTF-8; ") + otherwise);
}

// No such file begins with a NUL or has one after its first character, in any other encoding than UTF-16.
bool LooksLikeUtf16(std::string_view bytes) { return bytes.size() >= 2 && (bytes[0] == '\0') != (bytes[1] == '\0'); }

}  // namespace

TextView WithoutBlanks(TextView text) {
  const std::size_t first = text.find_first_not_of(u" \t");
  return first == TextView::npos ? TextView() : text.substr(first, text.find_last_not_of(u" \t") + 1 - first);
}

Text DecodeUtf16(std::string_view bytes) {
  Text text(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                    static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
  }
  return text;
}

Text DecodeFile(std::string_view bytes, const char* otherwise) {
  if (bytes.starts_with(kUtf8Mark)) return DecodeUtf8(bytes.substr(kUtf8Mark.size()), otherwise);
  if (bytes.starts_with(kUtf16Mark)) {
    Text text = DecodeUtf16(bytes.substr(kUtf16Mark.size()));
    if (bytes.size() % 2 == 0) return text;
    std::size_t number = 0;
    for (TextView rest = text; !rest.empty(); ++number) CutLine(rest);
    throw BadRegFile(std::max<std::size_t>(number, 1), "the file ends in the middle of a UTF-16 character");
  }
  if (bytes.starts_with(kBigEndianMark)) throw BadRegFile(1, "UTF-16 with the high byte first is not read");
  if (LooksLikeUtf16(bytes)) {
    throw BadRegFile(1, "this is UTF-16 without a byte-order mark; save it with the mark, or in UTF-8");
  }
  return DecodeUtf8(bytes, otherwise);
}

}  // namespace nerio::tool
