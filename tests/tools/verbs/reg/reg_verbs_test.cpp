#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tests/testing/ansi_literal.h"
#include "tests/testing/temporary_folder.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/registry/reg_file.h"

namespace nerio::tool {
namespace {

const AnsiText kAppPath = "Software\\Nerio\\App"_ansi;

TEST(RegSet, StoresTheTextWithoutTerminatorAndMakesTheKeys) {
  ToolHost tool;
  const RunResult result = tool.Run({"reg", "set", kApp, "Nome", "abc"});
  EXPECT_EQ(result.exit, 0);
  EXPECT_EQ(result.out, "stored \"Nome\" in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(tool.Stored(kAppPath, "Nome"_ansi), "1:616263");
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST(RegSet, AccentedText_IsStoredInTheCodePage) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"reg", "set", kApp, "perch\xC3\xA9", "\xE2\x82\xAC 5"}).exit, 0);
  EXPECT_EQ(tool.Stored(kAppPath, AnsiText("perch\xE9")), "1:802035");
}

TEST(RegSet, CharacterOutsideTheCodePage_IsRefusedAndNothingIsWritten) {
  for (const std::string text : {"\xD0\x96", "\xC4\x80", "\xF0\x9F\x98\x80", "a\xEF\xBC\xBC"}) {
    ToolHost tool;
    const RunResult value = tool.Run({"reg", "set", kApp, "Nome", text});
    EXPECT_EQ(value.exit, 5) << text;
    EXPECT_NE(value.err.find("code page 1252"), std::string::npos) << value.err;
    EXPECT_EQ(tool.Run({"reg", "set", kApp, text, "x"}).exit, 5) << text;
    EXPECT_EQ(tool.Run({"reg", "set", std::string(kApp) + text, "Nome", "x"}).exit, 5) << text;
    EXPECT_FALSE(tool.Has("Software"_ansi));
  }
}

TEST(RegSet, StandardInput_LosesOneLineEnd) {
  const std::pair<const char*, const char*> rows[] = {
      {"abc", "1:616263"}, {"abc\n", "1:616263"},  {"abc\r\n", "1:616263"}, {"abc\n\n", "1:6162630a"},
      {"", "1:"},          {"a\nb\n", "1:610a62"},
  };
  for (const auto& [in, stored] : rows) {
    ToolHost tool;
    tool.in = in;
    EXPECT_EQ(tool.Run({"reg", "set", kApp, "Nome", "--stdin"}).exit, 0);
    EXPECT_EQ(tool.Stored(kAppPath, "Nome"_ansi), stored) << in;
  }
}

TEST(RegSet, StandardInputThatIsNoText_IsBadInput) {
  for (const std::string& in : {std::string("\xE9"), std::string("a\0b", 3)}) {
    ToolHost tool;
    tool.in = in;
    EXPECT_EQ(tool.Run({"reg", "set", kApp, "Nome", "--stdin"}).exit, 5);
    EXPECT_FALSE(tool.Has("Software"_ansi));
  }
}

TEST(RegSet, NeitherOrBothOfValueAndStdin_IsUsage) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"reg", "set", kApp, "Nome"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "set", kApp, "Nome", "x", "--stdin"}).exit, 2);
  EXPECT_FALSE(tool.Has("Software"_ansi));
}

TEST(RegSet, TextThatTheClassCannotRead_IsStoredWithAWarning) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"reg", "set", kApp, "Nome", std::string(1024, 'x')}).err, "");
  const RunResult result = tool.Run({"reg", "set", kApp, "Nome", std::string(1025, 'x')});
  EXPECT_EQ(result.exit, 0);
  EXPECT_NE(result.err.find("1025 bytes is too long for CRegistry"), std::string::npos) << result.err;
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "Nome"}).out, std::string(1025, 'x') + "\n");
}

TEST(RegSet, RefusedKey_IsAccessDenied) {
  ToolHost tool;
  tool.Create(kAppPath);
  tool.registry.SetRights(platform::kHkeyLocalMachine, kAppPath, platform::kKeyRead);
  EXPECT_EQ(tool.Run({"reg", "set", kApp, "Nome", "x"}).exit, 4);
  EXPECT_EQ(tool.Stored(kAppPath, "Nome"_ansi), "");
}

