// Real faults of a real file under the trace log: what the system refuses reaches the caller.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "nerio/hosts/linux/file_system.h"
#include "nerio/hosts/linux/native_path.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/support/trace_log.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio {
namespace {

namespace fs = std::filesystem;
using testing::AnswerOfChild;

using testing::kNobody;

class FixedFolder final : public platform::ModuleLocation {
 public:
  explicit FixedFolder(const fs::path& folder) : folder_(platform::TextFromNativePath(folder.native())) {}
  platform::SystemStatus Folder(Text& folder) override {
    folder = folder_;
    return platform::SystemStatus::kSuccess;
  }

 private:
  Text folder_;
};

std::ptrdiff_t OpenDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()) - 1;  // without its own
}

void Require(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

// Parts this process from the other ones' mounts; without root it takes a world of users of its own first.
bool TakeMountsOfItsOwn() {
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  if (user == "0") return ::unshare(CLONE_NEWNS) == 0;
  return ::unshare(CLONE_NEWNS | CLONE_NEWUSER) == 0 && (std::ofstream("/proc/self/setgroups") << "deny").flush() &&
         (std::ofstream("/proc/self/uid_map") << "0 " + user + " 1").flush() &&
         (std::ofstream("/proc/self/gid_map") << "0 " + group + " 1").flush();
}

class TraceLogFaults : public ::testing::Test {
 protected:
  void MakeTraceFile(const std::string& content = "") {
    std::ofstream file(file_, std::ios::binary);
    Require((file << content).flush().good(), "trace file");
  }

  std::string Content() {
    std::ifstream file(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Writes a line; "done", or all of the error, then how many more descriptors are open than before.
  std::string Write(TextView message) {
    platform::PosixFileSystem files;
    platform::CodePage1252 codePage;
    FixedFolder module(folder_.path());
    const testing::FakeHost host{.codePage = &codePage, .files = &files, .module = &module};
    const std::ptrdiff_t before = OpenDescriptors();
    std::string outcome = "done";
    try {
      WriteLog(message, host.View());
    } catch (const Error& error) {
      outcome = std::to_string(error.number()) + "|" + ToUtf8(error.source()) + "|" + ToUtf8(error.description());
    }
    return outcome + "|" + std::to_string(OpenDescriptors() - before);
  }

  testing::TemporaryFolder folder_;
  const fs::path file_ = folder_.path() / ToUtf8(kTraceFileName);
};

TEST_F(TraceLogFaults, NoFault_WritesTheLineAndLeavesNoDescriptor) {
  MakeTraceFile("prima\r\n");
  EXPECT_EQ(Write(u"perch\u00E9"), "done|0");
  EXPECT_EQ(Content(), "prima\r\nperch\xE9\r\n");
}

TEST_F(TraceLogFaults, NoTraceFile_LeavesTheFolderEmpty) {
  EXPECT_EQ(Write(u"abc"), "done|0");
  EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(TraceLogFaults, FileSizeLimit_RaisesFileTooLargeAndKeepsTheDescriptor) {
  MakeTraceFile("1234567\r\n");
  EXPECT_EQ(AnswerOfChild([&] {
              static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
              const rlimit limit{9, 9};
              Require(::setrlimit(RLIMIT_FSIZE, &limit) == 0, "setrlimit");
              return Write(u"abc");
            }),
            "27|WriteLog|File too large|1");
  EXPECT_EQ(Content(), "1234567\r\n");
}

TEST_F(TraceLogFaults, FailedWriteAgainAndAgain_KeepsOneDescriptorEach) {
  MakeTraceFile();
  EXPECT_EQ(AnswerOfChild([&] {
              static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
              const rlimit limit{0, 0};
              Require(::setrlimit(RLIMIT_FSIZE, &limit) == 0, "setrlimit");
              const std::ptrdiff_t before = OpenDescriptors();
              for (int i = 0; i < 5; ++i) Write(u"abc");
              return std::to_string(OpenDescriptors() - before);
            }),
            "5");
}

TEST_F(TraceLogFaults, NoMoreDescriptors_RaisesTooManyOpenFiles) {
  MakeTraceFile();
  EXPECT_EQ(AnswerOfChild([&] {
              platform::PosixFileSystem files;
              platform::CodePage1252 codePage;
              FixedFolder module(folder_.path());
              const testing::FakeHost host{.codePage = &codePage, .files = &files, .module = &module};
              while (::open("/dev/null", O_RDONLY) < 64) {
              }
              const rlimit limit{64, 64};
              Require(::setrlimit(RLIMIT_NOFILE, &limit) == 0, "setrlimit");
              try {
                WriteLog(u"abc", host.View());
              } catch (const Error& error) {
                return std::to_string(error.number()) + "|" + ToUtf8(error.source()) + "|" + error.what();
              }
              return std::string("done");
            }),
            "24|WriteLog|Too many open files");
  EXPECT_EQ(Content(), "");
}

TEST_F(TraceLogFaults, FileThatMayNotBeWritten_RaisesPermissionDenied) {
  MakeTraceFile("prima");
  EXPECT_EQ(AnswerOfChild([&] {
              if (::geteuid() == 0) {
                Require(::chown(file_.c_str(), kNobody, kNobody) == 0, "chown");
                Require(::setgid(kNobody) == 0 && ::setuid(kNobody) == 0, "setuid");
              }
              Require(::chmod(file_.c_str(), 0400) == 0, "chmod");
              return Write(u"abc");
            }),
            "13|WriteLog|Permission denied|0");
  EXPECT_EQ(Content(), "prima");
}

TEST_F(TraceLogFaults, FileOfAnotherUser_RaisesPermissionDenied) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make a file of another user";
  MakeTraceFile("prima");
  fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read);
  EXPECT_EQ(AnswerOfChild([&] {
              Require(::setgid(kNobody) == 0 && ::setuid(kNobody) == 0, "setuid");
              return Write(u"abc");
            }),
            "13|WriteLog|Permission denied|0");
  EXPECT_EQ(Content(), "prima");
}

TEST_F(TraceLogFaults, FolderThatMayNotBeSearched_FailsTheSearchItself) {
  MakeTraceFile();
  EXPECT_EQ(AnswerOfChild([&] {
              if (::geteuid() == 0) {
                Require(::chown(folder_.path().c_str(), kNobody, kNobody) == 0, "chown");
                Require(::setgid(kNobody) == 0 && ::setuid(kNobody) == 0, "setuid");
              }
              Require(::chmod(folder_.path().c_str(), 0600) == 0, "chmod");
              std::string outcome = Write(u"abc");
              Require(::chmod(folder_.path().c_str(), 0700) == 0, "chmod");
              return outcome;
            }),
            "13|WriteLog|Permission denied|0");
}

TEST_F(TraceLogFaults, FullDisk_RaisesNoSpaceAndKeepsTheDescriptor) {
  constexpr char kNoRight[] = "no right to mount a file system";
  const std::string answer = AnswerOfChild([&]() -> std::string {
    if (!TakeMountsOfItsOwn() || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("nerio", folder_.path().c_str(), "tmpfs", 0, "size=8k") != 0) {
      return kNoRight;
    }
    MakeTraceFile();
    const std::u16string line(998, u'a');
    int lines = 0;
    std::string outcome;
    while ((outcome = Write(line)) == "done|0" && lines < 100) ++lines;
    // The part of the record that fitted stays, and nothing is behind it.
    return outcome + " after " + std::to_string(lines) + " lines, " + std::to_string(Content().size()) + " bytes";
  });
  if (answer == kNoRight) GTEST_SKIP() << answer << ": the full disk was not tried";
  EXPECT_EQ(answer, "28|WriteLog|No space left on device|1 after 8 lines, 8192 bytes");
}

// A process that holds a file for itself alone, by a lease, until it is told to end.
class HoldingProcess {
 public:
  explicit HoldingProcess(const fs::path& file) {
    std::array<int, 2> ready;
    Require(::pipe(ready.data()) == 0, "pipe");
    child_ = ::fork();
    Require(child_ >= 0, "fork");
    if (child_ == 0) {
      static_cast<void>(std::signal(SIGIO, SIG_IGN));  // the request to give the lease up is left unanswered
      const int held = ::open(file.c_str(), O_RDWR);
      const char answer = ::fcntl(held, F_SETLEASE, F_WRLCK) == 0 ? 'y' : 'n';
      if (::write(ready[1], &answer, 1) == 1) ::pause();
      std::_Exit(0);
    }
    ::close(ready[1]);
    char answer = 'n';
    holds_ = ::read(ready[0], &answer, 1) == 1 && answer == 'y';
    ::close(ready[0]);
  }
  ~HoldingProcess() {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
  }
  HoldingProcess(const HoldingProcess&) = delete;
  HoldingProcess& operator=(const HoldingProcess&) = delete;

  bool holds() const { return holds_; }

 private:
  pid_t child_;
  bool holds_ = false;
};

TEST_F(TraceLogFaults, FileHeldByAnotherProcess_RaisesAtOnce) {
  MakeTraceFile();
  {
    const HoldingProcess holder(file_);
    if (!holder.holds()) GTEST_SKIP() << "the file system of " << folder_.path() << " has no leases";
    EXPECT_EQ(Write(u"abc"), "11|WriteLog|Resource temporarily unavailable|0");
  }
  EXPECT_EQ(Content(), "");
  EXPECT_EQ(Write(u"abc"), "done|0");
  EXPECT_EQ(Content(), "abc\r\n");
}

// The write beyond the part that fits ends the record where it was cut; the next one follows directly.
TEST_F(TraceLogFaults, RecordCutByALimit_KeepsThePartThatFitted) {
  MakeTraceFile();
  EXPECT_EQ(AnswerOfChild([&] {
              static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
              const rlimit limit{4, 100};
              Require(::setrlimit(RLIMIT_FSIZE, &limit) == 0, "setrlimit");
              const std::string outcome = Write(u"abcdef");
              const rlimit lifted{100, 100};
              Require(::setrlimit(RLIMIT_FSIZE, &lifted) == 0, "setrlimit");
              return outcome + " " + Write(u"x");
            }),
            "27|WriteLog|File too large|1 done|0");
  EXPECT_EQ(Content(), "abcdx\r\n");
}

// Several processes write at once: every record comes whole, because each is one write at the end of the file.
TEST_F(TraceLogFaults, FourProcesses_LoseAndMixNothing) {
  MakeTraceFile();
  constexpr int kProcesses = 4;
  constexpr int kLines = 500;
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      bool allDone = true;
      const Text line(100, static_cast<char16_t>(u'a' + process));
      for (int i = 0; i < kLines; ++i) allDone = Write(line) == "done|0" && allDone;
      std::_Exit(allDone ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  const std::string content = Content();
  ASSERT_EQ(content.size(), 102u * kLines * kProcesses);
  for (std::size_t start = 0; start < content.size(); start += 102) {
    ASSERT_EQ(content.substr(start, 102), std::string(100, content[start]) + "\r\n") << start;
  }
}

}  // namespace
}  // namespace nerio
