#include "tools/nerio/whole_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "tests/hosts/linux/store/child_process.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::tool {
namespace {

using platform::SystemStatus;
using testing::AnswerOfChild;

using testing::kNobody;

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat entry {};
  return ::stat(path.c_str(), &entry) == 0 ? entry.st_mode & 07777 : 0;
}

std::string Content(const std::filesystem::path& path) {
  std::string bytes = "junk";
  return ReadWholeFile(path, bytes) == SystemStatus::kSuccess ? bytes : "unreadable";
}

std::size_t CountFiles(const std::filesystem::path& folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(WholeFileOnLinux, NewFile_FollowsTheUmaskAndAnOldOneKeepsItsMode) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "file";
  const mode_t mask = ::umask(027);
  EXPECT_EQ(CreateWholeFile(file, "a"), SystemStatus::kSuccess);
  ::umask(mask);
  EXPECT_EQ(ModeOf(file), 0640u);
  ASSERT_EQ(::chmod(file.c_str(), 0604), 0);
  EXPECT_EQ(ReplaceWholeFile(file, "b"), SystemStatus::kSuccess);
  EXPECT_EQ(ModeOf(file), 0604u);
}

TEST(WholeFileOnLinux, Link_IsFollowedAndStays) {
  const testing::TemporaryFolder folder;
  std::filesystem::create_directory(folder.path() / "there");
  const std::filesystem::path file = folder.path() / "there" / "file";
  const std::filesystem::path link = folder.path() / "link";
  ASSERT_EQ(CreateWholeFile(file, "old"), SystemStatus::kSuccess);
  std::filesystem::create_symlink("there/file", link);
  EXPECT_EQ(ReplaceWholeFile(link, "new"), SystemStatus::kSuccess);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(Content(file), "new");
}

TEST(WholeFileOnLinux, LinkToNothing_IsRefusedAndStays) {
  const testing::TemporaryFolder folder;
  const auto link = folder.path() / "link";
  std::filesystem::create_symlink("none", link);
  EXPECT_EQ(ReplaceWholeFile(link, "new"), SystemStatus{ENOENT});
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "none"));
}

TEST(WholeFileOnLinux, WhatIsNotAnOrdinaryFile_IsNotReplaced) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path fifo = folder.path() / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(ReplaceWholeFile(fifo, "x"), SystemStatus{EINVAL});
  EXPECT_EQ(ReplaceWholeFile(folder.path(), "x"), SystemStatus{EISDIR});
  EXPECT_EQ(ReplaceWholeFile("/dev/null", "x"), SystemStatus{EINVAL});
  EXPECT_EQ(CountFiles(folder.path()), 1u);
}

// The write that does not fit leaves the old content and nothing else.
TEST(WholeFileOnLinux, WriteThatFails_LeavesTheOldFile) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "file";
  ASSERT_EQ(CreateWholeFile(file, "old"), SystemStatus::kSuccess);
  EXPECT_EQ(AnswerOfChild([&] {
              static_cast<void>(::signal(SIGXFSZ, SIG_IGN));
              const rlimit limit{1000, 1000};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              const SystemStatus replaced = ReplaceWholeFile(file, std::string(5000, 'x'));
              const SystemStatus created = CreateWholeFile(folder.path() / "new", std::string(5000, 'x'));
              return std::to_string(NumberOf(replaced)) + " " + std::to_string(NumberOf(created));
            }),
            std::to_string(EFBIG) + " " + std::to_string(EFBIG));
  EXPECT_EQ(Content(file), "old");
  EXPECT_EQ(CountFiles(folder.path()), 1u);
}

TEST(WholeFileOnLinux, FileThatMayNotBeWritten_IsNotReplaced) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "file";
  ASSERT_EQ(CreateWholeFile(file, "old"), SystemStatus::kSuccess);
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
  EXPECT_EQ(AnswerOfChild([&] {
              if (::getuid() == 0 && ::setuid(kNobody) != 0) return std::string("cannot become nobody");
              return std::to_string(NumberOf(ReplaceWholeFile(file, "new")));
            }),
            std::to_string(EACCES));
  EXPECT_EQ(Content(file), "old");
  EXPECT_EQ(CountFiles(folder.path()), 1u);
}

}  // namespace
}  // namespace nerio::tool
