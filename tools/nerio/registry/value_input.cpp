#include "tools/nerio/registry/value_input.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "nerio/types/utf8.h"
#include "tools/nerio/output.h"
#include "tools/nerio/registry/registry_key.h"
#include "tools/nerio/registry/value_text.h"

namespace nerio::tool {
namespace {

struct TypeWord {
  const char* word;
  std::uint32_t type;
};

constexpr TypeWord kTypes[] = {
    {"dword", platform::kRegDword},   {"qword", kRegQword},
    {"binary", platform::kRegBinary}, {"expand", platform::kRegExpandSz},
    {"multi", platform::kRegMultiSz}, {"string", platform::kRegSz},
};

std::string Quoted(const std::string& utf8) { return '"' + OneLine(utf8) + '"'; }

std::string TextData(TextView text, platform::CodePage& codePage) {
  if (text.find(u'\0') != TextView::npos) throw Failure(Exit::kBadInput, "a text with a NUL cannot be stored");
  try {
    return ToAnsiExactly(text, codePage).bytes();
  } catch (const BadText& bad) {
    throw Failure(Exit::kBadInput, bad.what(), "nothing was stored; write the text without this character");
  }
}

std::string ListData(TextView lines, platform::CodePage& codePage) {
  std::string data;
  for (std::size_t start = 0; start < lines.size();) {
    const std::size_t end = std::min(lines.find(u'\n', start), lines.size());
    TextView line = lines.substr(start, end - start);
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    if (line.empty()) {
      throw Failure(Exit::kBadInput, "a line is empty, and a list of texts cannot hold an empty one",
                    "nothing was stored; write one text per line, and none for an empty list");
    }
    data += TextData(line, codePage) + '\0';
    start = end + 1;
  }
  return data + '\0';
}

std::string NumberData(std::size_t width, const std::string& written) {
  const std::uint64_t most =
      width == 4 ? std::numeric_limits<std::uint32_t>::max() : std::numeric_limits<std::uint64_t>::max();
  const bool isHex = written.starts_with("0x") || written.starts_with("0X");
  const char* const end = written.data() + written.size();
  std::uint64_t number = 0;
  const auto read = std::from_chars(written.data() + (isHex ? 2 : 0), end, number, isHex ? 16 : 10);
  if (read.ec != std::errc() || read.ptr != end || number > most) {
    throw Failure(Exit::kBadInput, Quoted(written) + " is not a whole number from 0 to " + std::to_string(most),
                  "nothing was stored; write it in decimal, as 255, or in hexadecimal, as 0xff");
  }
  std::string data;
  for (std::size_t i = 0; i < width; ++i) data += static_cast<char>(number >> (8 * i) & 0xFF);
  return data;
}

std::string BinaryData(std::string_view written) {
  std::string data;
  for (;;) {
    written.remove_prefix(std::min(written.find_first_not_of(", \t\r\n"), written.size()));
    if (written.empty()) return data;
    const std::string_view pair = written.substr(0, 2);
    std::uint8_t byte = 0;
    const auto read = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
    if (pair.size() != 2 || read.ec != std::errc() || read.ptr != pair.data() + 2) {
      throw Failure(Exit::kBadInput,
                    Quoted(std::string(written.substr(0, 16))) + " does not begin with two hexadecimal digits",
                    "nothing was stored; write each byte with two of them, as de,ad,be,ef or deadbeef");
    }
    data += static_cast<char>(byte);
    written.remove_prefix(2);
  }
}

}  // namespace

std::uint32_t TypeOfWord(const std::string& word) {
  const auto* const found =
      std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeWord& each) { return word == each.word; });
  if (found != std::end(kTypes)) return found->type;
  throw Failure(Exit::kRefused, Quoted(word) + " is not a type", std::string("the type is one of ") + kTypeWords);
}

std::string DataOf(std::uint32_t type, TextView written, platform::CodePage& codePage) {
  switch (type) {
    case platform::kRegDword:
      return NumberData(4, ToUtf8(written));
    case kRegQword:
      return NumberData(8, ToUtf8(written));
    case platform::kRegBinary:
      return BinaryData(ToUtf8(written));
    case platform::kRegMultiSz:
      return ListData(written, codePage);
    case platform::kRegExpandSz:
      return TextData(written, codePage) + '\0';
    default:
      return TextData(written, codePage);
  }
}

}  // namespace nerio::tool
