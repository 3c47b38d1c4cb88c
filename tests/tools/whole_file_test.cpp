#include "tools/nerio/whole_file.h"

#include <gtest/gtest.h>

#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::tool {
namespace {

using platform::SystemStatus;

std::size_t CountFiles(const std::filesystem::path& folder) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) count += entry.exists() ? 1u : 0u;
  return count;
}

std::string Content(const std::filesystem::path& path) {
  std::string bytes = "junk";
  EXPECT_EQ(ReadWholeFile(path, bytes), SystemStatus::kSuccess);
  return bytes;
}

TEST(WholeFile, CreatedOrReplaced_ReadsBackByteForByte) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / u"perch\u00E9.bin";
  std::string bytes;
  for (int i = 0; i < 300000; ++i) bytes += static_cast<char>(i % 251);
  EXPECT_EQ(CreateWholeFile(file, bytes), SystemStatus::kSuccess);
  EXPECT_EQ(Content(file), bytes);
  EXPECT_EQ(ReplaceWholeFile(file, "a\r\n\x1A"), SystemStatus::kSuccess);
  EXPECT_EQ(Content(file), "a\r\n\x1A");
  EXPECT_EQ(ReplaceWholeFile(file, ""), SystemStatus::kSuccess);
  EXPECT_EQ(Content(file), "");
  EXPECT_EQ(ReplaceWholeFile(folder.path() / "new", "b"), SystemStatus::kSuccess);
  EXPECT_EQ(Content(folder.path() / "new"), "b");
  EXPECT_EQ(CountFiles(folder.path()), 2u);
}

TEST(WholeFile, RelativePath_IsThatOfTheCurrentFolder) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::create_directory(folder.path() / "sotto");
  std::filesystem::current_path(folder.path());
  for (const char* name : {"file", "./altro", "sotto/file"}) {
    EXPECT_EQ(CreateWholeFile(name, "uno"), SystemStatus::kSuccess) << name;
    EXPECT_EQ(ReplaceWholeFile(name, "due"), SystemStatus::kSuccess) << name;
    EXPECT_EQ(Content(name), "due") << name;
  }
  std::filesystem::current_path(before);
}

TEST(WholeFile, CreateWhereSomethingIs_FailsAndLeavesIt) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "file";
  ASSERT_EQ(CreateWholeFile(file, "old"), SystemStatus::kSuccess);
  EXPECT_NE(CreateWholeFile(file, "new"), SystemStatus::kSuccess);
  EXPECT_EQ(Content(file), "old");
  EXPECT_EQ(CountFiles(folder.path()), 1u);
}

TEST(WholeFile, MissingFileOrFolder_Fails) {
  const testing::TemporaryFolder folder;
  std::string bytes = "junk";
  EXPECT_NE(ReadWholeFile(folder.path() / "none", bytes), SystemStatus::kSuccess);
  EXPECT_NE(ReadWholeFile(folder.path(), bytes), SystemStatus::kSuccess);
  EXPECT_EQ(bytes, "junk");
  EXPECT_NE(CreateWholeFile(folder.path() / "none" / "file", "x"), SystemStatus::kSuccess);
  EXPECT_NE(ReplaceWholeFile(folder.path() / "none" / "file", "x"), SystemStatus::kSuccess);
  EXPECT_NE(ReplaceWholeFile(folder.path(), "x"), SystemStatus::kSuccess);
  EXPECT_EQ(CountFiles(folder.path()), 0u);
}

TEST(WholeFile, SystemPath_TakesTheLayersSeparator) {
  const testing::TemporaryFolder folder;
  ASSERT_EQ(CreateWholeFile(folder.path() / "file", "x"), SystemStatus::kSuccess);
  std::u16string path = (folder.path() / "file").u16string();
  for (char16_t& unit : path) {
    if (unit == u'/') unit = u'\\';
  }
  EXPECT_EQ(Content(SystemPath(path)), "x");
}

}  // namespace
}  // namespace nerio::tool