TEST(RegSet, Type_IsStoredAndShown) {
  const struct {
    const char* word;
    const char* value;
    const char* stored;
    const char* type;
    const char* data;
  } rows[] = {
      {"dword", "0x10", "4:10000000", "REG_DWORD", "16"},
      {"qword", "4294967296", "11:0000000001000000", "REG_QWORD", "4294967296"},
      {"binary", "DEAD be", "3:deadbe", "REG_BINARY", "de,ad,be"},
      {"expand", "%TEMP%", "2:2554454d502500", "REG_EXPAND_SZ", "%TEMP%"},
      {"multi", "a\nb", "7:6100620000", "REG_MULTI_SZ", "a\nb"},
      {"string", "a", "1:61", "REG_SZ", "a"},
  };
  for (const auto& row : rows) {
    ToolHost tool;
    const RunResult set = tool.Run({"reg", "set", kApp, "v", row.value, "--type", row.word});
    EXPECT_EQ(set.exit, 0) << set.err;
    EXPECT_EQ(set.out, "stored \"v\" in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\n");
    EXPECT_EQ(tool.Stored(kAppPath, "v"_ansi), row.stored);
    EXPECT_EQ(tool.Run({"reg", "get", kApp, "v", "--type"}).out, row.type + std::string("\n"));
    EXPECT_EQ(tool.Run({"reg", "get", kApp, "v"}).out, row.data + std::string("\n"));
    EXPECT_NE(tool.Run({"reg", "list", kApp}).out.find(std::string("v\t") + row.type + '\t'), std::string::npos);
    const auto json =
        nlohmann::json::parse(tool.Run({"reg", "set", kApp, "v", row.value, "--type", row.word, "--json"}).out);
    EXPECT_EQ(json["type"], row.type);
    tool.in = row.value;
    EXPECT_EQ(tool.Run({"reg", "set", kApp, "w", "--stdin", "--type", row.word}).exit, 0);
    EXPECT_EQ(tool.Stored(kAppPath, "w"_ansi), row.stored);
  }
}

TEST(RegSet, WhatTheTypeCannotHold_IsBadInputAndNothingIsWritten) {
  for (const auto& [word, value] : {std::pair{"dword", "x"}, {"qword", "-1"}, {"binary", "0"}, {"multi", "a\n\nb"}}) {
    ToolHost tool;
    const RunResult result = tool.Run({"reg", "set", kApp, "v", "--type", word, "--", value});
    EXPECT_EQ(result.exit, 5) << word;
    EXPECT_NE(result.err.find("\n  nothing was stored; write "), std::string::npos) << result.err;
    const auto json =
        nlohmann::json::parse(tool.Run({"reg", "set", kApp, "v", "--type", word, "--json", "--", value}).out);
    EXPECT_EQ(json["error"]["exit"], 5);
    EXPECT_FALSE(tool.Has("Software"_ansi));
  }
  ToolHost tool;
  const RunResult result = tool.Run({"reg", "set", kApp, "v", "1", "--type", "REG_DWORD"});
  EXPECT_EQ(result.exit, 2);
  EXPECT_EQ(result.err,
            "nerio: \"REG_DWORD\" is not a type\n  the type is one of dword, qword, binary, expand, multi or string\n");
  EXPECT_FALSE(tool.Has("Software"_ansi));
}

TEST(RegGet, TypeOfWhatIsMissingOrRefused_FailsAsWithoutIt) {
  ToolHost tool;
  tool.Store(kAppPath, "n"_ansi, 99, "x");
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "n", "--type"}).out, "0x63\n");
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "Nome", "--type"}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "Nome", "--type", "--default", "d"}).out, "d\n");
  tool.registry.SetRights(platform::kHkeyLocalMachine, kAppPath, platform::kKeySetValue);
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "n", "--type"}).exit, 4);
}

TEST(RegGet, MissingAndRefused_AreToldApart) {
  ToolHost tool;
  tool.Create(kAppPath);
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "Nome"}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "get", std::string(kApp) + "\\Nulla", "Nome"}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "Nome", "--default", "d"}).exit, 0);
  tool.registry.SetRights(platform::kHkeyLocalMachine, kAppPath, platform::kKeySetValue);
  const RunResult refused = tool.Run({"reg", "get", kApp, "Nome", "--default", "d"});
  EXPECT_EQ(refused.exit, 4);
  EXPECT_EQ(refused.out, "");
}

