#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/testing/ansi_literal.h"
#include "tests/testing/failing_registry.h"
#include "tests/testing/temporary_folder.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/command_line.h"

namespace nerio::tool {
namespace {

using namespace std::string_literals;

struct CopyTest : ::testing::Test {
  CopyTest() { Fill(); }
  void Fill() {
    tool.Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, 1, "x\0"s);
    tool.Store("Software\\Nerio\\App"_ansi, ""_ansi, 99, "\xFF");
    tool.Store(AnsiText("Software\\Nerio\\App\\Sotto\\Pi\xF9"), "n"_ansi, 4, "\1\0\0\0"s);
  }
  // What is below a key, as tree shows it, without the line of the key itself.
  std::string Below(const char* key) {
    const std::string tree = tool.Run({"reg", "tree", key, "--values"}).out;
    return tree.substr(std::min(tree.find('\n'), tree.size()));
  }
  ToolHost tool;
};

using CopyVerb = CopyTest;
using RenameVerb = CopyTest;

TEST_F(CopyVerb, Branch_IsCopiedByteForByte) {
  const RunResult result = tool.Run({"reg", "copy", kApp, "HKLM\\Altro\\Nuovo"});
  EXPECT_EQ(result.exit, 0) << result.err;
  EXPECT_EQ(result.out, "copied 3 keys and 3 values to HKEY_LOCAL_MACHINE\\Altro\\Nuovo\n");
  EXPECT_EQ(tool.Stored("Altro\\Nuovo"_ansi, "Nome"_ansi), "1:7800");
  EXPECT_EQ(tool.Stored("Altro\\Nuovo"_ansi, ""_ansi), "99:ff");
  EXPECT_EQ(tool.Run({"reg", "diff", kApp, "HKLM\\Altro\\Nuovo"}).exit, 0);
  EXPECT_EQ(tool.Run({"reg", "copy", kApp, "HKCU\\X", "--json"}).out,
            "{\"from\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\\\\App\",\"to\":\"HKEY_CURRENT_USER\\\\X\","
            "\"keys\":3,\"values\":3}\n");
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST_F(CopyVerb, IntoItself_CopiesWhatWasThere) {
  EXPECT_EQ(tool.Run({"reg", "copy", kApp, "HKLM\\Software\\Nerio\\App\\Copia"}).exit, 0);
  EXPECT_TRUE(tool.Has(AnsiText("Software\\Nerio\\App\\Copia\\Sotto\\Pi\xF9")));
  EXPECT_FALSE(tool.Has("Software\\Nerio\\App\\Copia\\Copia"_ansi));
}

TEST_F(CopyVerb, WhatIsThereAlready_IsRefused) {
  tool.Create("Software\\Nerio\\Altra"_ansi);
  for (const char* to : {"HKLM\\Software\\Nerio\\Altra", "HKLM\\Software\\Nerio\\APP", "HKLM", "HKCU"}) {
    const RunResult result = tool.Run({"reg", "copy", kApp, to});
    EXPECT_EQ(result.exit, 2) << to;
    EXPECT_NE(result.err.find(" is there already\n  delete it first, or choose another name\n"), std::string::npos);
  }
  EXPECT_EQ(Below("HKLM\\Software\\Nerio\\Altra"), "\n");
}

TEST_F(CopyVerb, MissingDeniedAndBadInput) {
  EXPECT_EQ(tool.Run({"reg", "copy", "HKLM\\Manca", "HKLM\\X"}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "copy", kApp, "X"}).exit, 5);
  EXPECT_EQ(tool.Run({"reg", "copy", kApp}).exit, 2);
  const auto json = nlohmann::json::parse(tool.Run({"reg", "copy", "HKLM\\Manca", "HKLM\\X", "--json"}).out);
  EXPECT_EQ(json["error"]["exit"], 3);
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio"_ansi, platform::kKeyRead);
  const RunResult target = tool.Run({"reg", "copy", kApp, "HKLM\\Software\\Nerio\\Nuova", "--json"});
  EXPECT_EQ(target.exit, 4);
  EXPECT_NE(target.err.find("; nothing was changed"), std::string::npos) << target.err;
  EXPECT_FALSE(nlohmann::json::parse(target.out)["error"].contains("line"));
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App\\Sotto"_ansi, platform::kKeySetValue);
  EXPECT_EQ(tool.Run({"reg", "copy", kApp, "HKLM\\X"}).exit, 4);
  EXPECT_FALSE(tool.Has("X"_ansi));
}

TEST_F(RenameVerb, Branch_HasTheOtherName) {
  const std::string before = Below(kApp);
  const RunResult result = tool.Run({"reg", "rename", kApp, "Programm\u00E0"});
  EXPECT_EQ(result.exit, 0) << result.err;
  EXPECT_EQ(
      result.out,
      "renamed HKEY_LOCAL_MACHINE\\Software\\Nerio\\App to HKEY_LOCAL_MACHINE\\Software\\Nerio\\Programm\u00E0\n");
  EXPECT_FALSE(tool.Has("Software\\Nerio\\App"_ansi));
  EXPECT_EQ(Below("HKLM\\Software\\Nerio\\Programm\u00E0"), before);
  EXPECT_EQ(
      tool.Run({"reg", "rename", "HKLM\\Software\\Nerio", "N", "--json"}).out,
      "{\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\",\"renamed\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\N\"}\n");
}

TEST_F(RenameVerb, MissingDeniedAndBadInput) {
  EXPECT_EQ(tool.Run({"reg", "rename", "HKLM\\Manca", "X"}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "rename", "HKLM", "X"}).exit, 2);
  for (const char* name : {"", "a\\b", "\\a", "a\\", "\u65E5"}) {
    const RunResult result = tool.Run({"reg", "rename", kApp, name, "--json"});
    EXPECT_EQ(result.exit, 5) << name;
    EXPECT_EQ(nlohmann::json::parse(result.out)["error"]["exit"], 5);
  }
  tool.Create("Software\\Nerio\\Altra"_ansi);
  EXPECT_EQ(tool.Run({"reg", "rename", kApp, "altra"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "rename", kApp, "APP"}).exit, 2);
  // What may not be deleted is not even copied.
  const std::string before = Below("HKLM\\Software\\Nerio");
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App\\Sotto"_ansi, platform::kKeyRead);
  const RunResult refused = tool.Run({"reg", "rename", kApp, "Nuova"});
  EXPECT_EQ(refused.exit, 4);
  EXPECT_NE(refused.err.find("; nothing was changed"), std::string::npos) << refused.err;
  EXPECT_EQ(Below("HKLM\\Software\\Nerio"), before);
}

