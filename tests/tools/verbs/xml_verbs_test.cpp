#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/testing/temporary_folder.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/registry/reg_file.h"

namespace nerio::tool {
namespace {

class XmlVerbs : public ::testing::Test {
 protected:
  std::string Content() const {
    std::ifstream stream(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void Write(const std::string& bytes) const { std::ofstream(file_, std::ios::binary) << bytes; }
  std::size_t Files() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder_.path()), {}));
  }

  testing::TemporaryFolder folder_;
  std::filesystem::path path_ = folder_.path() / "impostazioni.xml";
  std::string file_ = path_.string();
  ToolHost tool_;
};

TEST_F(XmlVerbs, NewSetAndAdd_BuildAFileStepByStep) {
  EXPECT_EQ(tool_.Run({"xml", "new", file_, "impostazioni"}).out, "created " + file_ + "\n");
  EXPECT_EQ(tool_.Run({"xml", "add", file_, "/impostazioni", "voce", "perch\xC3\xA9 <no>"}).exit, 0);
  EXPECT_EQ(tool_.Run({"xml", "add", file_, "impostazioni", "voce"}).exit, 0);
  EXPECT_EQ(tool_.Run({"xml", "set", file_, "/impostazioni/voce", "lingua", "it"}).out,
            "set lingua of /impostazioni/voce in " + file_ + "\n");
  EXPECT_EQ(tool_.Run({"xml", "set", file_, "/impostazioni/voce", "lingua", ""}).exit, 0);
  EXPECT_EQ(tool_.Run({"xml", "set", file_, "/impostazioni", "a", "\"\n"}).exit, 0);
  EXPECT_EQ(
      Content(),
      "<impostazioni a=\"&quot;&#10;\"><voce lingua=\"\">perch\xC3\xA9 &lt;no&gt;</voce><voce/></impostazioni>\r\n");
  EXPECT_EQ(tool_.Run({"xml", "check", file_}).out, file_ + ": well-formed\n");
  EXPECT_EQ(Files(), 1u);
}

TEST_F(XmlVerbs, FileAboveTheLimit_IsRefusedByEachVerbAndStaysAsItIs) {
  constexpr std::uintmax_t kLimit = std::uintmax_t{256} << 20;
  Write("<a>");
  std::filesystem::resize_file(path_, kLimit + 1);
  const std::string refused =
      "nerio: " + file_ + " has more than 256 MiB\n  that is the most that is read of such a file\n";
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"xml", "set", file_, "/a", "b", "c"}, {"xml", "add", file_, "/a", "b"}}) {
    const RunResult result = tool_.Run(arguments);
    EXPECT_EQ(result.exit, 5);
    EXPECT_EQ(result.err, refused);
  }
  EXPECT_EQ(tool_.Run({"xml", "check", file_}).err, "nerio: " + file_ + " has more than 256 MiB\n");
  EXPECT_EQ(std::filesystem::file_size(path_), kLimit + 1);
  EXPECT_EQ(Files(), 1u);
}

