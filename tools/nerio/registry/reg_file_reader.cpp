#include "tools/nerio/registry/reg_file.h"

#include <algorithm>
#include <cstdio>

#include "nerio/hosts/portable/text/fold_case.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/registry/reg_text.h"
#include "tools/nerio/registry/value_text.h"

namespace nerio::tool {
namespace {

constexpr TextView kAnsiHeader = u"REGEDIT4";

bool IsBlank(char16_t unit) { return unit == u' ' || unit == u'\t'; }

// -1 for anything but a hexadecimal digit.
int HexDigit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  return -1;
}

std::string Quoted(TextView text) { return "\"" + OneLine(ToUtf8(text)) + "\""; }

Text Decode(std::string_view bytes, platform::CodePage& codePage) {
  if (bytes.starts_with("REGEDIT4")) return codePage.ToText(bytes);
  return DecodeFile(bytes, "a file in the ANSI code page must begin with REGEDIT4");
}

class Reader {
 public:
  Reader(TextView text, platform::CodePage& codePage) : rest_(text), codePage_(codePage) {}

  std::vector<RegSection> Read() {
    ReadHeader();
    while (NextLine()) {
      if (AtEnd()) continue;
      if (line_.front() == u'[') {
        ReadSection();
      } else if (line_.front() == u'@' || line_.front() == u'"') {
        ReadValue();
      } else {
        Fail("neither a key in [ ], nor a value, nor a comment: " + Quoted(line_.substr(0, 40)));
      }
    }
    return std::move(sections_);
  }

 private:
  [[noreturn]] void Fail(const std::string& reason) const { throw BadRegFile(number_, reason); }

  bool NextLine() {
    if (rest_.empty()) return false;
    CutNextLine();
    SkipBlanks();
    return true;
  }

  void CutNextLine() {
    line_ = CutLine(rest_);
    ++number_;
    if (line_.find(u'\0') != TextView::npos) Fail("a NUL in the text");
  }

  void SkipBlanks() {
    while (!line_.empty() && IsBlank(line_.front())) line_.remove_prefix(1);
  }

  // Whether nothing but blanks and a comment is left of the line.
  bool AtEnd() {
    SkipBlanks();
    return line_.empty() || line_.front() == u';';
  }

  void ExpectEnd(const char* after) {
    if (!AtEnd()) Fail(std::string("more text after ") + after + ": " + Quoted(line_.substr(0, 40)));
  }

  void ReadHeader() {
    number_ = 1;
    if (rest_.empty()) Fail("the file is empty");
    const TextView header = WithoutBlanks(CutLine(rest_));
    ansi_ = header == kAnsiHeader;
    if (!ansi_ && header != kRegHeader) {
      Fail("the first line must be \"" + ToUtf8(kRegHeader) + "\" or \"" + ToUtf8(kAnsiHeader) + "\"");
    }
  }

  // Runs a conversion that says why it refuses a text, and adds the line.
  template <typename Convert>
  auto Checked(Convert convert) const {
    try {
      return convert();
    } catch (const BadText& bad) {
      Fail(bad.what());
    }
  }

  // Takes a text in quotes off the front of the line, which begins with the opening one. The ends of the lines that it may
  // go on over belong to it as they stand in the file.
  Text TakeQuoted(bool overLines = false) {
    const std::size_t first = number_;
    Text text;
    line_.remove_prefix(1);
    while (!TakeUpToQuote(text)) {
      if (!overLines || rest_.empty()) throw BadRegFile(first, "the closing quote is missing");
      text.append(line_.data() + line_.size(), rest_.data());
      CutNextLine();
    }
    if (number_ != first && !AtEnd()) {
      throw BadRegFile(first, "the closing quote is missing, or a quote in the text has no backslash before it");
    }
    return text;
  }

  // Takes what the line has of a text in quotes. Returns whether its closing quote is among that.
  bool TakeUpToQuote(Text& text) {
    for (std::size_t i = 0; i < line_.size(); ++i) {
      if (line_[i] == u'"') {
        line_.remove_prefix(i + 1);
        return true;
      }
      if (line_[i] != u'\\') {
        text += line_[i];
        continue;
      }
      if (++i == line_.size()) Fail("the closing quote is missing after a backslash at the end of the line");
      const char16_t escape = line_[i];
      if (escape == u'\\' || escape == u'"') {
        text += escape;
      } else if (escape == u'n' || escape == u'r') {
        text += escape == u'n' ? u'\n' : u'\r';
      } else {
        Fail("\\" + ToUtf8(Text(1, escape)) + " in quotes; a backslash is written \\\\");
      }
    }
    return false;
  }

