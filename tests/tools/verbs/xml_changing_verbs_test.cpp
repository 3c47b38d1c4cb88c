#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/testing/temporary_folder.h"
#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

class XmlChangingVerbs : public ::testing::Test {
 protected:
  static std::string Content(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void Write(const std::string& bytes) const { std::ofstream(file_, std::ios::binary) << bytes; }

  testing::TemporaryFolder folder_;
  std::string file_ = (folder_.path() / "a.xml").string();
  std::string backup_ = (folder_.path() / "prima.xml").string();
  ToolHost tool_;
};

TEST_F(XmlChangingVerbs, Get_PrintsATextOrAnAttribute) {
  Write("<a x=' 1 '><b> perch\xC3\xA9 <c>no</c> </b><b>altro</b></a>");
  EXPECT_EQ(tool_.Run({"xml", "get", file_, "/a/b"}).out, "perch\xC3\xA9 no\n");
  EXPECT_EQ(tool_.Run({"xml", "get", file_, "/a/b/c"}).out, "no\n");
  EXPECT_EQ(tool_.Run({"xml", "get", file_, "/a", "x"}).out, " 1 \n");
  tool_.in = "<a/>";
  EXPECT_EQ(tool_.Run({"xml", "get", "-", "a"}).out, "\n");
  EXPECT_EQ(nlohmann::json::parse(tool_.Run({"xml", "get", file_, "/a/b/c", "--json"}).out)["text"], "no");
  EXPECT_EQ(nlohmann::json::parse(tool_.Run({"xml", "get", file_, "/a", "x", "--json"}).out)["value"], " 1 ");
  EXPECT_EQ(tool_.Run({"xml", "get", file_, "/a/d"}).exit, 3);
  const RunResult missing = tool_.Run({"xml", "get", file_, "/a", "y"});
  EXPECT_EQ(missing.exit, 3);
  EXPECT_EQ(missing.err, "nerio: /a in " + file_ + " has no attribute y\n");
  EXPECT_EQ(tool_.Run({"xml", "get", file_, "//a"}).exit, 5);
  Write("<a>");
  EXPECT_EQ(tool_.Run({"xml", "get", file_, "/a"}).exit, 5);
}

TEST_F(XmlChangingVerbs, Delete_TakesAnElementOrAnAttribute) {
  Write("<?xml version=\"1.0\" encoding=\"UTF-8\"?><a x=\"1\"><b/><b y=\"2\"/></a>");
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a/b", "--yes"}).out, "deleted /a/b in " + file_ + "\n");
  EXPECT_EQ(Content(file_), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<a x=\"1\"><b y=\"2\"/></a>\r\n");
  const RunResult json = tool_.Run({"xml", "delete", file_, "/a/b", "y", "-y", "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.out)["attribute"], "y");
  EXPECT_EQ(Content(file_), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<a x=\"1\"><b/></a>\r\n");
}

TEST_F(XmlChangingVerbs, Delete_AsksAndRefuses) {
  constexpr const char* kXml = "<a xmlns:p=\"u\"><p:b/><c/></a>";
  Write(kXml);
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a/c"}).exit, 2);
  tool_.interactive = true;
  tool_.in = "n\n";
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a/c"}).exit, 2);
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a", "-y"}).exit, 2);
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a/d", "-y"}).exit, 3);
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a", "z", "-y"}).exit, 3);
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a[1]", "-y"}).exit, 5);
  const RunResult broken = tool_.Run({"xml", "delete", file_, "/a", "xmlns:p", "-y", "--backup", backup_});
  EXPECT_EQ(broken.exit, 5);
  EXPECT_NE(broken.err.find("this would not be XML"), std::string::npos) << broken.err;
  EXPECT_EQ(Content(file_), kXml);
  EXPECT_FALSE(std::filesystem::exists(backup_));
  tool_.in = "s\n";
  EXPECT_EQ(tool_.Run({"xml", "delete", file_, "/a/c"}).exit, 0);
  EXPECT_EQ(Content(file_), "<a xmlns:p=\"u\"><p:b/></a>\r\n");
}

TEST_F(XmlChangingVerbs, Format_IndentsAndSaysWhetherItHadTo) {
  Write("<a><b>1</b><c><d/></c></a>");
  EXPECT_EQ(tool_.Run({"xml", "format", file_}).out, "formatted " + file_ + "\n");
  EXPECT_EQ(Content(file_), "<a>\r\n  <b>1</b>\r\n  <c>\r\n    <d/>\r\n  </c>\r\n</a>\r\n");
  EXPECT_EQ(tool_.Run({"xml", "format", file_, "--backup", backup_}).out, file_ + " is formatted already\n");
  EXPECT_FALSE(std::filesystem::exists(backup_));
  EXPECT_EQ(nlohmann::json::parse(tool_.Run({"xml", "format", file_, "--json"}).out)["changed"], false);
  Write("<a>");
  EXPECT_EQ(tool_.Run({"xml", "format", file_}).exit, 5);
  EXPECT_EQ(Content(file_), "<a>");
}

TEST_F(XmlChangingVerbs, Backup_HoldsTheBytesFromBefore) {
  const std::vector<std::vector<std::string>> verbs = {
      {"set", file_, "/a", "x", "2"}, {"delete", file_, "/a/b", "--yes"}, {"format", file_}};
  const std::string before = "<a x='1' ><b/></a>";
  for (const auto& verb : verbs) {
    Write(before);
    std::vector<std::string> arguments{"xml"};
    arguments.insert(arguments.end(), verb.begin(), verb.end());
    arguments.insert(arguments.end(), {"--backup", backup_});
    const RunResult result = tool_.Run(arguments);
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_TRUE(result.out.ends_with("; backup in " + backup_ + "\n")) << result.out;
    EXPECT_EQ(Content(backup_), before);
    EXPECT_NE(Content(file_), before);
    // One that is there is never replaced, and without a backup nothing is changed.
    Write("<a y='3'><b/></a>");
    EXPECT_EQ(tool_.Run(arguments).exit, 2);
    EXPECT_EQ(Content(file_), "<a y='3'><b/></a>");
    EXPECT_EQ(Content(backup_), before);
    std::filesystem::remove(backup_);
  }
}

}  // namespace
}  // namespace nerio::tool
