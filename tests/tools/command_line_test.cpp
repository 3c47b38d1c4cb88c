#include "tools/nerio/command_line.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/testing/ansi_literal.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/registry_view.h"

namespace nerio::tool {
namespace {

constexpr const char* kKey = "HKLM\\Software\\Nerio";

TEST(CommandLine, EveryVerbAndGroup_HasHelpWithExamples) {
  const auto all = CommandLine("9.8.7").Describe();
  ASSERT_GT(all.size(), 10u);
  for (const auto& verb : all) {
    EXPECT_NE(verb.help.find("Examples:\n  nerio "), std::string::npos) << verb.name;
    EXPECT_NE(verb.help.find("--json"), std::string::npos) << verb.name;
  }
}

TEST(CommandLine, Help_IsAResult) {
  ToolHost tool;
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"},
                                                    {"-h"},
                                                    {"reg", "--help"},
                                                    {"reg", "get", "--help"},
                                                    {"reg", "get", "-h"}}) {
    const RunResult result = tool.Run(arguments);
    EXPECT_EQ(result.exit, 0);
    EXPECT_NE(result.out.find("Usage: nerio"), std::string::npos) << result.out;
    EXPECT_EQ(result.err, "");
  }
  EXPECT_NE(tool.Run({"reg", "get", "--help"}).out.find("Usage: nerio reg get"), std::string::npos);
}

TEST(CommandLine, Version_IsAResult) {
  ToolHost tool;
  for (const char* option : {"--version", "-V"}) {
    const RunResult result = tool.Run({option});
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out, "nerio 9.8.7\n");
  }
}

TEST(CommandLine, HelpOfAVerb_IsWhatItsOptionPrints) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"help"}).out, tool.Run({"--help"}).out);
  EXPECT_EQ(tool.Run({"help", "reg"}).out, tool.Run({"reg", "--help"}).out);
  EXPECT_EQ(tool.Run({"help", "reg", "get"}).out, tool.Run({"reg", "get", "--help"}).out);
  EXPECT_EQ(tool.Run({"help", "help"}).out, tool.Run({"help", "--help"}).out);
  const auto json = nlohmann::json::parse(tool.Run({"help", "reg", "get", "--json"}).out);
  EXPECT_EQ(json["verb"], "reg get");
  EXPECT_EQ(json["help"], tool.Run({"reg", "get", "--help"}).out);
  EXPECT_EQ(tool.Run({"help", "gte"}).err, "nerio: there is no verb called \"gte\"\n  see nerio --help\n");
  const RunResult mistyped = tool.Run({"help", "reg", "gte"});
  EXPECT_EQ(mistyped.exit, 2);
  EXPECT_EQ(mistyped.err, "nerio: there is no verb called \"gte\"\n  did you mean nerio reg get?\n");
}

// It stands alone or at any verb, which is then not run.
TEST(CommandLine, View_IsAResultOfItsOwn) {
  ToolHost tool;
  const std::string text = ViewText(ViewOfRegistry());
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--view"},
                                                    {"reg", "--view"},
                                                    {"reg", "set", "--view"},
                                                    {"reg", "create", kKey, "--view"}}) {
    const RunResult result = tool.Run(arguments);
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.out, text + "\n");
    EXPECT_EQ(result.err, "");
  }
  EXPECT_FALSE(tool.Has("Software"_ansi));
  EXPECT_EQ(nlohmann::json::parse(tool.Run({"--view", "--json"}).out)["view"], text);
}