// The file is written in UTF-8, whatever it was read in.
TEST_F(XmlVerbs, SetAndAdd_KeepTheDeclarationAndNameTheEncodingThatIsWritten) {
  const auto utf16 = [](const Text& text) { return EncodeUtf16(text); };
  struct Row {
    std::string file;
    std::string written;
  };
  const Row rows[] = {
      {"<?xml version=\"1.0\" encoding=\"UTF-8\"?><a/>", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
      {"<?xml version='1.0' encoding='utf-8' standalone='yes'?><a/>",
       "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>"},
      {utf16(u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><a/>"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
      {utf16(u"<?xml version=\"1.0\"?><a/>"), "<?xml version=\"1.0\"?>"},
      {"<?xml version=\"1.0\" standalone=\"no\"?><a/>", "<?xml version=\"1.0\" standalone=\"no\"?>"},
      {"<a encoding=\"UTF-16\"/>", ""},
  };
  for (const Row& row : rows) {
    Write(row.file);
    EXPECT_EQ(tool_.Run({"xml", "set", file_, "/a", "n", "\xC3\xA8"}).exit, 0) << row.file;
    EXPECT_EQ(tool_.Run({"xml", "add", file_, "/a", "b"}).exit, 0);
    EXPECT_EQ(Content().substr(0, Content().find("<a")), row.written + (row.written.empty() ? "" : "\r\n"));
    EXPECT_NE(Content().find("n=\"\xC3\xA8\""), std::string::npos);
    EXPECT_EQ(tool_.Run({"xml", "check", file_}).exit, 0);
  }
}

TEST_F(XmlVerbs, New_NeverReplacesAFile) {
  Write("old");
  const RunResult result = tool_.Run({"xml", "new", file_, "a"});
  EXPECT_EQ(result.exit, 2);
  EXPECT_NE(result.err.find("is there already"), std::string::npos) << result.err;
  EXPECT_EQ(Content(), "old");
}

TEST_F(XmlVerbs, WhatIsRefused_LeavesTheFileAsItWas) {
  const std::string old = "<a><b/></a>";
  Write(old);
  struct Row {
    std::vector<std::string> arguments;
    int exit;
  };
  const Row rows[] = {
      {{"xml", "set", file_, "/a/c", "n", "v"}, 3},
      {{"xml", "add", file_, "/c", "n"}, 3},
      {{"xml", "set", file_, "/a", "1n", "v"}, 5},
      {{"xml", "set", file_, "/a", "", "v"}, 5},
      {{"xml", "add", file_, "/a", "a b"}, 5},
      {{"xml", "add", file_, "/a", "p:a"}, 5},  // a prefix that is declared nowhere
      {{"xml", "set", file_, "/a", "n", "\x01"}, 5},
      {{"xml", "add", file_, "/a", "n", "\xEF\xBF\xBF"}, 5},
      {{"xml", "add", file_, "/a", "n", "\xE9"}, 5},
      {{"xml", "set", (folder_.path() / "none.xml").string(), "/a", "n", "v"}, 3},
      {{"xml", "add", "-", "/a", "n"}, 3},
  };
  for (const Row& row : rows) {
    const RunResult result = tool_.Run(row.arguments);
    EXPECT_EQ(result.exit, row.exit) << row.arguments[3] << ' ' << row.arguments[4] << ": " << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Content(), old);
    EXPECT_EQ(Files(), 1u);
  }
}

TEST_F(XmlVerbs, PathThatIsNone_IsNamedWithWhatAPathIs) {
  Write("<p:a xmlns:p='u'/>");
  for (const std::string path : {"", "/", "/p:a", "/a/", "//a", "/a[1]", "/a/@n"}) {
    const RunResult result = tool_.Run({"xml", "set", file_, path, "n", "v"});
    EXPECT_EQ(result.exit, 5);
    EXPECT_EQ(result.err, "nerio: \"" + path +
                              "\" is not a path\n  a path is names of elements from the top, without prefixes, as in "
                              "/impostazioni/voce; nothing was written\n");
  }
}

// As the layer's DOM reads every document.
TEST_F(XmlVerbs, TextOfBlanksAndLineEndsOnly_IsNotKept) {
  Write("<a>\n  <b> </b>\n  <c> x </c>\n  <d xml:space='preserve'> </d>\n</a>\n");
  ASSERT_EQ(tool_.Run({"xml", "set", file_, "/a/b", "n", "v"}).exit, 0);
  EXPECT_EQ(Content(), "<a><b n=\"v\"/><c> x </c><d xml:space=\"preserve\"> </d></a>\r\n");
}

TEST_F(XmlVerbs, Check_SaysWhereAndWhy) {
  struct Row {
    std::string bytes;
    const char* where;  // after the file's name
  };
  const Row rows[] = {
      {"", ":"},
      {"<a>", ":1:"},
      {"<a>\n<b></a>", ":2:"},
      {"<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>", ":1:"},
      {"<a>\n\xE9</a>", ":2:1: "},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><a/>", ":1:"},
  };
  for (const Row& row : rows) {
    Write(row.bytes);
    const RunResult result = tool_.Run({"xml", "check", file_});
    EXPECT_EQ(result.exit, 5) << row.bytes;
    EXPECT_TRUE(result.err.starts_with("nerio: " + file_ + row.where)) << result.err;
    EXPECT_EQ(tool_.Run({"xml", "add", file_, "/a", "b"}).exit, 5);
    EXPECT_EQ(Content(), row.bytes);
  }
  Write("<a/>");
  const std::string other = (folder_.path() / "none.xml").string();
  const RunResult both = tool_.Run({"xml", "check", other, file_, "--json"});
  EXPECT_EQ(both.exit, 3);
  const auto json = nlohmann::json::parse(both.out)["files"];
  EXPECT_EQ(json[0]["wellFormed"], false);
  EXPECT_EQ(json[0]["error"]["exit"], 3);
  EXPECT_EQ(json[1]["wellFormed"], true);
}

// With a declaration the system's own DOM would fetch what it names.
TEST_F(XmlVerbs, DocumentTypeDeclaration_IsRefusedByEveryVerb) {
  const std::string other = (folder_.path() / "altro.xml").string();
  std::ofstream(other, std::ios::binary) << "segreto";
  for (const std::string& bytes :
       {std::string("<!DOCTYPE a><a/>"), std::string("<!DOCTYPE a SYSTEM \"altro.xml\"><a/>"),
        "<!DOCTYPE a SYSTEM \"" + other + "\"><a/>", "<!DOCTYPE a [<!ENTITY e SYSTEM \"" + other + "\">]><a>&e;</a>",
        std::string("<!DOCTYPE a [<!ENTITY e SYSTEM \"altro.xml\">]><a>&e;</a>"),
        std::string("<!DOCTYPE a [<!ENTITY % p SYSTEM \"altro.xml\"> %p;]><a/>")}) {
    Write(bytes);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"xml", "check", file_},
                                                      {"xml", "set", file_, "/a", "n", "v"},
                                                      {"xml", "add", file_, "/a", "n"}}) {
      const RunResult result = tool_.Run(arguments);
      EXPECT_EQ(result.exit, 5) << bytes;
      EXPECT_EQ(result.out, "");
      EXPECT_EQ(result.err, "nerio: " + file_ + ":1:1: a document type declaration (<!DOCTYPE) is not accepted\n");
      EXPECT_EQ(Content(), bytes);
    }
  }
}