TEST(RegGet, JsonShowsTypeDataAndBytes) {
  ToolHost tool;
  tool.Store(kAppPath, "m"_ansi, 7, std::string("a\0\xE9\0\0", 5));
  EXPECT_EQ(tool.Run({"reg", "get", kApp, "m", "--json"}).out,
            "{\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\\\\App\",\"name\":\"m\",\"type\":\"REG_MULTI_SZ\","
            "\"data\":[\"a\",\"\xC3\xA9\"],\"bytes\":\"6100e90000\"}\n");
  EXPECT_EQ(
      tool.Run({"reg", "get", kApp, "n", "--default", "d", "--json"}).out,
      "{\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\\\\App\",\"name\":\"n\",\"data\":\"d\",\"default\":true}\n");
}

TEST(RegTest, AnswersYesOrNo) {
  ToolHost tool;
  tool.Store(kAppPath, "Nome"_ansi, 1, "x");
  EXPECT_EQ(tool.Run({"reg", "test", kApp}).out, "yes\n");
  EXPECT_EQ(tool.Run({"reg", "test", kApp, "nome"}).out, "yes\n");
  const RunResult value = tool.Run({"reg", "test", kApp, "Altro"});
  EXPECT_EQ(value.exit, 3);
  EXPECT_EQ(value.out, "no\n");
  EXPECT_EQ(value.err, "");
  EXPECT_EQ(tool.Run({"reg", "test", std::string(kApp) + "\\x"}).exit, 3);
  tool.registry.SetRights(platform::kHkeyLocalMachine, kAppPath, platform::kKeySetValue);
  EXPECT_EQ(tool.Run({"reg", "test", kApp}).exit, 4);
}

TEST(RegCreate, SaysWhetherTheKeyIsNew) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"reg", "create", kApp}).out, "created HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\n");
  EXPECT_EQ(tool.Run({"reg", "create", kApp}).out, "already there: HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\n");
}

TEST(RegList, ShowsValuesThenKeys) {
  ToolHost tool;
  tool.Store(kAppPath, ""_ansi, 1, "p");
  tool.Store(kAppPath, "b"_ansi, 4, std::string("*\0\0\0", 4));
  tool.Store(kAppPath, "a\tb"_ansi, 7, std::string("x\0y\0\0", 5));
  tool.Create("Software\\Nerio\\App\\Sotto"_ansi);
  EXPECT_EQ(tool.Run({"reg", "list", kApp}).out,
            "@\tREG_SZ\tp\n"
            "a\\tb\tREG_MULTI_SZ\tx\\ny\n"
            "b\tREG_DWORD\t42\n"
            "Sotto\\\n");
  const auto json = nlohmann::json::parse(tool.Run({"reg", "list", kApp, "--json"}).out);
  EXPECT_EQ(json["values"].size(), 3u);
  EXPECT_EQ(json["values"][2]["data"], 42);
  EXPECT_EQ(json["keys"][0], "Sotto");
  EXPECT_EQ(tool.Run({"reg", "list", std::string(kApp) + "\\x"}).exit, 3);
}

TEST(RegTree, ShowsAllLevelsAndGoesOnPastARefusedKey) {
  ToolHost tool;
  tool.Store(kAppPath, "Nome"_ansi, 1, "x");
  tool.Create("Software\\Nerio\\App\\A\\B"_ansi);
  tool.Create("Software\\Nerio\\Chiusa\\Dentro"_ansi);
  tool.Create("Software\\Nerio\\Zeta"_ansi);
  EXPECT_EQ(tool.Run({"reg", "tree", "HKLM\\Software\\Nerio"}).out,
            "HKEY_LOCAL_MACHINE\\Software\\Nerio\n"
            "  App\\\n"
            "    A\\\n"
            "      B\\\n"
            "  Chiusa\\\n"
            "    Dentro\\\n"
            "  Zeta\\\n");
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\Chiusa"_ansi, platform::kKeySetValue);
  const RunResult refused = tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--values"});
  EXPECT_EQ(refused.exit, 4);
  EXPECT_EQ(refused.out,
            "HKEY_LOCAL_MACHINE\\Software\\Nerio\n"
            "  App\\\n"
            "    Nome\tREG_SZ\tx\n"
            "    A\\\n"
            "      B\\\n"
            "  Chiusa\\\n"
            "  Zeta\\\n");
  EXPECT_NE(refused.err.find("Chiusa: access is denied"), std::string::npos) << refused.err;
  const RunResult json = tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.out)["keys"].size(), 6u);
  EXPECT_EQ(json.exit, 4);
}

