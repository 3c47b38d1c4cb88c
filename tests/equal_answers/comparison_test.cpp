#include "tests/equal_answers/comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace nerio::equal_answers {
namespace {

struct Row {
  std::string operation;
  std::string onLinux;
  std::string onWindows;
};

// The answers of two hosts to a hundred operations, the last of which is `row`'s.
Comparison CompareWith(const Row& row) {
  std::vector<std::string> onLinux;
  onLinux.reserve(100);
  for (int i = 0; i < 99; ++i)
    onLinux.push_back(AnswerLine("Property", i % 10 == 0 ? "- x" : i % 10 == 1 ? "! x" : "= x"));
  std::vector<std::string> onWindows = onLinux;
  onLinux.push_back(AnswerLine(row.operation, row.onLinux));
  onWindows.push_back(AnswerLine(row.operation, row.onWindows));
  return Compare(onLinux, onWindows, 100);
}

TEST(EqualAnswers, KnownDifferences_AreExcusedAndCounted) {
  const std::vector<std::pair<Row, std::vector<std::size_t>>> rows = {
      {{"FormatTemplate\t{0}", R"(= "1,5E+20 a,b")", R"(= "1.5E+20 a,b")"}, {0}},
      {{"GetXml\tnode\t1", R"(= "<a><b/></a>")", R"(= "<a>\u000D\u000A\u0009<b/>\u000D\u000A</a>")"}, {1}},
      {{"GetXml\tnode\t1", R"(= "<a b="\u00E8"/>")", R"(= "<a b="&#xE8;"/>")"}, {2}},
      {{"GetXml\tnode\t1", R"(= "<a b="\uD83D\uDE00"/>")", R"(= "<a b="&#x1F600;"/>")"}, {2}},
      {{"GetXml\tdocument\td", R"(= "<a id="1" p:id="2"/>")", R"(= "<a p:id="2" id="1"/>")"}, {3}},
      {{"GetXml\tnode\t1", R"(= "<a>x\u0001\uD800z</a>")", R"(= "<a>x\uFFFDz</a>")"}, {4}},
      {{"AddXMLElement\td", R"(! -2147467259 "XmlDom" "no")", R"(! -2147467259 "" "Errore")"}, {5}},
      {{"GetXml\tnode\t1", R"(= "<a b="\u00E8"><b/></a>")", R"(= "<a b="&#xE8;">\u000D\u000A<b/>\u000D\u000A</a>")"},
       {1, 2}},
  };
  for (const auto& [row, needed] : rows) {
    const Comparison comparison = CompareWith(row);
    EXPECT_TRUE(comparison.Equal()) << row.onWindows;
    for (std::size_t i = 0; i < kExcuses.size(); ++i) {
      const bool wanted = std::find(needed.begin(), needed.end(), i) != needed.end();
      EXPECT_EQ(comparison.excused[i], wanted ? 1U : 0U) << row.onWindows << ": " << kExcuses[i].reason;
    }
  }
}

TEST(EqualAnswers, EveryOtherDifference_IsOne) {
  const std::vector<Row> rows = {
      {"LeggiRegistro\t0\tNome", R"(= "a")", R"(= "b")"},
      {"LeggiRegistro\t0\tNome", R"(= "a")", R"(- "a")"},
      {"LeggiRegistro\t0\tNome", R"(= "1,5E+20")", R"(= "1.5E+20")"},
      {"LeggiRegistro\t0\tNome", R"(= "x\u0001")", R"(= "x")"},
      {"FormatTemplate\t{0}", R"(= "1,5")", R"(= "1.5")"},
      {"GetXml\tnode\t1", R"(= "<a>x\u000D\u000A</a>")", R"(= "<a>x</a>")"},
      {"GetXml\tnode\t1", R"(= "<a>x</a>")", R"(= "<a>x\u000D\u000A</a>")"},
      {"GetXml\tnode\t1", R"(= "<a id="1" p:id="2"/>")", R"(= "<a id="2" p:id="1"/>")"},
      {"GetXml\tnode\t1", R"(= "<a b="\u00E8"/>")", R"(= "<a b="&#xE9;"/>")"},
      {"AddXMLElement\td", R"(! -2147467259 "XmlDom" "no")", R"(! -2147024809 "" "Errore")"},
      {"AddXMLElement\td", R"(! 91 "" "a")", R"(! 91 "" "b")"},
  };
  for (const Row& row : rows) {
    const Comparison comparison = CompareWith(row);
    EXPECT_EQ(comparison.differences.size(), 1U) << row.onLinux << ' ' << row.onWindows;
    EXPECT_FALSE(comparison.Equal());
  }
}

TEST(EqualAnswers, WhatProvesNothing_IsComplainedOf) {
  const std::vector<std::string> good = [] {
    std::vector<std::string> lines;
    lines.reserve(100);
    for (int i = 0; i < 100; ++i) lines.push_back(AnswerLine("GetXml\tx", i < 80 ? "= x" : i < 90 ? "- x" : "! -1 x"));
    return lines;
  }();
  EXPECT_TRUE(Compare(good, good, 100).Equal());
  EXPECT_FALSE(Compare(good, good, 101).Equal()) << "fewer than there must be";

  std::vector<std::string> shorter = good;
  shorter.pop_back();
  EXPECT_FALSE(Compare(good, shorter, 100).Equal());

  std::vector<std::string> other = good;
  other[50] = AnswerLine("GetXml\ty", "= x");
  EXPECT_FALSE(Compare(good, other, 100).Equal()) << "another operation";

  std::vector<std::string> excused = good;
  for (int i = 90; i < 92; ++i) excused[static_cast<std::size_t>(i)] = AnswerLine("GetXml\tx", "! -1 y");
  EXPECT_TRUE(Compare(good, excused, 100).Equal());
  excused[92] = AnswerLine("GetXml\tx", "! -1 y");
  EXPECT_FALSE(Compare(good, excused, 100).Equal()) << "too many for one excuse";

  const std::vector<std::string> easy(100, AnswerLine("GetGuid", "= x"));
  EXPECT_FALSE(Compare(easy, easy, 100).Equal()) << "nothing fails";
}

}  // namespace
}  // namespace nerio::equal_answers
