#include <gtest/gtest.h>

#include "tests/testing/ansi_literal.h"
#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

TEST(KeyArgument, SlashesSeparateLevelsAfterARootAndWithoutABackslash) {
  const std::pair<const char*, const char*> rows[] = {
      {"HKLM/Software/Nerio", "HKEY_LOCAL_MACHINE\\Software\\Nerio"},
      {"hkey_local_machine/a", "HKEY_LOCAL_MACHINE\\a"},
      {"HKCU/a b//c/", "HKEY_CURRENT_USER\\a b\\c"},
      {"HKU/x", "HKEY_USERS\\x"},
      {"HKLM/", "HKEY_LOCAL_MACHINE"},
      {"HKLM\\a/b", "HKEY_LOCAL_MACHINE\\a/b"},
  };
  for (const auto& [argument, key] : rows) {
    ToolHost tool;
    const RunResult result = tool.Run({"reg", "create", argument});
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_NE(result.out.find(std::string(key) + "\n"), std::string::npos) << result.out;
  }
  ToolHost tool;
  for (const char* argument : {"HKLM/a\\b", "X/a", "/HKLM/a"}) {
    const RunResult result = tool.Run({"reg", "create", argument});
    EXPECT_EQ(result.exit, 5) << argument;
    EXPECT_NE(result.err.find("is not a root key"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("quotes"), std::string::npos) << result.err;
  }
}

TEST(KeyArgument, WithoutItsSeparators_IsToBePutInQuotes) {
  for (const char* argument : {"HKLMSoftwareNerio", "hkcuSoftware", "HKEY_LOCAL_MACHINESoftware"}) {
    ToolHost tool;
    const RunResult result = tool.Run({"reg", "list", argument});
    EXPECT_EQ(result.exit, 5);
    EXPECT_NE(result.err.find("\n  put the key in quotes, as in \"HKLM\\Software\\Nerio\""), std::string::npos)
        << result.err;
  }
}

TEST(Question, TakesTheYesOfEnglishAndOfItalian) {
  const AnsiText path = "Software\\Nerio"_ansi;
  for (const char* answer : {"y", "Y", "yes", "s", "S", "si", "Si", "s\xC3\xAC", "S\xC3\xAC", "s\x8D", "s\xEC"}) {
    ToolHost tool;
    tool.interactive = true;
    tool.Store(path, "Nome"_ansi, 1, "x");
    tool.in = std::string(answer) + "\n";
    EXPECT_EQ(tool.Run({"reg", "delete", "HKLM\\Software\\Nerio", "Nome"}).exit, 0) << answer;
  }
  for (const char* answer : {"n", "no", "", "sn", "ss", "\xC3\xAC", "y y"}) {
    ToolHost tool;
    tool.interactive = true;
    tool.Store(path, "Nome"_ansi, 1, "x");
    tool.in = std::string(answer) + "\n";
    EXPECT_EQ(tool.Run({"reg", "delete", "HKLM\\Software\\Nerio", "Nome"}).exit, 2) << answer;
  }
}

}  // namespace
}  // namespace nerio::tool