TEST(RegTree, Depth_EndsAtThatLevel) {
  ToolHost tool;
  tool.Store(kAppPath, "Nome"_ansi, 1, "x");
  tool.Create("Software\\Nerio\\App\\A\\B"_ansi);
  tool.Create("Software\\Nerio\\Zeta"_ansi);
  const std::string top = "HKEY_LOCAL_MACHINE\\Software\\Nerio\n";
  const std::pair<const char*, std::string> rows[] = {
      {"0", top},
      {"1", top + "  App\\\n    Nome\tREG_SZ\tx\n  Zeta\\\n"},
      {"2", top + "  App\\\n    Nome\tREG_SZ\tx\n    A\\\n  Zeta\\\n"},
      {"4294967295", top + "  App\\\n    Nome\tREG_SZ\tx\n    A\\\n      B\\\n  Zeta\\\n"},
  };
  for (const auto& [depth, out] : rows) {
    EXPECT_EQ(tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--values", "--depth", depth}).out, out) << depth;
  }
  const RunResult json = tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--depth", "1", "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.out)["keys"].size(), 3u);
  // What lies deeper is not looked at.
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App\\A"_ansi, platform::kKeySetValue);
  EXPECT_EQ(tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--depth", "1"}).exit, 0);
  EXPECT_EQ(tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--depth", "2"}).exit, 4);
  EXPECT_EQ(tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--depth", "-1"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "tree", "HKLM\\Software\\Nerio", "--depth", "x"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "tree", "HKLM\\Manca", "--depth", "1"}).exit, 3);
}

TEST(RegTree, VeryDeepTree_NeedsNoStack) {
  ToolHost tool;
  AnsiText path = "a"_ansi;
  for (int depth = 1; depth < 2000; ++depth) path += "\\a"_ansi;
  tool.Create(path);
  const RunResult result = tool.Run({"reg", "tree", "HKLM\\a"});
  EXPECT_EQ(result.exit, 0);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2000);
  EXPECT_EQ(tool.Run({"reg", "delete", "HKLM\\a", "--recursive", "--yes"}).exit, 0);
  EXPECT_FALSE(tool.Has("a"_ansi));
}

TEST(RegDelete, WithoutATerminalAndWithoutYes_IsRefused) {
  ToolHost tool;
  tool.Store(kAppPath, "Nome"_ansi, 1, "x");
  tool.in = "y\n";
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"reg", "delete", kApp}, {"reg", "delete", kApp, "Nome"}}) {
    const RunResult result = tool.Run(arguments);
    EXPECT_EQ(result.exit, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("--yes"), std::string::npos) << result.err;
  }
  EXPECT_EQ(tool.Stored(kAppPath, "Nome"_ansi), "1:78");
}

TEST(RegDelete, OnATerminal_AsksAndTakesOnlyYes) {
  for (const char* answer : {"", "\n", "n\n", "no\n", "x\n", "\r\n", "n\r\n"}) {
    ToolHost tool;
    tool.interactive = true;
    tool.Store(kAppPath, "Nome"_ansi, 1, "x");
    tool.in = answer;
    const RunResult result = tool.Run({"reg", "delete", kApp, "Nome"});
    EXPECT_EQ(result.exit, 2);
    EXPECT_TRUE(result.err.starts_with("nerio: delete \"Nome\" in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App? [y/N] "))
        << result.err;
    EXPECT_EQ(tool.Stored(kAppPath, "Nome"_ansi), "1:78");
  }
  for (const char* answer : {"y\n", "Y\n", "yes", "y\r\n"}) {
    ToolHost tool;
    tool.interactive = true;
    tool.Store(kAppPath, "Nome"_ansi, 1, "x");
    tool.in = answer;
    EXPECT_EQ(tool.Run({"reg", "delete", kApp, "Nome"}).exit, 0);
    EXPECT_EQ(tool.Stored(kAppPath, "Nome"_ansi), "");
  }
}

