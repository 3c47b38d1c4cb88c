#include "tools/nerio/suggestions.h"

#include <gtest/gtest.h>

namespace nerio::tool {
namespace {

TEST(Suggestions, Nearest_IsTheNameThatIsALetterOrTwoAway) {
  const std::vector<std::string> names = {"get", "test", "list", "tree", "export", "set", "create", "delete", "import"};
  const std::pair<const char*, const char*> rows[] = {
      {"gte", "get"},
      {"GET", "get"},
      {"lst", "list"},
      {"exprot", "export"},
      {"exp", "export"},
      {"cerate", "create"},
      {"delte", "delete"},
      {"imports", "import"},
      {"remove", ""},
      {"x", ""},
      {"", ""},
      {"nothing", ""},
      {"te", "test"},
      {"tre", "tree"},
  };
  for (const auto& [word, nearest] : rows) EXPECT_EQ(Nearest(word, names), nearest) << word;
}

TEST(Suggestions, SameMeaning_IsTheNameOfWhatOtherToolsCallByThatWord) {
  const std::vector<std::string> registry = {"get",  "test",   "list",   "find",   "diff",  "export", "set",   "create",
                                             "copy", "delete", "rename", "import", "watch", "repair", "doctor"};
  const std::vector<std::string> xml = {"check", "get", "new", "add", "set", "delete", "format"};
  struct Row {
    const char* word;
    const char* inRegistry;
    const char* inXml;
  };
  const Row rows[] = {
      {"compare", "diff", ""},
      {"Compare", "diff", ""},
      {"save", "export", ""},
      {"restore", "import", ""},
      {"cp", "copy", ""},
      {"mv", "rename", ""},
      {"rm", "delete", "delete"},
      {"remove", "delete", "delete"},
      {"ls", "list", ""},
      {"search", "find", ""},
      {"monitor", "watch", ""},
      {"exists", "test", ""},
      {"show", "get", "get"},
      {"make", "create", "new"},
      {"verify", "doctor", "check"},
      {"indent", "", "format"},
      {"get", "", ""},
      {"nothing", "", ""},
      {"", "", ""},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(SameMeaning(row.word, registry), row.inRegistry) << row.word;
    EXPECT_EQ(SameMeaning(row.word, xml), row.inXml) << row.word;
  }
}

TEST(Suggestions, WordsOfThePlatformsTool_AreSaidInOurs) {
  struct Row {
    std::vector<std::string> arguments;
    const char* ours;
  };
  const Row rows[] = {
      {{"reg", "query", "HKLM\\Software"}, "nerio reg list \"HKLM\\Software\""},
      {{"query", "HKLM"}, "nerio reg list HKLM"},
      {{"reg", "QUERY", "HKLM\\A", "/V", "Nome"}, "nerio reg get \"HKLM\\A\" Nome"},
      {{"reg", "query", "HKLM\\A", "/ve"}, "nerio reg get \"HKLM\\A\" \"\""},
      {{"reg", "query", "HKLM\\A", "/s"}, "nerio reg tree \"HKLM\\A\" --values"},
      {{"reg", "query"}, "nerio reg list KEY"},
      {{"reg", "add", "HKLM\\A"}, "nerio reg create \"HKLM\\A\""},
      {{"reg", "add", "HKLM\\A", "/v", "N", "/t", "REG_SZ", "/d", "due parole", "/f"},
       "nerio reg set \"HKLM\\A\" N \"due parole\""},
      {{"reg", "add", "HKLM\\A", "/v", "N", "/t", "REG_DWORD", "/d", "5"},
       "nerio reg set \"HKLM\\A\" N 5 --type dword"},
      {{"reg", "add", "HKLM\\A", "/v", "N"}, "nerio reg set \"HKLM\\A\" N \"\""},
      {{"reg", "add", "HKLM\\A", "/ve", "/d", "it's $5"}, "nerio reg set \"HKLM\\A\" \"\" 'it'\\''s $5'"},
      {{"reg", "set", "HKLM\\A\\", "/v", "N", "/d", "D"}, "nerio reg set 'HKLM\\A\\' N D"},
      {{"reg", "get", "HKLM\\A", "/v", "N"}, "nerio reg get \"HKLM\\A\" N"},
      {{"--json", "reg", "delete", "HKLM\\A", "/v", "N", "/f"}, "nerio reg delete \"HKLM\\A\" N --yes"},
      {{"reg", "delete", "HKLM\\A", "/f", "/y"}, "nerio reg delete \"HKLM\\A\" --recursive --yes"},
      {{"reg", "export", "HKLM\\A", "a.reg", "/y"}, "nerio reg export \"HKLM\\A\" -o a.reg"},
      {{"reg", "export", "HKLM\\A", "a.reg"}, "nerio reg export \"HKLM\\A\" -o a.reg"},
      {{"reg", "import", "a.reg", "/f"}, "nerio reg import a.reg"},
      {{"reg", "compare", "HKLM\\A", "HKCU\\B", "/s"}, "nerio reg diff \"HKLM\\A\" \"HKCU\\B\""},
      {{"reg", "compare", "HKLM\\A"}, "nerio reg diff \"HKLM\\A\" KEY"},
      {{"reg", "copy", "HKLM\\A", "HKCU\\B", "/s", "/f"}, "nerio reg copy \"HKLM\\A\" \"HKCU\\B\""},
      {{"reg", "copy", "HKLM\\A", "HKCU\\B", "x"}, ""},
      {{"reg", "get", "HKLM\\A", "N", "x"}, ""},
      {{"reg", "import", "a.reg", "x"}, ""},
      {{"reg", "nothing", "/v"}, ""},
      {{"reg"}, ""},
      {{}, ""},
  };
  for (const Row& row : rows) EXPECT_EQ(InOurWords(row.arguments), row.ours);
}

}  // namespace
}  // namespace nerio::tool
