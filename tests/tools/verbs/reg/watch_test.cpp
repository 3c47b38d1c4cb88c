#include "tools/nerio/verbs/reg/watch.h"

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "tests/testing/ansi_literal.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/output.h"

namespace nerio::tool {
namespace {

using Lines = std::vector<std::string>;

struct WatchTest : ::testing::Test {
  // Watches the key while these changes are made, one before each look. @return what was shown after each.
  Lines Shown(const std::vector<std::function<void()>>& changes, bool json = false) {
    std::ostringstream out;
    std::ostringstream err;
    std::istringstream in;
    Output output(out, err);
    output.SetJson(json);
    Session session{tool.View(), in, output, false, version, {}};
    Lines lines;
    std::size_t next = 0;
    Watch(session, {platform::kHkeyLocalMachine, "Software\\Nerio"_ansi}, [&] {
      if (next > 0) lines.push_back(out.str());
      out.str("");
      if (next == changes.size()) return false;
      changes[next++]();
      return true;
    });
    said = err.str();
    return lines;
  }
  void Run(const Lines& arguments) { EXPECT_EQ(tool.Run(arguments).exit, 0) << arguments[1]; }

  ToolHost tool;
  std::string version;
  std::string said;
};

const std::string kShown = "HKEY_LOCAL_MACHINE\\Software\\Nerio";

TEST_F(WatchTest, WhatComesChangesAndGoes_IsALineEach) {
  Run({"reg", "set", kNerio, "Vecchio", "1"});
  const Lines lines = Shown({
      [] {},
      [&] {
        Run({"reg", "set", kNerio, "Nome", "a"});
      },
      [&] {
        Run({"reg", "set", kNerio, "Nome", "b"});
      },
      [&] {
        Run({"reg", "set", kNerio, "Nome", "5", "--type", "dword"});
      },
      [&] {
        Run({"reg", "set", kNerio, "Nome", "5", "--type", "dword"});
      },
      [&] {
        Run({"reg", "delete", kNerio, "Nome", "-y"});
      },
      [&] {
        Run({"reg", "set", "HKLM\\Software\\Nerio\\A\\B", "", "x"});
      },
      [&] {
        Run({"reg", "delete", "HKLM\\Software\\Nerio\\A", "-r", "-y"});
      },
      // What was undone before the next look is not seen, only the last state counts.
      [&] {
        for (int i = 0; i < 1000; ++i) Run({"reg", "set", kNerio, "Nome", std::to_string(i)});
        Run({"reg", "delete", kNerio, "Vecchio", "-y"});
      },
      [&] {
        Run({"reg", "delete", kNerio, "-y"});
      },
      [&] {
        Run({"reg", "create", kNerio});
      },
  });
  EXPECT_EQ(lines, (Lines{"", "+ " + kShown + "\tNome\tREG_SZ\ta\n", "~ " + kShown + "\tNome\tREG_SZ\tb\n",
                          "~ " + kShown + "\tNome\tREG_DWORD\t5\n", "", "- " + kShown + "\tNome\tREG_DWORD\t5\n",
                          "+ " + kShown + "\\A\n+ " + kShown + "\\A\\B\n+ " + kShown + "\\A\\B\t@\tREG_SZ\tx\n",
                          "- " + kShown + "\\A\n- " + kShown + "\\A\\B\n- " + kShown + "\\A\\B\t@\tREG_SZ\tx\n",
                          "+ " + kShown + "\tNome\tREG_SZ\t999\n- " + kShown + "\tVecchio\tREG_SZ\t1\n",
                          "- " + kShown + "\n- " + kShown + "\tNome\tREG_SZ\t999\n", "+ " + kShown + "\n"}));
  EXPECT_EQ(said, "nerio: watching " + kShown + "; Ctrl-C ends it\n");
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST_F(WatchTest, Json_IsAnObjectForEach) {
  tool.Create("Software\\Nerio"_ansi);
  const Lines lines = Shown({[&] {
                               Run({"reg", "set", kNerio, "n", "a"});
                             },
                             [&] {
                               Run({"reg", "delete", kNerio, "n", "-y"});
                             },
                             [&] {
                               Run({"reg", "create", "HKLM\\Software\\Nerio\\A"});
                             }},
                            true);
  EXPECT_EQ(lines, (Lines{"{\"change\":\"came\",\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\",\"name\":\"n\","
                          "\"type\":\"REG_SZ\",\"data\":\"a\",\"bytes\":\"61\"}\n",
                          "{\"change\":\"went\",\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\",\"name\":\"n\","
                          "\"type\":\"REG_SZ\",\"data\":\"a\",\"bytes\":\"61\"}\n",
                          "{\"change\":\"came\",\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\\\\A\"}\n"}));
}

TEST_F(WatchTest, WhatCannotBeRead_IsSaidOnceAndCountsAsUnchanged) {
  Run({"reg", "set", "HKLM\\Software\\Nerio\\A\\B", "n", "x"});
  tool.Create("Software\\Nerio\\Chiusa"_ansi);
  const auto rights = [&](const AnsiText& key, std::uint32_t mask) {
    return [this, key, mask] { tool.registry.SetRights(platform::kHkeyLocalMachine, key, mask); };
  };
  rights("Software\\Nerio\\Chiusa"_ansi, platform::kKeySetValue)();
  const Lines lines = Shown({
      rights("Software\\Nerio\\A"_ansi, platform::kKeySetValue),
      [&] {
        Run({"reg", "set", "HKLM\\Software\\Nerio\\A\\B", "n", "y"});
      },
      rights("Software\\Nerio\\A"_ansi, testing::InMemoryRegistry::kAllRights),
  });
  EXPECT_EQ(lines, (Lines{"", "", "~ " + kShown + "\\A\\B\tn\tREG_SZ\ty\n"}));
  EXPECT_EQ(said, "nerio: cannot read " + kShown + "\\Chiusa: access is denied (5)\nnerio: watching " + kShown +
                      "; Ctrl-C ends it\nnerio: cannot read " + kShown + "\\A: access is denied (5)\n");
}

TEST_F(WatchTest, MissingDeniedAndBadInput_EndItAtOnce) {
  EXPECT_EQ(tool.Run({"reg", "watch", kNerio}).exit, 3);
  const RunResult missing = tool.Run({"reg", "watch", kNerio, "--json"});
  EXPECT_EQ(nlohmann::json::parse(missing.out)["error"]["exit"], 3);
  EXPECT_EQ(tool.Run({"reg", "watch", "Software"}).exit, 5);
  tool.Create("Software\\Nerio"_ansi);
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio"_ansi, platform::kKeySetValue);
  EXPECT_EQ(tool.Run({"reg", "watch", kNerio}).exit, 4);
}

}  // namespace
}  // namespace nerio::tool
