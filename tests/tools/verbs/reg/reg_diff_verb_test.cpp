#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/testing/ansi_literal.h"
#include "tests/testing/temporary_folder.h"
#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

using namespace std::string_literals;

constexpr const char* kA = "HKLM\\Software\\A";
constexpr const char* kB = "HKLM\\Software\\B";

struct DiffTest : ::testing::Test {
  std::string File(const std::string& name, const std::string& text) {
    const std::filesystem::path file = folder.path() / name;
    std::ofstream(file, std::ios::binary) << "Windows Registry Editor Version 5.00\n" << text;
    return file.string();
  }
  testing::TemporaryFolder folder;
  ToolHost tool;
};

TEST_F(DiffTest, EqualKeys_AreExitCode0WhateverTheirCase) {
  tool.Store("Software\\A\\Uno"_ansi, "Nome"_ansi, 1, "x");
  tool.Store("Software\\B\\UNO"_ansi, "NOME"_ansi, 1, "x");
  const RunResult result = tool.Run({"reg", "diff", kA, kB});
  EXPECT_EQ(result.exit, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(
      tool.Run({"reg", "diff", kA, kB, "--json"}).out,
      "{\"first\":\"HKLM\\\\Software\\\\A\",\"second\":\"HKLM\\\\Software\\\\B\",\"equal\":true,\"differences\":[]}\n");
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST_F(DiffTest, DifferentKeys_AreExitCode1AndEachDifferenceIsShown) {
  tool.Store("Software\\A"_ansi, "Testo"_ansi, 1, "x");
  tool.Store("Software\\A"_ansi, "Tipo"_ansi, 1, "1");
  tool.Store("Software\\A"_ansi, ""_ansi, 1, "p");
  tool.Store("Software\\A\\Solo\\Sotto"_ansi, "v"_ansi, 1, "w");
  tool.Store("Software\\B"_ansi, "Testo"_ansi, 1, "x\0"s);
  tool.Store("Software\\B"_ansi, "Tipo"_ansi, 4, "\1\0\0\0"s);
  tool.Create("Software\\B\\Nuova"_ansi);
  const std::string a = "HKEY_LOCAL_MACHINE\\Software\\A";
  const std::string b = "HKEY_LOCAL_MACHINE\\Software\\B";
  const RunResult result = tool.Run({"reg", "diff", kA, kB});
  EXPECT_EQ(result.exit, 1);
  EXPECT_EQ(result.err, "");
  // Texts with and without a terminator look the same, so their bytes follow.
  EXPECT_EQ(result.out, "- " + a + "\t@\tREG_SZ\tp\n" +                                                   //
                            "- " + a + "\tTesto\tREG_SZ\tx\t78\n+ " + b + "\tTesto\tREG_SZ\tx\t7800\n" +  //
                            "- " + a + "\tTipo\tREG_SZ\t1\n+ " + b + "\tTipo\tREG_DWORD\t1\n" +           //
                            "+ " + b + "\\Nuova\n" +                                                      //
                            "- " + a + "\\Solo\n- " + a + "\\Solo\\Sotto\n" +                             //
                            "- " + a + "\\Solo\\Sotto\tv\tREG_SZ\tw\n");
  const RunResult shown = tool.Run({"reg", "diff", kA, kB, "--json"});
  EXPECT_EQ(shown.exit, 1);
  const auto json = nlohmann::json::parse(shown.out);
  EXPECT_EQ(json["equal"], false);
  ASSERT_EQ(json["differences"].size(), 7u);
  EXPECT_EQ(json["differences"][0]["first"]["data"], "p");
  EXPECT_FALSE(json["differences"][0].contains("second"));
  EXPECT_EQ(json["differences"][1]["first"]["bytes"], "78");
  EXPECT_EQ(json["differences"][1]["second"]["bytes"], "7800");
  EXPECT_EQ(json["differences"][3], nlohmann::json({{"key", b + "\\Nuova"}, {"only", "second"}}));
  EXPECT_EQ(json["differences"][4]["only"], "first");
}

TEST_F(DiffTest, FileAndKey_AreComparedByFullNames) {
  const std::string file = File("a.reg",
                                "[HKLM\\Software]\n[HKLM\\Software\\Nerio\\Posta]\n\"Porta\"=\"25\"\n\"Via\"=-\n"
                                "[-HKLM\\Software\\Nerio\\Vecchia]\n");
  tool.Store("Software\\Nerio\\Posta"_ansi, "Porta"_ansi, 1, "25\0"s);
  EXPECT_EQ(tool.Run({"reg", "diff", file, "HKLM\\SOFTWARE\\Nerio"}).exit, 0);
  // A key that is to be deleted is named, too.
  EXPECT_EQ(tool.Run({"reg", "diff", "HKLM\\Software\\Nerio\\Posta", file}).exit, 5);
  tool.in = "Windows Registry Editor Version 5.00\n[HKLM\\Software\\Nerio\\Posta]\n\"Porta\"=\"25\"\n";
  EXPECT_EQ(tool.Run({"reg", "diff", "-", "HKLM\\Software\\Nerio"}).exit, 0);
  tool.Store("Software\\Nerio\\Vecchia"_ansi, "x"_ansi, 1, "y");
  tool.Store("Software\\Nerio\\Posta"_ansi, "Porta"_ansi, 1, "2525\0"s);
  const RunResult result = tool.Run({"reg", "diff", file, "HKLM\\Software\\Nerio"});
  EXPECT_EQ(result.exit, 1);
  EXPECT_EQ(result.out,
            "- HKEY_LOCAL_MACHINE\\Software\\Nerio\\Posta\tPorta\tREG_SZ\t25\n"
            "+ HKEY_LOCAL_MACHINE\\Software\\Nerio\\Posta\tPorta\tREG_SZ\t2525\n"
            "+ HKEY_LOCAL_MACHINE\\Software\\Nerio\\Vecchia\n"
            "+ HKEY_LOCAL_MACHINE\\Software\\Nerio\\Vecchia\tx\tREG_SZ\ty\n");
}

TEST_F(DiffTest, Files_AreWhatTheyMakeOfAnEmptyRegistry) {
  const std::string first =
      File("a.reg", "[HKCU\\A\\B]\n\"x\"=\"1\"\n[HKCU\\A\\C]\n[-HKCU\\A\\C]\n[HKCU\\A\\B]\n\"x\"=\"2\"\n");
  const std::string second = File("b.reg", "[HKEY_CURRENT_USER\\a]\n[HKCU\\A\\B]\n\"X\"=\"2\"\n\"y\"=\"3\"\n\"Y\"=-\n");
  EXPECT_EQ(tool.Run({"reg", "diff", first, second}).out, "");
  EXPECT_EQ(tool.Run({"reg", "diff", first, second}).exit, 0);
  const std::string third = File("c.reg", "[HKLM\\A\\B]\n");
  EXPECT_EQ(tool.Run({"reg", "diff", third, second}).exit, 1);
}

TEST_F(DiffTest, Trouble_IsExitCode2AndAbove) {
  tool.Create("Software\\A\\Chiusa"_ansi);
  const std::string file = File("a.reg", "[HKLM\\Software\\A]\n[HKLM\\Software\\C]\n\"x\"=\"1\"\n");
  EXPECT_EQ(tool.Run({"reg", "diff", kA, kB}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "diff", kA, (folder.path() / "none.reg").string()}).exit, 3);
  const RunResult outside = tool.Run({"reg", "diff", file, kA});
  EXPECT_EQ(outside.exit, 5);
  EXPECT_EQ(outside.err, "nerio: " + file +
                             ":3: HKEY_LOCAL_MACHINE\\Software\\C is not in HKEY_LOCAL_MACHINE\\Software\\A\n"
                             "  name a key that holds all keys of the file\n");
  const std::string bad = File("b.reg", "x\n");
  const RunResult badFile = tool.Run({"reg", "diff", bad, kA, "--json"});
  EXPECT_EQ(badFile.exit, 5);
  EXPECT_EQ(nlohmann::json::parse(badFile.out)["error"]["line"], 2);
  EXPECT_EQ(tool.Run({"reg", "diff", kA}).exit, 2);
  // A folder is no file: a failure on one host, a refusal on the other, and never "different".
  EXPECT_GE(tool.Run({"reg", "diff", kA, folder.path().string()}).exit, 2);
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\A\\Chiusa"_ansi, platform::kKeySetValue);
  const RunResult refused = tool.Run({"reg", "diff", kA, "HKLM\\Software", "--json"});
  EXPECT_EQ(refused.exit, 4);
  EXPECT_EQ(nlohmann::json::parse(refused.out)["error"]["exit"], 4);
}

}  // namespace
}  // namespace nerio::tool
