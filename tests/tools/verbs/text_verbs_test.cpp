#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>

#include "nerio/types/utf8.h"
#include "tests/testing/status_output.h"
#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

TEST(Guid, MakesAsManyAsAskedFor) {
  ToolHost tool;
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{2}4[0-9A-F]-[0-9A-F]{2}[0-9A-F]{2}-[0-9A-F]{12}\n");
  const std::string one = tool.Run({"guid"}).out;
  EXPECT_EQ(one.size(), 37u) << one;
  const std::string three = tool.Run({"guid", "-n", "3"}).out;
  EXPECT_EQ(three.size(), 3 * 37u);
  EXPECT_NE(three.substr(0, 37), three.substr(37, 37));
  EXPECT_EQ(nlohmann::json::parse(tool.Run({"guid", "-n", "2", "--json"}).out)["guids"].size(), 2u);
  for (const char* count : {"0", "-1", "x", "1000001"}) EXPECT_EQ(tool.Run({"guid", "-n", count}).exit, 2) << count;
}

TEST(DateVerb, GivesADateBackAndTheZeroDateOtherwise) {
  ToolHost tool;
  Text zero;
  ASSERT_EQ(tool.real->Services().regional.TextFromDate(Date{}, zero), platform::AutomationStatus::kSuccess);
  const RunResult result = tool.Run({"date", "31/12/1999", "non una data", ""});
  EXPECT_EQ(result.exit, 0);
  EXPECT_EQ(result.out, "31/12/1999\n" + ToUtf8(zero) + "\n" + ToUtf8(zero) + "\n");
  const auto json = nlohmann::json::parse(tool.Run({"date", "31/12/1999", "x", "--json"}).out)["dates"];
  EXPECT_EQ(json[0]["isDate"], true);
  EXPECT_EQ(json[1]["isDate"], false);
  EXPECT_EQ(json[1]["result"], ToUtf8(zero));
  EXPECT_EQ(tool.Run({"date"}).exit, 2);
}

TEST(DateVerb, TracesItsLinesWhenTracingIsOn) {
  ToolHost tool;
  tool.Run({"trace", "on"});
  tool.Run({"date", "31/12/1999"});
  EXPECT_EQ(tool.Run({"trace", "tail"}).out, "GetDate IN : 31/12/1999\nGetDate OUT : 31/12/1999\n");
}

TEST(MsgVerb, TakesACodeInAnyForm) {
  ToolHost tool;
  const std::string text = "Il parametro [sTesto] non pu\xC3\xB2 essere nullo o vuoto\n";
  for (const char* code : {"-2147221503", "2147745793", "0x80040001", "0X80040001", "ErrNullOrEmptyParameter"}) {
    EXPECT_EQ(tool.Run({"msg", code, "sTesto"}).out, text) << code;
  }
  EXPECT_EQ(tool.Run({"msg", "ErrUnsupportedInitMessageVersion"}).out,
            "La versione [{0}] del messaggio di inizializzazione non \xC3\xA8 supportata\n");
  EXPECT_EQ(tool.Run({"msg", "0x80040003"}).out, "La funzionalit\xC3\xA0 richiesta non \xC3\xA8 disponibile\n");
  for (const char* code : {"0", "1", "ObjectErrorBase", "-2147483648", "4294967295"}) {
    EXPECT_EQ(tool.Run({"msg", code}).out, "Errore non definito\n") << code;
  }
  const auto json = nlohmann::json::parse(tool.Run({"msg", "0x80040001", "x", "--json"}).out);
  EXPECT_EQ(json["code"], -2147221503);
  EXPECT_EQ(json["template"], "Il parametro [{0}] non pu\xC3\xB2 essere nullo o vuoto");
}

TEST(MsgVerb, WhatIsNoCode_IsBadInput) {
  ToolHost tool;
  for (const char* code : {"", "x", "0x", "0x1ffffffff", "4294967296", "-2147483649", "1x", "0x-1",
                           "99999999999999999999", "errnulloremptyparameter"}) {
    const RunResult result = tool.Run({"msg", code});
    EXPECT_EQ(result.exit, 5) << code;
    EXPECT_NE(result.err.find("is not an error code"), std::string::npos) << result.err;
  }
}

TEST(TemplateVerb, FillsInThePassesOrder) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"template", "a{0}b{0}", "x"}).out, "axbx\n");
  EXPECT_EQ(tool.Run({"template", "{0}{1}", "{1}", "z"}).out, "zz\n");
  EXPECT_EQ(tool.Run({"template", "{0}{1}", "a", "{0}"}).out, "a{0}\n");
  EXPECT_EQ(tool.Run({"template", "{0}|{1}|{2}|{3}", "[a,b]", "{}", "", "-5"}).out, "[a,b]|{}||-5\n");
  EXPECT_EQ(tool.Run({"template", "{}"}).out, "{}\n");
  EXPECT_EQ(tool.Run({"template", "{0}", "\xE9"}).exit, 5);
}