TEST(CommandLine, WhatIsNotUnderstood_IsUsageAndPointsToTheHelp) {
  struct Row {
    std::vector<std::string> arguments;
    const char* part;
  };
  const Row rows[] = {
      {{}, "see nerio --help"},
      {{"nothing"}, "see nerio --help"},
      {{"reg"}, "see nerio reg --help"},
      {{"reg", "nothing"}, "see nerio reg --help"},
      {{"reg", "get"}, "see nerio reg get --help"},
      {{"reg", "get", "a", "b", "c"}, "see nerio reg get --help"},
      {{"reg", "get", "--nothing", "a"}, "see nerio reg get --help"},
      {{"reg", "get", "a", "--default"}, "see nerio reg get --help"},
      {{"reg", "set", "a"}, "see nerio reg set --help"},
  };
  for (const Row& row : rows) {
    ToolHost tool;
    const RunResult result = tool.Run(row.arguments);
    EXPECT_EQ(result.exit, 2) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find(row.part), std::string::npos) << result.err;
  }
}

TEST(CommandLine, MisspeltVerb_IsNamed) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"nope"}).err, "nerio: there is no verb called \"nope\"\n  see nerio --help\n");
  EXPECT_EQ(tool.Run({"reg", "nope", "x"}).err, "nerio: there is no verb called \"nope\"\n  see nerio reg --help\n");
  EXPECT_EQ(tool.Run({"reg"}).err, "nerio: A subcommand is required\n  see nerio reg --help\n");
}

TEST(CommandLine, MistypedVerb_GetsTheNearestOne) {
  const std::pair<std::vector<std::string>, const char*> rows[] = {
      {{"reg", "gte", kKey}, "did you mean nerio reg get?"},
      {{"reg", "Export", kKey}, "did you mean nerio reg export?"},
      {{"xml", "chek", "a.xml"}, "did you mean nerio xml check?"},
      {{"docter"}, "did you mean nerio doctor?"},
      {{"tree", kKey}, "did you mean nerio reg tree?"},
      {{"set"}, "did you mean nerio reg set or nerio xml set?"},
      {{"reg", "remove", kKey}, "did you mean nerio reg delete?"},
      {{"reg", "save", kKey, "a.reg"}, "did you mean nerio reg export?"},
      {{"remove", kKey}, "did you mean nerio reg delete or nerio xml delete?"},
      {{"uuid"}, "did you mean nerio guid?"},
      {{"reg", "query", kKey, "/v", "Nome"}, "in this tool: nerio reg get \"HKLM\\Software\\Nerio\" Nome"},
      {{"reg", "delete", kKey, "/v", "Nome", "/f"},
       "in this tool: nerio reg delete \"HKLM\\Software\\Nerio\" Nome --yes"},
      {{"add", kKey}, "in this tool: nerio reg create \"HKLM\\Software\\Nerio\""},
  };
  for (const auto& [arguments, advice] : rows) {
    ToolHost tool;
    const RunResult result = tool.Run(arguments);
    EXPECT_EQ(result.exit, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.ends_with(std::string("\n  ") + advice + "\n")) << result.err;
  }
  // What can be the name of a value is one.
  ToolHost tool;
  tool.Store("Software\\Nerio"_ansi, "/f"_ansi, 1, "x");
  EXPECT_EQ(tool.Run({"reg", "get", kKey, "/f"}).out, "x\n");
}

TEST(CommandLine, JsonFailures_AreAnObjectOnStandardOutput) {
  ToolHost tool;
  const RunResult usage = tool.Run({"reg", "get", "--json"});
  EXPECT_EQ(usage.exit, 2);
  EXPECT_EQ(nlohmann::json::parse(usage.out)["error"]["exit"], 2);
  const RunResult missing = tool.Run({"--json", "reg", "get", kKey, "Nome"});
  EXPECT_EQ(missing.exit, 3);
  const auto error = nlohmann::json::parse(missing.out)["error"];
  EXPECT_EQ(error["exit"], 3);
  EXPECT_EQ(error["status"], 2);
  EXPECT_EQ(error["message"], "cannot read \"Nome\" in HKEY_LOCAL_MACHINE\\Software\\Nerio: it is not there (2)");
  EXPECT_EQ(missing.err, "nerio: cannot read \"Nome\" in HKEY_LOCAL_MACHINE\\Software\\Nerio: it is not there (2)\n");
}

