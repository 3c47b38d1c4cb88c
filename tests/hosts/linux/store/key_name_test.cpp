#include "nerio/hosts/linux/store/key_name.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <set>

#include "nerio/hosts/portable/text/fold_case.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(KeyName, FolderNames_StayReadable) {
  struct Case {
    const char* name;
    const char* folder;
  };
  const Case cases[] = {
      {"Software", "software"}, {"Nerio", "nerio"},           {"a b", "a b"},  {" ", " "},          {".", "%2E"},
      {"..", "%2E."},           {".hidden", "%2Ehidden"},     {"a.b", "a.b"},  {"a/b", "a%2Fb"},    {"100%", "100%25"},
      {"citt\xE0", "citt%E0"},  {"CITT\xC0", "citt%E0"},      {"\x9F", "%FF"}, {"tab\t", "tab%09"}, {"\x7F", "%7F"},
      {"%values", "%25values"}, {"a*?<>|\":b", "a*?<>|\":b"}, {"\x80", "%80"},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(FolderNameOfKey(one.name), one.folder);
    EXPECT_EQ(KeyNameOfFolder(one.folder), FoldAnsi(one.name)) << one.folder;
  }
}

TEST(KeyName, FolderNames_DifferExactlyWhereNamesDo) {
  std::set<std::string> folders;
  std::set<std::string> folded;
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      if (first == '\\' || second == '\\') continue;
      const std::string name = {static_cast<char>(first), static_cast<char>(second)};
      const std::string folder = FolderNameOfKey(name);
      EXPECT_EQ(folders.insert(folder).second, folded.insert(FoldAnsi(name)).second) << folder;
      EXPECT_EQ(KeyNameOfFolder(folder), FoldAnsi(name)) << folder;
      EXPECT_EQ(folder.find('/'), std::string::npos);
      EXPECT_FALSE(folder.starts_with('.')) << folder;
      EXPECT_FALSE(IsReservedName(folder)) << folder;
    }
  }
}

TEST(KeyName, ReservedNames_AreNoKeysFolder) {
  for (const char* name :
       {kValuesFileName, kLockFileName, kNewValuesFileName, kNewKeyName, kDeletedKeyName, "%left-12"}) {
    EXPECT_TRUE(IsReservedName(name)) << name;
    EXPECT_EQ(KeyNameOfFolder(name), std::nullopt) << name;
    EXPECT_FALSE(IsReservedName(FolderNameOfKey(name))) << name;
  }
}

TEST(KeyName, FoldersThatNoKeyHas_HaveNoName) {
  for (const char* folder :
       {"", "Software", "a%", "a%2", "a%2e", "%41", "%GG", ".", "..", ".x", "a%E0%C0", "\xE0", "a\\b", "a%00"}) {
    EXPECT_EQ(KeyNameOfFolder(folder), std::nullopt) << folder;
  }
}

TEST(KeyName, LongNames_AreCutAndStayApart) {
  EXPECT_EQ(FolderNameOfKey(std::string(255, 'K')), std::string(255, 'k'));
  EXPECT_FALSE(IsCutFolderName(std::string(255, 'k')));
  std::set<std::string> folders;
  const std::string start(250, '\xE8');
  for (int byte = 1; byte < 256; ++byte) {
    const std::string folder = FolderNameOfKey(start + FoldAnsi(static_cast<char>(byte)));
    folders.insert(folder);
    EXPECT_EQ(folder.size(), static_cast<std::size_t>(NAME_MAX));
    EXPECT_TRUE(IsCutFolderName(folder)) << folder;
    EXPECT_EQ(KeyNameOfFolder(folder), std::nullopt) << folder;
    EXPECT_FALSE(IsReservedName(folder)) << folder;
  }
  std::set<char> letters;
  for (int byte = 1; byte < 256; ++byte) letters.insert(FoldAnsi(static_cast<char>(byte)));
  EXPECT_EQ(folders.size(), letters.size());
  EXPECT_EQ(FolderNameOfKey(std::string(256, 'k')),
            std::string(237, 'k') + "%~" + FolderNameOfKey(std::string(256, 'K')).substr(239));
}

TEST(KeyName, Paths_AreSplitAtBackslashesOnly) {
  std::vector<std::string_view> names;
  EXPECT_EQ(SplitKeyPath("a\\b/c\\\\ \\..\\", names), kSuccess);
  EXPECT_THAT(names, ElementsAre("a", "b/c", " ", ".."));
  names.clear();
  EXPECT_EQ(SplitKeyPath("", names), kSuccess);
  EXPECT_EQ(SplitKeyPath(std::string_view("\0a", 2), names), kSuccess);
  EXPECT_THAT(names, IsEmpty());
  EXPECT_EQ(SplitKeyPath("\\a", names), kBadPathname);
  EXPECT_EQ(SplitKeyPath("a\\" + std::string(257, 'x') + "\\b", names), kInvalidParameter);
}

}  // namespace
}  // namespace nerio::platform
