// The conformance cases of the W3C, tests/data/xmlconf, against the loading of documents.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/hosts/portable/xml/xml_dom.h"
#include "nerio/hosts/portable/xml/xml_parser.h"
#include "nerio/types/utf8.h"
#include "tests/testing/tables.h"
#include "tools/nerio/xml_bytes.h"

namespace nerio::platform {
namespace {

using testing::Table;

std::string ReadFile(const std::string& path) {
  std::ifstream file(testing::DataFolder() / "xmlconf" / path, std::ios::binary);
  if (!file) throw std::runtime_error("no file xmlconf/" + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// One case, and the content of its document in one byte per unit, so that ASCII can be found whatever the encoding.
struct Case {
  Case(const Table& table, const Table::Row& row)
      : id(table.Field(row, "id")),
        type(table.Field(row, "type")),
        edition(table.Field(row, "edition")),
        version(table.Field(row, "version")),
        namespaces(table.Field(row, "namespace")),
        bytes(ReadFile(table.Field(row, "path"))) {
    std::remove_copy(bytes.begin(), bytes.end(), std::back_inserter(ascii), '\0');
  }

  // Returns where the document type declaration begins in `ascii`, npos where there is none. What stands in comments,
  // instructions and CDATA sections does not count.
  std::size_t Doctype() const {
    constexpr std::pair<std::string_view, std::string_view> kSkipped[] = {
        {"<!--", "-->"}, {"<?", "?>"}, {"<![CDATA[", "]]>"}};
    for (std::size_t at = 0; (at = ascii.find('<', at)) != std::string::npos;) {
      const std::string_view rest = std::string_view(ascii).substr(at);
      if (rest.starts_with("<!DOCTYPE")) return at;
      const auto* const skipped = std::find_if(std::begin(kSkipped), std::end(kSkipped),
                                               [&](const auto& each) { return rest.starts_with(each.first); });
      const std::size_t end = skipped == std::end(kSkipped) ? 0 : rest.find(skipped->second);
      if (end == std::string_view::npos) return end;
      at += end + 1;
    }
    return std::string::npos;
  }

  // Returns the encoding that the document names, in capital letters.
  std::string NamedEncoding() const {
    const std::string_view declaration = std::string_view(ascii).substr(0, ascii.find("?>"));
    const std::size_t word = declaration.find("encoding");
    if (!declaration.starts_with("<?xml") && !declaration.starts_with("\xEF\xBB\xBF<?xml")) return "";
    if (word == std::string_view::npos) return "";
    const std::size_t start = declaration.find_first_of("\"'", word);
    if (start == std::string_view::npos) return "";
    const std::size_t end = declaration.find(declaration[start], start + 1);
    std::string name(declaration.substr(start + 1, end - start - 1));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 0x20) : c; });
    return name;
  }

  // Returns the rule by which the case says nothing about this loading, empty when it does say something.
  std::string LeftOutBecause() const {
    if (type == "error") return "an error that need not be reported";
    if (version == "1.1") return "XML 1.1";
    if (edition != "-" && edition.find('4') == std::string::npos) return "not of the 4th edition";
    if (namespaces == "no") return "without namespaces";
    // What cannot be the name of an encoding has to be refused for that.
    constexpr char kNameCharacters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
    const std::string encoding = NamedEncoding();
    if (!encoding.empty() && encoding != "UTF-8" && encoding != "UTF-16" &&
        encoding.find_first_not_of(kNameCharacters) == std::string::npos) {
      return "another encoding: " + encoding;
    }
    return "";
  }

  bool HasToBeAccepted() const { return type == "valid" || type == "invalid"; }