// What a verb takes as a value goes through whatever it looks like to the parser.
TEST(CommandLine, OddValues_AreHandedOnByteForByte) {
  const char* values[] = {"",    "[a,b]", "[]",   "[x",      "++",   "{}",  "%%",   "/x",    "-1",     "-12x", "a=b",
                          "get", "reg",   "help", "--x=[y]", "-abc", "a b", "\"q'", "\t\\n", "--json", "-"};
  for (const std::string value : values) {
    ToolHost tool;
    std::vector<std::string> arguments{"reg", "set", kKey, "Nome"};
    if (value.starts_with('-') && value != "-" && value != "-1") arguments.emplace_back("--");
    arguments.push_back(value);
    const RunResult result = tool.Run(arguments);
    ASSERT_EQ(result.exit, 0) << value << ": " << result.err;
    EXPECT_EQ(tool.Run({"reg", "get", kKey, "Nome"}).out, value + "\n");
    EXPECT_EQ(tool.Run({"reg", "get", kKey, "Altro", "--default", value}).out, value + "\n");
    EXPECT_EQ(tool.Run({"reg", "get", kKey, "Altro", "--default=" + value}).out, value + "\n");
  }
}

TEST(CommandLine, BehindTwoDashes_NothingIsAnOption) {
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"template", "--", "{0}{1}", "-x", "--json"}, "-x--json\n"},
      {{"template", "{0}{1}", "a", "--", "-x"}, "a-x\n"},
      {{"template", "{0}{1}", "--", "--", "--view"}, "----view\n"},
      {{"template", "{0}", "--"}, "{0}\n"},
      {{"msg", "ErrNullOrEmptyParameter", "--", "-x"}, "Il parametro [-x] non pu\xC3\xB2 essere nullo o vuoto\n"},
      {{"date", "10:30", "--", "--help", "-h"}, "10:30\n00:00:00\n00:00:00\n"},
      {{"base64", "encode", "--", "-"}, "LQA=\n"},
  };
  for (const auto& [arguments, out] : rows) {
    ToolHost tool;
    const RunResult result = tool.Run(arguments);
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.out, out);
  }
  ToolHost tool;
  for (const std::string extra : {"-x", "[a,b]", "++", "reg"}) {
    const RunResult result = tool.Run({"reg", "create", kKey, "--", extra});
    EXPECT_EQ(result.exit, 2);
    EXPECT_EQ(result.err, "nerio: this argument was not expected: " + extra + "\n  see nerio reg create --help\n");
  }
  EXPECT_TRUE(tool.Run({"reg", "create", kKey, "[a", "-x"})
                  .err.starts_with("nerio: these arguments were not expected: [a -x\n"));
}

TEST(CommandLine, ArgumentThatIsNotUtf8_IsBadInput) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"reg", "get", "HKLM\\\xE9"}).exit, 5);
  EXPECT_EQ(tool.Run({"reg", "get", kKey, "\xE9"}).exit, 5);
  EXPECT_EQ(tool.Run({"reg", "set", kKey, "Nome", "\xE9"}).exit, 5);
  EXPECT_FALSE(tool.Has("Software"_ansi));
  const RunResult json = tool.Run({"reg", "import", "/nowhere/\xE9.reg", "--json"});
  EXPECT_TRUE(nlohmann::json::accept(json.out)) << json.out;
}

class FullStream : public std::streambuf {};

TEST(CommandLine, ResultThatCannotBeWritten_IsAFailure) {
  ToolHost tool;
  tool.Create("Software"_ansi);
  FullStream nowhere;
  std::ostream out(&nowhere);
  std::istringstream in;
  std::ostringstream err;
  EXPECT_EQ(CommandLine("9.8.7").Run({"reg", "test", "HKLM\\Software"}, tool.View(), in, out, err, false), 1);
  EXPECT_EQ(err.str(), "nerio: cannot write the result to standard output\n");
}

}  // namespace
}  // namespace nerio::tool