TEST(RegDelete, Yes_DeletesAValueAKeyOrABranch) {
  ToolHost tool;
  tool.Store(kAppPath, "Nome"_ansi, 1, "x");
  tool.Store(kAppPath, ""_ansi, 1, "p");
  tool.Create("Software\\Nerio\\App\\A\\B"_ansi);
  EXPECT_EQ(tool.Run({"reg", "delete", kApp, "", "--yes"}).out,
            "deleted the unnamed value in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\n");
  EXPECT_EQ(tool.Stored(kAppPath, ""_ansi), "");
  EXPECT_EQ(tool.Run({"reg", "delete", kApp, "Altro", "--yes"}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "delete", "HKLM\\Software\\Nerio\\App\\A\\B", "--yes"}).out,
            "deleted HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\A\\B\n");
  const RunResult below = tool.Run({"reg", "delete", kApp, "--yes"});
  EXPECT_EQ(below.exit, 2);
  EXPECT_NE(below.err.find("--recursive"), std::string::npos) << below.err;
  EXPECT_TRUE(tool.Has(kAppPath));
  EXPECT_EQ(tool.Run({"reg", "delete", kApp, "--recursive", "--yes"}).exit, 0);
  EXPECT_FALSE(tool.Has(kAppPath));
  EXPECT_TRUE(tool.Has("Software\\Nerio"_ansi));
  EXPECT_EQ(tool.Run({"reg", "delete", kApp, "--yes"}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "delete", "HKLM", "--recursive", "--yes"}).exit, 2);
  EXPECT_TRUE(tool.Has("Software\\Nerio"_ansi));
}

TEST(RegDelete, RefusedKeyInTheBranch_SaysHowFarItWent) {
  ToolHost tool;
  tool.Create("Software\\Nerio\\App\\A"_ansi);
  tool.Create("Software\\Nerio\\App\\B"_ansi);
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App\\A"_ansi, platform::kKeyRead);
  const RunResult result = tool.Run({"reg", "delete", kApp, "-r", "-y"});
  EXPECT_EQ(result.exit, 4);
  EXPECT_NE(result.err.find("cannot delete HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\\A, 1 key below "
                            "HKEY_LOCAL_MACHINE\\Software\\Nerio\\App deleted before: access is denied"),
            std::string::npos)
      << result.err;
}

