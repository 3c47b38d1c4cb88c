#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/testing/ansi_literal.h"
#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

const AnsiText kAppPath = "Software\\Nerio\\App"_ansi;

TEST(RegExport, Utf8_IsSortedWithLineFeedsAndReadsBack) {
  ToolHost tool;
  tool.Store("Software\\Nerio\\App\\b"_ansi, "x"_ansi, 4, std::string("*\0\0\0", 4));
  tool.Create("Software\\Nerio\\App!"_ansi);
  tool.Create("Software\\Nerio\\App\\B2"_ansi);
  tool.Create("Software\\Nerio\\App\\a"_ansi);
  tool.Store(kAppPath, "zeta"_ansi, 1, std::string("1\0", 2));
  tool.Store(kAppPath, "Beta"_ansi, 1, std::string("perch\xE9\0", 7));
  tool.Store(kAppPath, "alfa"_ansi, 1, std::string("3\0", 2));
  tool.Store(kAppPath, ""_ansi, 1, std::string("4\0", 2));
  const std::string wanted =
      "Windows Registry Editor Version 5.00\n\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Nerio]\n\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Nerio\\App]\n"
      "@=\"4\"\n\"alfa\"=\"3\"\n\"Beta\"=\"perch\xC3\xA9\"\n\"zeta\"=\"1\"\n\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\a]\n\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\b]\n\"x\"=dword:0000002a\n\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\B2]\n\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Nerio\\App!]\n\n";
  const RunResult result = tool.Run({"reg", "export", "HKLM\\Software\\Nerio", "--utf8"});
  EXPECT_EQ(result.exit, 0);
  EXPECT_EQ(result.out, wanted);
  EXPECT_EQ(nlohmann::json::parse(tool.Run({"reg", "export", "HKLM\\Software\\Nerio", "--utf8", "--json"}).out)["text"],
            wanted);
  tool.in = wanted;
  EXPECT_EQ(tool.Run({"reg", "import", "-"}).out, "imported: 5 values already as in the file\n");
}

TEST(RegImport, Ini_BecomesKeysAndTextsBelowTheKey) {
  ToolHost tool;
  tool.in = "[Posta]\nServer=a.example\nPorta=\"25\"\n[Vuota]\n";
  const std::vector<std::string> arguments{"reg", "import", "-", "--from", "ini", "--below", kApp};
  std::vector<std::string> dry = arguments;
  dry.emplace_back("--dry-run");
  EXPECT_EQ(tool.Run(dry).out,
            "create key HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\Posta\n"
            "set \"Server\" in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\Posta: REG_SZ a.example\n"
            "set \"Porta\" in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\Posta: REG_SZ 25\n"
            "create key HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\Vuota\n"
            "would import: 5 keys created, 2 values set\n");
  EXPECT_FALSE(tool.Has("Software"_ansi));
  EXPECT_EQ(tool.Run(arguments).out, "imported: 5 keys created, 2 values set\n");
  EXPECT_EQ(tool.Stored("Software\\Nerio\\App\\Posta"_ansi, "Porta"_ansi), "1:3235");
  EXPECT_TRUE(tool.Has("Software\\Nerio\\App\\Vuota"_ansi));
}

TEST(RegImport, Ini_ThatDoesNotReadOrHasNoKey_ChangesNothing) {
  ToolHost tool;
  tool.in = "[Posta]\nServer\n";
  const RunResult bad = tool.Run({"reg", "import", "-", "--from", "ini", "--below", kApp});
  EXPECT_EQ(bad.exit, 5);
  EXPECT_EQ(bad.err,
            "nerio: -:2: neither a section in [ ], nor name=text, nor a comment: \"Server\"\n  nothing was imported\n");
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--from", "ini"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--below", kApp}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--from", "toml"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--from", "ini", "--below", "nowhere"}).exit, 5);
  EXPECT_FALSE(tool.Has("Software"_ansi));
  tool.in = "REGEDIT4\n[HKLM\\a]\n";
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--from", "reg"}).exit, 0);
}

}  // namespace
}  // namespace nerio::tool