  std::string id;
  std::string type;  // "invalid" documents are well-formed: only a document type declaration makes them invalid
  std::string edition;
  std::string version;
  std::string namespaces;
  std::string bytes;
  std::string ascii;
};

std::vector<Case> ReadCases() {
  const Table table("xmlconf/cases.tsv");
  std::vector<Case> cases;
  for (const Table::Row& row : table.rows()) cases.emplace_back(table, row);
  return cases;
}

// Loads a document. Returns why that failed; an empty reason when it did not.
XmlLoadError Load(const std::string& bytes) {
  XmlLoadError error;
  Text text;
  if (!tool::DecodeXmlBytes(bytes, text, error)) return error;
  PortableXmlDom dom;
  const XmlDocument document(dom, dom.CreateDocument());
  const bool loaded = dom.LoadXml(document.get(), text);
  error = dom.LoadError(document.get());
  EXPECT_EQ(loaded, error == XmlLoadError());
  EXPECT_EQ(loaded, !dom.GetXml(document.get()).empty());
  return error;
}

void Print(const std::map<std::string, std::size_t>& counts) {
  for (const auto& [what, count] : counts) std::cout << "  " << count << " " << what << "\n";
}

TEST(XmlConf, DocumentsWithoutDoctype_AreAllAcceptedOrRefusedAsTheyMustBe) {
  std::map<std::string, std::size_t> counts;
  for (const Case& each : ReadCases()) {
    if (each.Doctype() != std::string::npos) continue;
    if (const std::string rule = each.LeftOutBecause(); !rule.empty()) {
      ++counts["left out: " + rule];
      continue;
    }
    const XmlLoadError error = Load(each.bytes);
    ++counts[each.HasToBeAccepted() ? "accepted as they must be" : "refused as they must be"];
    EXPECT_EQ(error.reason.empty(), each.HasToBeAccepted())
        << each.id << ": " << error.line << ":" << error.column << " " << ToUtf8(error.reason);
  }
  Print(counts);
  EXPECT_GT(counts["accepted as they must be"], 50u);
  EXPECT_GT(counts["refused as they must be"], 200u);
}

TEST(XmlConf, DocumentsWithDoctype_AreAllRefusedForItUnlessSomethingBeforeItIsWrong) {
  std::map<std::string, std::size_t> counts;
  std::size_t all = 0;
  for (const Case& each : ReadCases()) {
    const std::size_t doctype = each.Doctype();
    if (doctype == std::string::npos) continue;
    ++all;
    const XmlLoadError error = Load(each.bytes);
    if (error.reason == xml::kNoDoctype) {
      ++counts["refused for the declaration"];
      continue;
    }
    ASSERT_FALSE(error.reason.empty()) << each.id;
    const std::string reason = ToUtf8(error.reason);
    if (reason.find("a byte sequence that is not") == 0 || reason.find("names the encoding") != std::string::npos) {
      ++counts["refused for their bytes before anything else"];
      continue;
    }
    // The lines before the declaration, and its own up to it.
    const std::string before = each.ascii.substr(0, doctype);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    EXPECT_LE(error.line, line) << each.id << ": " << reason;
    EXPECT_TRUE(each.version == "1.1" || each.type == "not-wf" || reason.find("version") != std::string::npos)
        << each.id << ": " << reason;
    ++counts["refused for something before the declaration"];
  }
  Print(counts);
  EXPECT_GT(counts["refused for the declaration"], all / 10);
}

// The cases that try every range of letters, digits and signs of names do so in an instruction within their document
// type declaration: names.tsv holds these instructions. Outside of it each has to be accepted or refused all the same.
TEST(XmlConf, InstructionsOfTheCasesAboutNames_AreAcceptedOrRefusedAsTheyMustBe) {
  const Table table("xmlconf/names.tsv");
  std::map<std::string, std::size_t> counts;
  for (const Table::Row& row : table.rows()) {
    const bool valid = table.Field(row, "type") == "valid";
    const std::string& id = table.Field(row, "id");
    const XmlLoadError error = Load(ToUtf8(testing::Unescape(table.Field(row, "instruction"))) + "<a/>");
    EXPECT_EQ(error.reason.empty(), valid) << id << ": " << ToUtf8(error.reason);
    EXPECT_TRUE(valid || error.line == 1) << id << ": " << ToUtf8(error.reason);
    ++counts[valid ? "accepted as they must be" : "refused as they must be"];
  }
  Print(counts);
  EXPECT_EQ(counts["accepted as they must be"], 5u);
  EXPECT_EQ(counts["refused as they must be"], table.rows().size() - 5);
}

}  // namespace
}  // namespace nerio::platform
