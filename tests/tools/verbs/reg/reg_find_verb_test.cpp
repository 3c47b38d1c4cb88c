#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/testing/ansi_literal.h"
#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

using namespace std::string_literals;

// A registry with "posta" in a key's name, in a value's and in data.
struct FindTest : ::testing::Test {
  FindTest() {
    tool.Store("Software\\Nerio\\Posta"_ansi, "Server"_ansi, 1, "mail.example.org");
    tool.Store("Software\\Nerio\\App"_ansi, "PostaElettronica"_ansi, 4, "\x19\0\0\0"s);
    tool.Store("Software\\Nerio\\App"_ansi, "Elenco"_ansi, 7, "uno\0la posta\0\0"s);
    tool.Store("Software\\Nerio\\App"_ansi, AnsiText("Citt\xE0"), 1, AnsiText("Forl\xCC").bytes());
  }
  ToolHost tool;
};

TEST_F(FindTest, Text_IsFoundInNamesOfKeysAndValuesAndInData) {
  const std::string key = "HKEY_LOCAL_MACHINE\\Software\\Nerio\\";
  const struct {
    std::vector<std::string> arguments;
    std::string out;
  } rows[] = {
      {{"POSTA", kNerio},
       key + "App\tElenco\tREG_MULTI_SZ\tuno\\nla posta\n" + key + "App\tPostaElettronica\tREG_DWORD\t25\n" + key +
           "Posta\n"},
      {{"posta"},
       key + "App\tElenco\tREG_MULTI_SZ\tuno\\nla posta\n" + key + "App\tPostaElettronica\tREG_DWORD\t25\n" + key +
           "Posta\n"},
      {{"posta", kNerio, "--names"}, key + "Posta\n"},
      {{"posta", kNerio, "--values"}, key + "App\tPostaElettronica\tREG_DWORD\t25\n"},
      {{"posta", kNerio, "--data"}, key + "App\tElenco\tREG_MULTI_SZ\tuno\\nla posta\n"},
      {{"posta", kNerio, "--names", "--values"}, key + "App\tPostaElettronica\tREG_DWORD\t25\n" + key + "Posta\n"},
      // A number is found as it is shown.
      {{"25", kNerio}, key + "App\tPostaElettronica\tREG_DWORD\t25\n"},
      {{"CITT\u00C0", kNerio}, key + "App\tCitt\u00E0\tREG_SZ\tForl\u00CC\n"},
      {{"forl\u00EC", kNerio}, key + "App\tCitt\u00E0\tREG_SZ\tForl\u00CC\n"},
      // The key that was named is looked into, its own name is not looked at.
      {{"server", "HKLM\\Software\\Nerio\\Posta"}, key + "Posta\tServer\tREG_SZ\tmail.example.org\n"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments{"reg", "find"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const RunResult result = tool.Run(arguments);
    EXPECT_EQ(result.exit, 0) << row.out;
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.err, "");
  }
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST_F(FindTest, Json_HasEveryKeyAndValueThatWasFound) {
  const auto json = nlohmann::json::parse(tool.Run({"reg", "find", "posta", kNerio, "--json"}).out);
  EXPECT_EQ(json["text"], "posta");
  ASSERT_EQ(json["found"].size(), 3u);
  EXPECT_EQ(json["found"][0]["name"], "Elenco");
  EXPECT_EQ(json["found"][0]["data"][1], "la posta");
  EXPECT_EQ(json["found"][1]["data"], 25);
  EXPECT_EQ(json["found"][2], nlohmann::json({{"key", "HKEY_LOCAL_MACHINE\\Software\\Nerio\\Posta"}}));
  EXPECT_TRUE(json["errors"].empty());
}

TEST_F(FindTest, None_IsExitCode3) {
  for (const char* text : {"manca", "Posta", "\u65E5"}) {
    const RunResult result = tool.Run({"reg", "find", text, "HKLM\\Software\\Nerio\\Posta"});
    EXPECT_EQ(result.exit, 3) << text;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
  }
  const RunResult json = tool.Run({"reg", "find", "manca", "--json"});
  EXPECT_EQ(json.exit, 3);
  EXPECT_EQ(json.out, "{\"text\":\"manca\",\"found\":[],\"errors\":[]}\n");
}

TEST_F(FindTest, RefusedKey_IsNamedAndTheOthersAreSearched) {
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App"_ansi, platform::kKeySetValue);
  const RunResult result = tool.Run({"reg", "find", "posta"});
  EXPECT_EQ(result.exit, 0);
  EXPECT_EQ(result.out, "HKEY_LOCAL_MACHINE\\Software\\Nerio\\Posta\n");
  EXPECT_EQ(result.err, "nerio: cannot read HKEY_LOCAL_MACHINE\\Software\\Nerio\\App: access is denied (5)\n");
  const RunResult none = tool.Run({"reg", "find", "elenco", "--json"});
  EXPECT_EQ(none.exit, 3);
  const auto json = nlohmann::json::parse(none.out);
  ASSERT_EQ(json["errors"].size(), 1u);
  EXPECT_EQ(json["errors"][0]["key"], "HKEY_LOCAL_MACHINE\\Software\\Nerio\\App");
  EXPECT_EQ(json["errors"][0]["exit"], 4);
  EXPECT_EQ(json["errors"][0]["status"], 5);
}

TEST_F(FindTest, MissingOrRefusedStart_AndBadInput_Fail) {
  EXPECT_EQ(tool.Run({"reg", "find", "x", "HKLM\\Manca"}).exit, 3);
  EXPECT_NE(tool.Run({"reg", "find", "x", "HKLM\\Manca"}).err, "");
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App"_ansi, platform::kKeySetValue);
  const RunResult refused = tool.Run({"reg", "find", "x", "HKLM\\Software\\Nerio\\App", "--json"});
  EXPECT_EQ(refused.exit, 4);
  EXPECT_EQ(nlohmann::json::parse(refused.out)["error"]["exit"], 4);
  EXPECT_EQ(tool.Run({"reg", "find", ""}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "find"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "find", "\xE9"}).exit, 5);
  const RunResult bad = tool.Run({"reg", "find", "x", "Software", "--json"});
  EXPECT_EQ(bad.exit, 5);
  EXPECT_EQ(nlohmann::json::parse(bad.out)["error"]["exit"], 5);
}

}  // namespace
}  // namespace nerio::tool