  void ReadSection() {
    RegSection section;
    section.line = number_;
    line_.remove_prefix(1);
    if (!line_.empty() && line_.front() == u'-') {
      section.removed = true;
      line_.remove_prefix(1);
    }
    Text key;
    if (!line_.empty() && line_.front() == u'"') {
      key = TakeQuoted();
      if (line_.empty() || line_.front() != u']') Fail("the closing ] is missing");
      line_.remove_prefix(1);
    } else {
      const std::size_t close = line_.rfind(u']');
      if (close == TextView::npos) Fail("the closing ] is missing");
      key = line_.substr(0, close);
      line_.remove_prefix(close + 1);
      if (LooksCommented(key)) Fail("a ] in the comment or in the key's name? Write the key in quotes: [\"...\"]");
    }
    ExpectEnd("the key");
    section.key = Checked([&] { return ParseKey(key, codePage_); });
    if (section.removed && section.key.path.empty()) Fail("a root key cannot be deleted");
    sections_.push_back(std::move(section));
  }

  void ReadValue() {
    if (sections_.empty()) Fail("a value before the first key");
    if (sections_.back().removed) Fail("a value below a key that is deleted");
    RegValue value;
    value.line = number_;
    if (line_.front() == u'@') {
      line_.remove_prefix(1);
    } else {
      const Text name = TakeQuoted();
      value.name = Checked([&] { return ParseValueName(name, codePage_); });
    }
    SkipBlanks();
    if (line_.empty() || line_.front() != u'=') Fail("the = after the name is missing");
    line_.remove_prefix(1);
    SkipBlanks();
    if (TakeWord(u"-")) {
      value.removed = true;
    } else if (!line_.empty() && line_.front() == u'"') {
      const Text text = TakeQuoted(true);
      value.type = platform::kRegSz;
      value.data = Checked([&] { return ToAnsiExactly(text, codePage_).bytes(); }) + '\0';
    } else if (TakeWord(u"dword:")) {
      value.type = platform::kRegDword;
      const std::uint32_t number = TakeHexNumber("dword:");
      for (int shift = 0; shift < 32; shift += 8) value.data += static_cast<char>(number >> shift & 0xFF);
    } else if (TakeWord(u"hex:")) {
      value.type = platform::kRegBinary;
      value.data = TakeBytes();
    } else if (TakeWord(u"hex(")) {
      value.type = TakeHexNumber("hex(");
      if (!TakeWord(u"):")) Fail("): is missing after the type");
      value.data = TakeBytes();
      if (!ansi_ && IsTextType(value.type)) value.data = TextBytes(value.data);
    } else {
      Fail("no data after the =: a text in quotes, dword:, hex:, hex(type): or - is needed");
    }
    ExpectEnd("the data");
    sections_.back().values.push_back(std::move(value));
  }

  // Takes a word, in upper or lower case, off the front of the line.
  bool TakeWord(TextView word) {
    if (line_.size() < word.size()) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
      if (platform::FoldCase(line_[i]) != word[i]) return false;
    }
    line_.remove_prefix(word.size());
    return true;
  }

  std::uint32_t TakeHexNumber(const char* after) {
    std::uint32_t number = 0;
    std::size_t digits = 0;
    while (digits < line_.size() && HexDigit(line_[digits]) >= 0) {
      if (digits == 8) Fail(std::string("more than 8 hexadecimal digits after ") + after);
      number = number << 4 | static_cast<std::uint32_t>(HexDigit(line_[digits++]));
    }
    if (digits == 0) Fail(std::string("a hexadecimal number is missing after ") + after);
    line_.remove_prefix(digits);
    return number;
  }

  // Takes bytes separated by commas, over as many lines as end with a backslash.
  std::string TakeBytes() {
    std::string bytes;
    SkipContinuation();
    if (AtEnd()) return bytes;
    for (;;) {
      const int high = line_.empty() ? -1 : HexDigit(line_.front());
      if (high < 0)
        Fail(bytes.empty() ? "a byte of two hexadecimal digits is missing" : "a byte is missing after the comma");
      const int low = line_.size() < 2 ? -1 : HexDigit(line_[1]);
      bytes += static_cast<char>(low < 0 ? high : high << 4 | low);
      line_.remove_prefix(low < 0 ? 1 : 2);
      SkipContinuation();
      if (AtEnd()) return bytes;
      if (line_.front() != u',') Fail("a comma is missing between two bytes");
      line_.remove_prefix(1);
      SkipContinuation();
    }
  }

  void SkipContinuation() {
    for (;;) {
      SkipBlanks();
      if (line_.empty() || line_.front() != u'\\') return;
      if (!WithoutBlanks(line_.substr(1)).empty()) Fail("more text after the backslash that continues the line");
      if (!NextLine()) Fail("the file ends after a line that was to be continued");
    }
  }

  std::string TextBytes(const std::string& utf16) const {
    if (utf16.size() % 2 != 0) Fail("an odd number of bytes; a text has two bytes for each character here");
    return Checked([&] { return ToAnsiExactly(DecodeUtf16(utf16), codePage_).bytes(); });
  }

  TextView rest_;
  TextView line_;
  std::size_t number_ = 0;
  bool ansi_ = false;
  std::vector<RegSection> sections_;
  platform::CodePage& codePage_;
};

}  // namespace

std::vector<RegSection> ReadRegFile(std::string_view bytes, platform::CodePage& codePage) {
  const Text text = Decode(bytes, codePage);
  return Reader(text, codePage).Read();
}

}  // namespace nerio::tool
