#include "tests/equal_answers/comparison.h"

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <regex>
#include <sstream>
#include <string_view>

#include "nerio/types/text.h"
#include "tests/testing/tables.h"

namespace nerio::equal_answers {
namespace {

constexpr std::string_view kMark = "\t=> ";

bool StartsWithAny(const std::string& operation, std::initializer_list<std::string_view> names) {
  return std::any_of(names.begin(), names.end(), [&](std::string_view name) {
    return operation.starts_with(name) && (operation.size() == name.size() || operation[name.size()] == '\t');
  });
}

Text FromCodePoint(std::uint32_t character) {
  if (character < 0x10000) return Text(1, static_cast<char16_t>(character));
  character -= 0x10000;
  return {static_cast<char16_t>(0xD800 + (character >> 10)), static_cast<char16_t>(0xDC00 + (character & 0x3FF))};
}

bool IsXml(const std::string& operation) {
  return StartsWithAny(operation, {"AddXMLElement", "SetXMLAttribute", "GetXml", "LoadXml"});
}

std::string WithPointInExponent(const std::string& operation, const std::string& answer) {
  static const std::regex number("([0-9]),([0-9]+E[+-][0-9])");
  return StartsWithAny(operation, {"FormatTemplate"}) ? std::regex_replace(answer, number, "$1.$2") : answer;
}

std::string WithoutIndentation(const std::string& operation, const std::string& answer) {
  static const std::regex lineEnd(R"(>\\u000D\\u000A(\\u0009)*(?=[<"]))");
  return IsXml(operation) ? std::regex_replace(answer, lineEnd, ">") : answer;
}

// The answers are escaped: what the document has as a reference looks then like the character itself.
std::string WithoutReferences(const std::string& operation, const std::string& answer) {
  static const std::regex reference("&#x([0-9A-F]+);");
  if (!IsXml(operation)) return answer;
  std::string out;
  auto rest = answer.cbegin();
  for (std::sregex_iterator found(answer.begin(), answer.end(), reference); found != std::sregex_iterator(); ++found) {
    out.append(rest, (*found)[0].first);
    const auto character = static_cast<std::uint32_t>(std::stoul((*found)[1].str(), nullptr, 16));
    out += testing::Escape(FromCodePoint(character));
    rest = (*found)[0].second;
  }
  return out.append(rest, answer.cend());
}

std::string WithAttributesInOrder(const std::string& operation, const std::string& answer) {
  static const std::regex attribute(R"( [^ =<>"/]+="[^"]*")");
  static const std::regex attributes(R"(( [^ =<>"/]+="[^"]*"){2,})");
  if (!IsXml(operation)) return answer;
  std::string out;
  auto rest = answer.cbegin();
  for (std::sregex_iterator found(answer.begin(), answer.end(), attributes); found != std::sregex_iterator(); ++found) {
    out.append(rest, (*found)[0].first);
    std::vector<std::string> each(std::sregex_token_iterator((*found)[0].first, (*found)[0].second, attribute),
                                  std::sregex_token_iterator());
    std::sort(each.begin(), each.end());
    for (const std::string& one : each) out += one;
    rest = (*found)[0].second;
  }
  return out.append(rest, answer.cend());
}

std::string WithoutLostCharacters(const std::string& operation, const std::string& answer) {
  static const std::regex lost(R"(\\u(000[0-8BCEF]|001[0-9A-F]|D[89A-F][0-9A-F]{2}|FFFD))");
  return IsXml(operation) ? std::regex_replace(answer, lost, "") : answer;
}

std::string WithoutWordsOfTheDom(const std::string& operation, const std::string& answer) {
  static const std::regex raised("(! -[0-9]+) .*");
  return IsXml(operation) ? std::regex_replace(answer, raised, "$1") : answer;
}