std::string Content(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void Write(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

// Every type, terminated or not, odd sizes included, comes back byte for byte.
TEST(RegExport, ThenDeleteAndImport_StoresTheSameBytes) {
  const testing::TemporaryFolder folder;
  const std::string file = (folder.path() / "ramo.reg").string();
  ToolHost tool;
  const std::uint32_t types[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 99, 0xFFFFFFFF};
  const std::string datas[] = {"",
                               "abc",
                               std::string("abc\0", 4),
                               std::string("a\0b\0\0", 5),
                               std::string("*\0\0\0", 4),
                               "perch\xE9 \x80 \x81",
                               std::string("\0\0\0", 3),
                               "C:\\\"x\"\r\n\t",
                               std::string(3000, '\xFF')};
  std::vector<std::pair<AnsiText, std::string>> stored;
  for (const std::uint32_t type : types) {
    for (std::size_t i = 0; i < std::size(datas); ++i) {
      const AnsiText name(std::to_string(type) + "\\\"\xE8\r\n" + std::to_string(i));
      tool.Store(kAppPath, name, type, datas[i]);
      stored.emplace_back(name, tool.Stored(kAppPath, name));
    }
  }
  tool.Store(AnsiText("Software\\Nerio\\App\\..\\a/b\\\x01 \n]\\\xC8"), ""_ansi, 1, "x");
  EXPECT_EQ(tool.Run({"reg", "export", kApp, "-o", file}).out, "exported 5 keys and 136 values to " + file + "\n");
  EXPECT_EQ(tool.Run({"reg", "import", file}).out, "imported: 136 values already as in the file\n");
  EXPECT_EQ(tool.Run({"reg", "delete", "HKLM\\Software", "-r", "-y"}).exit, 0);
  const RunResult imported = tool.Run({"reg", "import", file});
  EXPECT_EQ(imported.exit, 0) << imported.err;
  for (const auto& [name, bytes] : stored) EXPECT_EQ(tool.Stored(kAppPath, name), bytes) << name;
  EXPECT_EQ(tool.Stored(AnsiText("Software\\Nerio\\App\\..\\a/b\\\x01 \n]\\\xC8"), ""_ansi), "1:78");
  const std::string before = Content(file);
  EXPECT_TRUE(before.starts_with("\xFF\xFEW"));
  tool.Run({"reg", "export", kApp, "-o", file});
  EXPECT_EQ(Content(file), before);
}

TEST(RegExport, StandardOutput_HasTheFileItself) {
  ToolHost tool;
  tool.Store(kAppPath, "Nome"_ansi, 1, "x");
  const RunResult result = tool.Run({"reg", "export", kApp});
  EXPECT_EQ(ReadRegFile(result.out, tool.codePage).size(), 1u);
  EXPECT_TRUE(result.out.starts_with("\xFF\xFEW"));
  tool.in = result.out;
  EXPECT_EQ(tool.Run({"reg", "import", "-"}).exit, 0);
  const auto json = nlohmann::json::parse(tool.Run({"reg", "export", kApp, "--json"}).out);
  EXPECT_EQ(json["keys"], 1);
  EXPECT_EQ(json["values"], 1);
  EXPECT_TRUE(json["text"].get<std::string>().starts_with("Windows Registry Editor Version 5.00\r\n"));
}

TEST(RegExport, MissingRefusedOrUnwritable_LeavesNoFile) {
  const testing::TemporaryFolder folder;
  ToolHost tool;
  tool.Create("Software\\Nerio\\App\\A"_ansi);
  const std::string file = (folder.path() / "x.reg").string();
  EXPECT_EQ(tool.Run({"reg", "export", std::string(kApp) + "\\Nulla", "-o", file}).exit, 3);
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App\\A"_ansi, platform::kKeySetValue);
  const RunResult refused = tool.Run({"reg", "export", kApp, "-o", file});
  EXPECT_EQ(refused.exit, 4);
  EXPECT_NE(refused.err.find("App\\A"), std::string::npos) << refused.err;
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App\\A"_ansi,
                          testing::InMemoryRegistry::kAllRights);
  EXPECT_EQ(tool.Run({"reg", "export", kApp, "-o", (folder.path() / "no" / "x.reg").string()}).exit, 3);
  // A folder is no file: a failure on one host, a refusal on the other.
  EXPECT_NE(tool.Run({"reg", "export", kApp, "-o", folder.path().string()}).exit, 0);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(RegImport, BadFile_SaysWhereAndImportsNothing) {
  const testing::TemporaryFolder folder;
  const std::string file = (folder.path() / "x.reg").string();
  Write(file, "REGEDIT4\n[HKLM\\Software\\X]\n\"a\"=\"1\"\n\"b\"=2\n");
  ToolHost tool;
  const RunResult result = tool.Run({"reg", "import", file});
  EXPECT_EQ(result.exit, 5);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.starts_with("nerio: " + file + ":4: no data after the =")) << result.err;
  EXPECT_FALSE(tool.Has("Software"_ansi));
  const auto json = nlohmann::json::parse(tool.Run({"reg", "import", file, "--json"}).out);
  EXPECT_EQ(json["error"]["line"], 4);
  EXPECT_EQ(tool.Run({"reg", "import", (folder.path() / "none.reg").string()}).exit, 3);
}

TEST(RegImport, DryRun_ShowsEveryChange) {
  ToolHost tool;
  tool.Store(kAppPath, "Nome"_ansi, 1, "x");
  tool.Store(kAppPath, "Via"_ansi, 1, "x");
  tool.Create("Software\\Vecchio\\A"_ansi);
  tool.in =
      "Windows Registry Editor Version 5.00\n[HKLM\\Software\\Nerio\\App]\n\"Nome\"=dword:5\n\"Via\"=-\n@=\"d\"\n"
      "[-HKLM\\Software\\Vecchio]\n[HKCU\\Nuovo]\n";
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--dry-run"}).out,
            "change \"Nome\" in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App: REG_SZ x -> REG_DWORD 5\n"
            "delete \"Via\" in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App\n"
            "set the unnamed value in HKEY_LOCAL_MACHINE\\Software\\Nerio\\App: REG_SZ d\n"
            "delete key HKEY_LOCAL_MACHINE\\Software\\Vecchio and 1 key below it\n"
            "create key HKEY_CURRENT_USER\\Nuovo\n"
            "would import: 1 key created, 2 keys deleted, 1 value set, 1 value changed, 1 value deleted\n");
  EXPECT_EQ(tool.Stored(kAppPath, "Nome"_ansi), "1:78");
  const auto json = nlohmann::json::parse(tool.Run({"reg", "import", "-", "-n", "--json"}).out);
  EXPECT_EQ(json["changes"].size(), 5u);
  EXPECT_EQ(json["changes"][0]["before"]["data"], "x");
  EXPECT_EQ(json["changes"][0]["after"]["data"], 5);
}

}  // namespace
}  // namespace nerio::tool