// Whatever call of a rename or a copy fails, there is the old key alone, or it is done.
TEST_F(RenameVerb, AnyFailedCall_LeavesTheKeyAsItWas) {
  const std::string before = Below("HKLM\\Software");
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"reg", "rename", kApp, "Nuova"},
                                                    {"reg", "copy", kApp, "HKLM\\Software\\Nerio\\Nuova"}}) {
    std::size_t refused = 0;
    for (std::size_t number = 1;; ++number) {
      testing::FailingRegistry failing(tool.registry);
      failing.FailCall(number, platform::kDiskFull);
      platform::Host host = tool.View();
      std::istringstream in;
      std::ostringstream out;
      std::ostringstream err;
      const platform::Host failingHost{failing,    host.codePage, host.files,   host.module,
                                       host.guids, host.xml,      host.regional};
      const int exit = CommandLine("1").Run(arguments, failingHost, in, out, err, false);
      if (exit == 0) {
        EXPECT_TRUE(tool.Has("Software\\Nerio\\Nuova"_ansi));
        EXPECT_EQ(tool.Run({"reg", "delete", "HKLM\\Software\\Nerio", "-r", "-y"}).exit, 0);
        Fill();
      } else {
        ++refused;
        EXPECT_EQ(Below("HKLM\\Software"), before) << number << ": " << err.str();
      }
      if (failing.Calls() < number) break;
    }
    EXPECT_GT(refused, 10u);
  }
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

struct BackupTest : CopyTest {
  testing::TemporaryFolder folder;
  std::string file = (folder.path() / "b.reg").string();
};