// Says which excuses make two answers equal, as few as can be; all of them together need not.
std::optional<std::bitset<kExcuses.size()>> Needed(const std::string& operation, const std::string& ours,
                                                   const std::string& theirs) {
  std::optional<std::bitset<kExcuses.size()>> fewest;
  for (unsigned choice = 1; choice < 1U << kExcuses.size(); ++choice) {
    const std::bitset<kExcuses.size()> excuses(choice);
    if (fewest && excuses.count() >= fewest->count()) continue;
    std::string here = ours;
    std::string there = theirs;
    for (std::size_t i = 0; i < kExcuses.size(); ++i) {
      if (!excuses[i]) continue;
      here = kExcuses[i].without(operation, here);
      there = kExcuses[i].without(operation, there);
    }
    if (here == there) fewest = excuses;
  }
  return fewest;
}

}  // namespace

const std::array<Excuse, 6> kExcuses{{
    {"Wine writes numbers with an exponent with a point, Windows with the region's mark", WithPointInExponent},
    {"Wine indents documents without text, Windows writes them on one line", WithoutIndentation},
    {"Wine writes attributes of a node with references, Windows with the characters", WithoutReferences},
    {"Wine takes an attribute with a prefix for its namesake without one, which is put back behind it",
     WithAttributesInOrder},
    {"control characters and halves of pairs, which no document holds, are lost in each DOM's own way",
     WithoutLostCharacters},
    {"source and words of a DOM's error are the DOM's own, the number is the same", WithoutWordsOfTheDom},
}};

std::string AnswerLine(const std::string& operation, const std::string& answer) {
  return operation + std::string(kMark) + answer;
}

Comparison Compare(const std::vector<std::string>& onLinux, const std::vector<std::string>& onWindows,
                   std::size_t operations) {
  Comparison comparison;
  comparison.operations = std::min(onLinux.size(), onWindows.size());
  for (const auto* const answers : {&onLinux, &onWindows}) {
    if (answers->size() == operations) continue;
    comparison.complaints.push_back(std::to_string(answers->size()) + " answers of " +
                                    (answers == &onLinux ? "Linux" : "Windows") + " instead of " +
                                    std::to_string(operations));
  }
  for (std::size_t i = 0; i < comparison.operations; ++i) {
    const std::size_t mark = onLinux[i].rfind(kMark);
    const std::string operation = onLinux[i].substr(0, mark);
    if (mark == std::string::npos || !onWindows[i].starts_with(operation + std::string(kMark))) {
      comparison.complaints.push_back("line " + std::to_string(i + 1) + " answers different operations");
      break;
    }
    const std::string ours = onLinux[i].substr(mark + kMark.size());
    const std::string theirs = onWindows[i].substr(mark + kMark.size());
    const char outcome = ours.empty() ? '?' : ours.front();
    ++(outcome == '=' ? comparison.succeeded : outcome == '-' ? comparison.failed : comparison.raised);
    if (ours == theirs) continue;
    if (const auto needed = Needed(operation, ours, theirs)) {
      for (std::size_t j = 0; j < kExcuses.size(); ++j) comparison.excused[j] += (*needed)[j] ? 1U : 0U;
    } else {
      std::ostringstream difference;
      difference << "operation " << i + 1 << ": " << operation << "\n  Linux:   " << ours << "\n  Windows: " << theirs;
      comparison.differences.push_back(difference.str());
    }
  }
  for (std::size_t i = 0; i < kExcuses.size(); ++i) {
    if (comparison.excused[i] * 50 > operations) {
      comparison.complaints.push_back(std::to_string(comparison.excused[i]) +
                                      " answers are too many for the excuse \"" + kExcuses[i].reason + '"');
    }
  }
  if (comparison.succeeded * 100 < operations * 60 || comparison.failed * 100 < operations * 5 ||
      comparison.raised * 100 < operations * 2) {
    comparison.complaints.push_back("the script tries too little");
  }
  return comparison;
}

}  // namespace nerio::equal_answers