TEST_F(XmlVerbs, DocumentOfMoreThanElements_KeepsAllButIndentation) {
  Write(
      "<?xml version=\"1.0\"?>\n<!-- prima -->\n<a xmlns=\"urn:a\" xmlns:p=\"urn:p\">\n"
      "  <?fa questo?>\n  <p:b p:c='1'><![CDATA[<x>]]></p:b>\n  <d xml:space=\"preserve\"> </d>\n</a>\n");
  EXPECT_EQ(tool_.Run({"xml", "add", file_, "/a", "e"}).exit, 0);
  EXPECT_EQ(tool_.Run({"xml", "set", file_, "/a/d", "p:f", "2"}).exit, 0);
  EXPECT_EQ(Content(),
            "<?xml version=\"1.0\"?>\r\n<!-- prima -->\r\n<a xmlns=\"urn:a\" xmlns:p=\"urn:p\"><?fa questo?>"
            "<p:b p:c=\"1\"><![CDATA[<x>]]></p:b><d xml:space=\"preserve\" p:f=\"2\"> </d><e/></a>\r\n");
}

// The system's DOM takes paths of its own; here they are names, on every host.
TEST_F(XmlVerbs, PathOfMoreThanNames_IsBadInput) {
  Write("<a><b/></a>");
  for (const char* path : {"", "/", "//b", "/a/*", "/a/b[1]", "/a/@b", "/a/p:b", "."}) {
    EXPECT_EQ(tool_.Run({"xml", "set", file_, path, "n", "v"}).exit, 5) << path;
  }
  EXPECT_EQ(Content(), "<a><b/></a>");
}

TEST_F(XmlVerbs, EncodingsWithTheirMark_AreRead) {
  for (const std::string& bytes : {std::string("\xEF\xBB\xBF<a>\xC3\xA9</a>"), EncodeUtf16(u"<a>\u00E9</a>")}) {
    Write(bytes);
    EXPECT_EQ(tool_.Run({"xml", "set", file_, "/a", "n", "v"}).exit, 0);
    EXPECT_EQ(Content(), "<a n=\"v\">\xC3\xA9</a>\r\n");
  }
  tool_.in = "<a/>";
  EXPECT_EQ(tool_.Run({"xml", "check", "-"}).out, "-: well-formed\n");
}

}  // namespace
}  // namespace nerio::tool
