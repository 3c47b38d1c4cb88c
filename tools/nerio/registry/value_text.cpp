#include "tools/nerio/registry/value_text.h"

#include <cstdio>

#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

constexpr const char* kTypeNames[] = {
    "REG_NONE",
    "REG_SZ",
    "REG_EXPAND_SZ",
    "REG_BINARY",
    "REG_DWORD",
    "REG_DWORD_BIG_ENDIAN",
    "REG_LINK",
    "REG_MULTI_SZ",
    "REG_RESOURCE_LIST",
    "REG_FULL_RESOURCE_DESCRIPTOR",
    "REG_RESOURCE_REQUIREMENTS_LIST",
    "REG_QWORD",
};

}  // namespace

bool IsTextType(std::uint32_t type) {
  return type == platform::kRegSz || type == platform::kRegExpandSz || type == platform::kRegMultiSz;
}

std::string TypeName(std::uint32_t type) {
  if (type < std::size(kTypeNames)) return kTypeNames[type];
  char number[16];
  static_cast<void>(std::snprintf(number, sizeof number, "0x%x", static_cast<unsigned>(type)));
  return number;
}

bool ReadNumber(std::uint32_t type, const std::string& data, std::uint64_t& number) {
  const bool bigEndian = type == kRegDwordBigEndian;
  const std::size_t width = type == kRegQword ? 8 : type == platform::kRegDword || bigEndian ? 4 : 0;
  if (width == 0 || data.size() != width) return false;
  number = 0;
  for (std::size_t i = 0; i < width; ++i) {
    number = number << 8 | static_cast<unsigned char>(data[bigEndian ? i : width - 1 - i]);
  }
  return true;
}

std::vector<Text> ReadStrings(const std::string& data, platform::CodePage& codePage) {
  std::vector<Text> strings;
  for (std::size_t start = 0; start < data.size();) {
    const std::size_t end = std::min(data.find('\0', start), data.size());
    // The NUL that closes the list stands where a string would begin.
    if (end == start && end + 1 == data.size()) break;
    strings.push_back(codePage.ToText(std::string_view(data).substr(start, end - start)));
    start = end + 1;
  }
  return strings;
}

std::string HexText(const std::string& bytes, const char* separator) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    if (!text.empty()) text += separator;
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 0xF];
  }
  return text;
}

std::string DataText(std::uint32_t type, const std::string& data, platform::CodePage& codePage) {
  if (type == platform::kRegMultiSz) {
    std::string lines;
    const std::vector<Text> strings = ReadStrings(data, codePage);
    for (std::size_t i = 0; i < strings.size(); ++i) lines += (i > 0 ? "\n" : "") + ToUtf8(strings[i]);
    return lines;
  }
  if (IsTextType(type)) {
    const bool terminated = !data.empty() && data.back() == '\0';
    return ToUtf8(codePage.ToText(std::string_view(data).substr(0, data.size() - (terminated ? 1 : 0))));
  }
  std::uint64_t number = 0;
  return ReadNumber(type, data, number) ? std::to_string(number) : HexText(data, ",");
}

std::string OneLine(const std::string& utf8) {
  std::string line;
  for (const char byte : utf8) {
    const auto value = static_cast<unsigned char>(byte);
    if (value >= 0x20 && value != 0x7F) {
      line += byte;
    } else if (byte == '\n' || byte == '\r' || byte == '\t') {
      line += byte == '\n' ? "\\n" : byte == '\r' ? "\\r" : "\\t";
    } else {
      char escape[8];
      static_cast<void>(std::snprintf(escape, sizeof escape, "\\x%02x", value));
      line += escape;
    }
  }
  return line;
}

}  // namespace nerio::tool