// Whatever destroys something can be taken back by importing its backup.
TEST_F(BackupTest, Import_BringsBackWhatWasThere) {
  const std::string import =
      "Windows Registry Editor Version 5.00\n[HKLM\\Software\\Nerio\\App]\n\"NOME\"=-\n@=\"y\"\n\"Nuovo\"=\"1\"\n"
      "[-HKLM\\Software\\Nerio\\App\\Sotto]\n[HKLM\\Software\\Nerio\\App\\Sotto]\n\"a\"=\"b\"\n"
      "[HKLM\\Software\\Nerio\\X\\Y]\n\"a\"=\"b\"\n[HKLM\\Software\\Nerio\\App]\n\"Nuovo\"=\"2\"\n";
  const std::vector<std::string> rows[] = {
      {"reg", "set", kApp, "Nome", "y"},
      {"reg", "set", kApp, "Nuovo", "y"},
      {"reg", "set", "HKLM\\Software\\Nerio\\X\\Y", "Nuovo", "y"},
      {"reg", "delete", kApp, "nome", "--yes"},
      {"reg", "delete", kApp, "", "--yes"},
      {"reg", "delete", kApp, "--recursive", "--yes"},
      {"reg", "delete", "HKLM\\Software\\Nerio\\App\\Sotto\\Pi\u00F9", "--yes"},
      {"reg", "rename", kApp, "Altra"},
      {"reg", "import", "-"},
  };
  for (std::vector<std::string> arguments : rows) {
    const std::string before = Below("HKLM\\Software\\Nerio");
    tool.in = import;
    arguments.insert(arguments.end(), {"--backup", file});
    const RunResult result = tool.Run(arguments);
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_TRUE(result.out.ends_with("; backup in " + file + "\n")) << result.out;
    EXPECT_NE(Below("HKLM\\Software\\Nerio"), before) << arguments[1];
    EXPECT_EQ(tool.Run({"reg", "import", file}).exit, 0);
    EXPECT_EQ(Below("HKLM\\Software\\Nerio"), before) << arguments[1];
    std::filesystem::remove(file);
    tool.in = import;
    arguments.emplace_back("--json");
    EXPECT_EQ(nlohmann::json::parse(tool.Run(arguments).out)["backup"], file);
    EXPECT_EQ(tool.Run({"reg", "import", file}).exit, 0);
    EXPECT_EQ(Below("HKLM\\Software\\Nerio"), before) << arguments[1];
    std::filesystem::remove(file);
  }
}

TEST_F(BackupTest, FileThatIsThereOrCannotBeWritten_StopsEverything) {
  const std::string before = Below("HKLM");
  const std::vector<std::string> rows[] = {
      {"reg", "set", kApp, "Nome", "y"},        {"reg", "set", "HKLM\\Nuova", "Nome", "y"},
      {"reg", "delete", kApp, "Nome", "--yes"}, {"reg", "delete", kApp, "--recursive", "--yes"},
      {"reg", "rename", kApp, "Altra"},         {"reg", "import", "-"},
  };
  EXPECT_EQ(tool.Run({"reg", "export", kApp, "-o", file}).exit, 0);
  const auto size = std::filesystem::file_size(file);
  for (const std::vector<std::string>& row : rows) {
    for (const auto& [name, exit] : {std::pair{file, 2}, {(folder.path() / "no" / "b.reg").string(), 3}}) {
      std::vector<std::string> arguments = row;
      tool.in = "REGEDIT4\n[-HKLM\\Software]\n";
      arguments.insert(arguments.end(), {"--backup", name, "--json"});
      const RunResult result = tool.Run(arguments);
      EXPECT_EQ(result.exit, exit) << result.err;
      EXPECT_EQ(nlohmann::json::parse(result.out)["error"]["exit"], exit);
      EXPECT_EQ(Below("HKLM"), before) << arguments[1];
    }
  }
  EXPECT_EQ(std::filesystem::file_size(file), size);
}

TEST_F(BackupTest, WhatIsRefusedOrMissing_LeavesNoFile) {
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App\\Sotto"_ansi, platform::kKeySetValue);
  EXPECT_EQ(tool.Run({"reg", "delete", kApp, "-r", "-y", "--backup", file}).exit, 4);
  EXPECT_EQ(tool.Run({"reg", "delete", kApp, "Manca", "-y", "--backup", file}).exit, 3);
  EXPECT_EQ(tool.Run({"reg", "delete", kApp, "Nome", "--backup", file}).exit, 2);
  tool.in = "REGEDIT4\n[-HKLM\\Software\\Nerio]\n";
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--backup", file}).exit, 4);
  EXPECT_EQ(tool.Run({"reg", "import", "-", "--backup", file, "--dry-run"}).exit, 2);
  EXPECT_EQ(tool.Run({"reg", "rename", "HKLM\\Software\\Nerio", "N", "--backup", file}).exit, 4);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  EXPECT_TRUE(tool.Has(AnsiText("Software\\Nerio\\App\\Sotto\\Pi\xF9")));
}

}  // namespace
}  // namespace nerio::tool
