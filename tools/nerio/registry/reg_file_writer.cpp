#include <algorithm>
#include <cstdio>
#include <utility>

#include "nerio/types/utf8.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/reg_text.h"
#include "tools/nerio/registry/value_text.h"

namespace nerio::tool {
namespace {

// Where a line of bytes is folded, so that no line is longer than 80 characters unless its name is.
constexpr std::size_t kLastColumn = 77;
// A longer text is not repeated as a comment.
constexpr std::size_t kLongestComment = 200;

Text Escaped(TextView text) {
  Text escaped = u"\"";
  for (const char16_t unit : text) {
    if (unit == u'\\' || unit == u'"') escaped += u'\\';
    if (unit == u'\n' || unit == u'\r') {
      escaped += unit == u'\n' ? u"\\n" : u"\\r";
    } else {
      escaped += unit;
    }
  }
  return escaped += u'"';
}

Text KeyName(const RegistryKey& key, platform::CodePage& codePage) {
  const Text text = KeyText(key, codePage);
  const bool plain = text.find_first_of(u"\r\n") == Text::npos && !LooksCommented(text);
  return plain ? text : Escaped(text);
}

// Whether a text can be read by eye on one line of its own.
bool IsPlain(TextView text) {
  return std::none_of(text.begin(), text.end(),
                      [](char16_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); });
}

void WriteBytes(Text& out, std::size_t column, const std::string& bytes) {
  constexpr char16_t kDigits[] = u"0123456789abcdef";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const bool last = i + 1 == bytes.size();
    const std::size_t width = last ? 2 : 3;
    if (column + width > kLastColumn) {
      out += u"\\\r\n  ";
      column = 2;
    }
    out += kDigits[static_cast<unsigned char>(bytes[i]) >> 4];
    out += kDigits[static_cast<unsigned char>(bytes[i]) & 0xF];
    if (!last) out += u',';
    column += width;
  }
}

void WriteValue(Text& out, const RegValue& value, platform::CodePage& codePage) {
  const Text name = value.name.empty() ? u"@" : Escaped(codePage.ToText(value.name.bytes()));
  if (value.removed) {
    out += name + u"=-\r\n";
    return;
  }
  std::string bytes = value.data;
  if (IsTextType(value.type)) {
    const Text text = codePage.ToText(value.data);
    const bool terminated = !text.empty() && text.back() == u'\0';
    const TextView content = TextView(text).substr(0, text.size() - (terminated ? 1 : 0));
    if (value.type == platform::kRegSz && IsPlain(content)) {
      if (terminated) {
        out += name + u'=' + Escaped(content) + u"\r\n";
        return;
      }
      if (content.size() <= kLongestComment)
        out += u"; " + name + u'=' + Escaped(content) + u", without a terminator\r\n";
    }
    bytes = EncodeUtf16(text).substr(kUtf16Mark.size());
  }
  Text line = name + u'=';
  std::uint64_t number = 0;
  if (value.type == platform::kRegDword && ReadNumber(value.type, value.data, number)) {
    char digits[16];
    static_cast<void>(std::snprintf(digits, sizeof digits, "dword:%08x", static_cast<unsigned>(number)));
    line += FromUtf8(digits);
  } else {
    if (value.type == platform::kRegBinary) {
      line += u"hex:";
    } else {
      char prefix[24];
      static_cast<void>(std::snprintf(prefix, sizeof prefix, "hex(%x):", static_cast<unsigned>(value.type)));
      line += FromUtf8(prefix);
    }
    WriteBytes(line, line.size(), bytes);
  }
  out += line + u"\r\n";
}

}  // namespace

Text WriteRegText(const std::vector<RegSection>& sections, platform::CodePage& codePage) {
  Text out = Text(kRegHeader) + u"\r\n";
  for (const RegSection& section : sections) {
    out += u"\r\n[";
    if (section.removed) out += u'-';
    out += KeyName(section.key, codePage) + u"]\r\n";
    for (const RegValue& value : section.values) WriteValue(out, value, codePage);
  }
  return out += u"\r\n";
}

void SortSections(std::vector<RegSection>& sections, platform::CodePage& codePage) {
  // A separator comes before every character of a name.
  const auto place = [&](const RegSection& section) {
    Text path = FoldedName(section.key.path, codePage);
    std::replace(path.begin(), path.end(), u'\\', u'\0');
    return std::pair(section.key.root, std::move(path));
  };
  const auto name = [&](const RegValue& value) { return FoldedName(value.name, codePage); };
  std::stable_sort(sections.begin(), sections.end(),
                   [&](const RegSection& left, const RegSection& right) { return place(left) < place(right); });
  for (RegSection& section : sections) {
    std::stable_sort(section.values.begin(), section.values.end(),
                     [&](const RegValue& left, const RegValue& right) { return name(left) < name(right); });
  }
}

std::string Utf8WithLineFeeds(const Text& text) {
  std::string bytes = ToUtf8(text);
  std::erase(bytes, '\r');
  return bytes;
}

std::string EncodeUtf16(TextView text) {
  std::string bytes(kUtf16Mark);
  bytes.reserve(bytes.size() + 2 * text.size());
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

}  // namespace nerio::tool
