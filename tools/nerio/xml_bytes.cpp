#include "tools/nerio/xml_bytes.h"

#include <cstddef>
#include <cstdint>
#include <utility>

#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/hosts/portable/xml/xml_parser.h"
#include "nerio/types/surrogates.h"
#include "nerio/types/utf8.h"

namespace nerio::tool {

namespace xml = platform::xml;

namespace {

// Decodes UTF-16 up to the first unit that is not a character. Returns whether there is none.
bool DecodeUtf16(std::string_view bytes, bool highFirst, Text& text) {
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<std::uint8_t>(bytes[i]);
    const auto second = static_cast<std::uint8_t>(bytes[i + 1]);
    const auto unit = static_cast<char16_t>(highFirst ? first << 8 | second : second << 8 | first);
    const bool afterHigh = !text.empty() && IsHighSurrogate(text.back());
    if (afterHigh != IsLowSurrogate(unit)) {
      if (afterHigh) text.pop_back();
      return false;
    }
    text += unit;
  }
  if (!text.empty() && IsHighSurrogate(text.back())) {
    text.pop_back();
    return false;
  }
  return bytes.size() % 2 == 0;
}

}  // namespace

bool DecodeXmlBytes(std::string_view bytes, Text& text, platform::XmlLoadError& error) {
  constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
  const bool lowFirst = bytes.starts_with("\xFF\xFE");
  const bool highFirst = bytes.starts_with("\xFE\xFF");
  const TextView encoding = lowFirst || highFirst ? u"UTF-16" : u"UTF-8";

  Text decoded;
  bool wellFormed = true;
  if (lowFirst || highFirst) {
    wellFormed = DecodeUtf16(bytes.substr(2), highFirst, decoded);
  } else {
    if (bytes.starts_with(kUtf8Mark)) bytes.remove_prefix(kUtf8Mark.size());
    const std::size_t length = WellFormedUtf8(bytes);
    wellFormed = length == bytes.size();
    decoded = FromUtf8(bytes.substr(0, length));
  }
  const auto at = [&](TextView part) { return static_cast<std::size_t>(part.data() - decoded.data()); };
  const TextView declared = xml::DeclaredEncoding(decoded);
  constexpr TextView kCanBeRead = u"only UTF-8 and UTF-16 with a byte-order mark can be read";
  if (bytes.size() >= 2 && (bytes[0] == '\0') != (bytes[1] == '\0') && encoding == u"UTF-8") {
    error = xml::ErrorAt(decoded, 0, u"UTF-16 without a byte-order mark; " + Text(kCanBeRead));
    return false;
  }
  if (!wellFormed && !declared.empty() && !xml::EqualInAnyCase(declared, encoding)) {
    error = xml::ErrorAt(decoded, at(declared),
                         u"the XML declaration names the encoding \"" + Text(declared) + u"\"; " + Text(kCanBeRead));
    return false;
  }
  if (!wellFormed) {
    const std::size_t offset = decoded.size();
    error = xml::ErrorAt(decoded, offset, Text(u"a byte sequence that is not ").append(encoding));
    return false;
  }
  if (decoded.starts_with(u'\xFEFF')) {
    error = xml::ErrorAt(decoded, 0, u"a second byte-order mark");
    return false;
  }
  if (const std::size_t nul = decoded.find(u'\0'); nul != Text::npos) {
    error = xml::ErrorAt(decoded, nul, u"a character that XML does not have");
    return false;
  }
  if (!declared.empty() && !xml::EqualInAnyCase(declared, encoding)) {
    error = xml::ErrorAt(decoded, at(declared),
                         u"the XML declaration names the encoding \"" + Text(declared) + u"\", but the bytes are " +
                             Text(encoding) + u"; " + Text(kCanBeRead));
    return false;
  }
  text = std::move(decoded);
  return true;
}

bool NamesEncoding(TextView text) { return !xml::DeclaredEncoding(text).empty(); }

}  // namespace nerio::tool
