#include "tools/nerio/registry/ini_file.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "nerio/types/utf8.h"
#include "tools/nerio/registry/reg_text.h"
#include "tools/nerio/registry/value_text.h"

namespace nerio::tool {
namespace {

// Runs a conversion that says why it refuses a text, and adds the line.
template <typename Convert>
auto AtLine(std::size_t line, Convert convert) {
  try {
    return convert();
  } catch (const BadText& bad) {
    throw BadRegFile(line, bad.what());
  }
}

TextView WithoutQuotes(TextView text) {
  const bool quoted =
      text.size() >= 2 && text.front() == text.back() && (text.front() == u'"' || text.front() == u'\'');
  return quoted ? text.substr(1, text.size() - 2) : text;
}

class IniReader {
 public:
  IniReader(const RegistryKey& below, platform::CodePage& codePage) : below_(below), codePage_(codePage) {}

  void Read(TextView line, std::size_t number) {
    if (line.find(u'\0') != TextView::npos) throw BadRegFile(number, "a NUL in the text");
    line = WithoutBlanks(line);
    if (line.empty() || line.front() == u';' || line.front() == u'#') return;
    if (line.front() == u'[') {
      ReadSection(line, number);
    } else {
      ReadValue(line, number);
    }
  }

  std::vector<RegSection> Sections() { return std::move(sections_); }

 private:
  void ReadSection(TextView line, std::size_t number) {
    if (line.back() != u']') throw BadRegFile(number, "a section ends with ], and nothing comes after it");
    const TextView name = WithoutBlanks(line.substr(1, line.size() - 2));
    if (name.find_first_not_of(u'\\') == TextView::npos) throw BadRegFile(number, "a section without a name");
    const Text key = KeyText(below_, codePage_) + u'\\' + Text(name);
    sections_.push_back({AtLine(number, [&] { return ParseKey(key, codePage_); }), false, {}, number});
  }

  void ReadValue(TextView line, std::size_t number) {
    const std::size_t equals = line.find(u'=');
    if (equals == TextView::npos) {
      throw BadRegFile(number, "neither a section in [ ], nor name=text, nor a comment: \"" +
                                   OneLine(ToUtf8(line.substr(0, 40))) + "\"");
    }
    const TextView name = WithoutBlanks(line.substr(0, equals));
    const TextView text = WithoutQuotes(WithoutBlanks(line.substr(equals + 1)));
    if (name.empty()) throw BadRegFile(number, "the name before the = is missing");
    if (sections_.empty()) sections_.push_back({below_, false, {}, number});
    RegSection& section = sections_.back();
    RegValue value;
    value.line = number;
    value.type = platform::kRegSz;
    value.name = AtLine(number, [&] { return ParseValueName(name, codePage_); });
    value.data = AtLine(number, [&] { return ToAnsiExactly(text, codePage_).bytes(); });
    const auto [known, isNew] = lines_.try_emplace({Folded(section.key.path), Folded(value.name)}, number);
    if (!isNew) {
      throw BadRegFile(
          number, ShownName(value.name, codePage_) + " stands in line " + std::to_string(known->second) + " already");
    }
    section.values.push_back(std::move(value));
  }

  Text Folded(const AnsiText& name) const { return FoldedName(name, codePage_); }

  const RegistryKey& below_;
  platform::CodePage& codePage_;
  std::vector<RegSection> sections_;
  std::map<std::pair<Text, Text>, std::size_t> lines_;  // of each key and name
};

}  // namespace

std::vector<RegSection> ReadIniFile(std::string_view bytes, const RegistryKey& below, platform::CodePage& codePage) {
  const Text text =
      DecodeFile(bytes, "convert the file, for instance with iconv -f CP1252 -t UTF-8, when it is in another encoding");
  IniReader reader(below, codePage);
  std::size_t number = 0;
  for (TextView rest = text; !rest.empty();) reader.Read(CutLine(rest), ++number);
  return reader.Sections();
}

}  // namespace nerio::tool