TEST(TemplateVerb, TooManyValues_ShowTheErrorInFull) {
  ToolHost tool;
  std::vector<std::string> arguments{"template", "x"};
  arguments.resize(2 + 32768, "y");
  const RunResult result = tool.Run(arguments);
  EXPECT_EQ(result.exit, 1);
  EXPECT_TRUE(result.err.starts_with("nerio: error 6 (0x00000006) from ")) << result.err;
  arguments.emplace_back("--json");
  const auto error = nlohmann::json::parse(tool.Run(arguments).out)["error"];
  EXPECT_EQ(error["number"], 6);
  EXPECT_TRUE(error.contains("source"));
  EXPECT_TRUE(error.contains("description"));
}

TEST(Base64Verbs, TextIsItsUtf16Units) {
  ToolHost tool;
  EXPECT_EQ(tool.Run({"base64", "encode", "A"}).out, "QQA=\n");
  EXPECT_EQ(tool.Run({"base64", "decode", "QQA="}).out, "A\n");
  EXPECT_EQ(tool.Run({"base64", "encode", ""}).out, "\n");
  EXPECT_EQ(tool.Run({"base64", "decode", ""}).out, "\n");
  const std::string text = "perch\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80";
  const auto encoded = nlohmann::json::parse(tool.Run({"base64", "encode", text, "--json"}).out)["base64"];
  EXPECT_EQ(nlohmann::json::parse(tool.Run({"base64", "decode", encoded, "--json"}).out)["text"], text);
  EXPECT_EQ(tool.Run({"base64", "encode", "\xE9"}).exit, 5);
}

TEST(Base64Verbs, Bytes_AreTakenAndGivenAsTheyAre) {
  ToolHost tool;
  std::string bytes;
  for (std::uint32_t i = 0; i < 100001; ++i) bytes += static_cast<char>(i * i % 251);
  tool.in = bytes;
  tool.in = tool.Run({"base64", "encode", "--bytes"}).out;
  EXPECT_EQ(tool.Run({"base64", "decode", "--bytes"}).out, bytes);
  EXPECT_EQ(tool.Run({"base64", "encode", "--bytes", "abc"}).out, "YWJj\n");
  EXPECT_EQ(tool.Run({"base64", "decode", "--bytes", "Y W\tJ j"}).out, "abc");
  EXPECT_EQ(tool.Run({"base64", "decode", "--bytes", "YWJj", "--json"}).out, "{\"bytes\":\"616263\"}\n");
}

TEST(Base64Verbs, StandardInput_IsTakenWhole) {
  ToolHost tool;
  tool.in = "A\n";
  EXPECT_EQ(tool.Run({"base64", "encode"}).out, "QQAKAA==\n");
  tool.in = "QQAK\r\nAA==\n";
  EXPECT_EQ(tool.Run({"base64", "decode"}).out, "A\n\n");
}

TEST(Base64Verbs, WhatIsNoBase64_IsBadInput) {
  ToolHost tool;
  for (const char* text : {"not base64!", "QQ", "QQA", "=QQA", "QQ=A", "-_-_", "\xC3\xA9", "\xE9", "===="}) {
    for (const bool bytes : {false, true}) {
      std::vector<std::string> arguments{"base64", "decode", "--", text};
      if (bytes) arguments.insert(arguments.begin() + 2, "--bytes");
      const RunResult result = tool.Run(arguments);
      EXPECT_EQ(result.exit, 5) << text;
      EXPECT_EQ(result.out, "");
    }
  }
  tool.in = std::string("QQA=\0QQA=", 9);
  EXPECT_EQ(tool.Run({"base64", "decode"}).exit, 5);
}

TEST(Base64Verbs, BytesThatAreNoText_AreSaidToBe) {
  ToolHost tool;
  const RunResult odd = tool.Run({"base64", "decode", "QQBC"});
  EXPECT_EQ(odd.exit, 0);
  EXPECT_EQ(odd.out, "A\n");
  EXPECT_NE(odd.err.find("odd number of bytes"), std::string::npos) << odd.err;
  const RunResult surrogate = tool.Run({"base64", "decode", "ANg="});
  EXPECT_EQ(surrogate.exit, 0);
  EXPECT_NE(surrogate.err.find("not text in UTF-16"), std::string::npos) << surrogate.err;
}

}  // namespace
}  // namespace nerio::tool
