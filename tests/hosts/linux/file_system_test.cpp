#include "nerio/hosts/linux/file_system.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libintl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "nerio/hosts/linux/native_path.h"
#include "nerio/types/utf8.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/platform/conformance/file_system_conformance.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::AnswerOfChild;
using testing::FileSystemConformance;
using testing::FileSystemUnderTest;

constexpr FileHandle kJunk = 4711;

INSTANTIATE_TEST_SUITE_P(Posix, FileSystemConformance, ::testing::Values([]() -> std::unique_ptr<FileSystemUnderTest> {
                           return testing::FilesOnDisk(std::make_unique<PosixFileSystem>());
                         }));

class PosixFiles : public ::testing::Test {
 protected:
  fs::path OnDisk(const std::string& name) const { return folder_.path() / name; }
  Text Path(const std::string& name) const { return TextFromNativePath(OnDisk(name).native()); }
  fs::path MakeFile(const std::string& name, const std::string& content = "") const {
    std::ofstream(OnDisk(name), std::ios::binary) << content;
    return OnDisk(name);
  }
  std::string Content(const std::string& name) const {
    std::ifstream file(OnDisk(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Asks for a path; "found", "nothing" or the number of the failure.
  std::string Find(const Text& path) {
    bool found = true;
    const SystemStatus status = files_.FindOrdinaryFile(path, found);
    if (status != SystemStatus::kSuccess) return std::to_string(NumberOf(status)) + (found ? " found" : "");
    return found ? "found" : "nothing";
  }

  testing::TemporaryFolder folder_;
  PosixFileSystem files_;
};

TEST_F(PosixFiles, FindOrdinaryFile_WhatIsNoRegularFile_IsNotFound) {
  ASSERT_EQ(::mkfifo(OnDisk("fifo").c_str(), 0600), 0);
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  OnDisk("socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(listener);

  EXPECT_EQ(Find(Path("fifo")), "nothing");
  EXPECT_EQ(Find(Path("socket")), "nothing");
  EXPECT_EQ(Find(u"\\dev\\null"), "nothing");
  EXPECT_EQ(Find(u"\\"), "nothing");
  EXPECT_EQ(Find(u""), "nothing");
}

TEST_F(PosixFiles, FindOrdinaryFile_Link_CountsAsWhatItLeadsTo) {
  MakeFile("file");
  fs::create_symlink("file", OnDisk("to file"));
  fs::create_directory(OnDisk("folder"));
  fs::create_symlink("folder", OnDisk("to folder"));
  fs::create_symlink("nowhere", OnDisk("to nothing"));
  EXPECT_EQ(Find(Path("to file")), "found");
  EXPECT_EQ(Find(Path("to folder")), "nothing");
  EXPECT_EQ(Find(Path("to nothing")), "nothing");
}

TEST_F(PosixFiles, FindOrdinaryFile_NameThatBeginsWithADot_Counts) {
  MakeFile(".log");
  EXPECT_EQ(Find(Path(".log")), "found");
}

TEST_F(PosixFiles, FindOrdinaryFile_PathThatCannotBeFollowed_IsAFailure) {
  fs::create_symlink("round", OnDisk("round"));
  EXPECT_EQ(Find(Path("round")), std::to_string(ELOOP));
  EXPECT_EQ(Find(Path(std::string(256, 'n'))), std::to_string(ENAMETOOLONG));
}

TEST_F(PosixFiles, Path_EndsAtItsFirstNul) {
  MakeFile("file", "x");
  EXPECT_EQ(Find(Path("file") + u'\0' + u"rest"), "found");
}

TEST_F(PosixFiles, Name_OfAnyBytes_IsReached) {
  for (const std::string name : {"latin \xE0", "back\\slash", "\xF0\x9F\x98", "line\nend", "\x01"}) {
    MakeFile(name);
    EXPECT_EQ(Find(Path(name)), "found") << name;
    FileHandle file{};
    ASSERT_EQ(files_.OpenForAppend(Path(name), file), SystemStatus::kSuccess) << name;
    EXPECT_EQ(files_.Append(file, std::string("x")), SystemStatus::kSuccess);
    EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
    EXPECT_EQ(Content(name), "x") << name;
  }
}

TEST_F(PosixFiles, OpenForAppend_IsNotInheritedAndGivesTheLowestDescriptor) {
  MakeFile("file");
  const int lowest = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(lowest);
  FileHandle file{};
  ASSERT_EQ(files_.OpenForAppend(Path("file"), file), SystemStatus::kSuccess);
  EXPECT_EQ(file, lowest);
  EXPECT_EQ(::fcntl(static_cast<int>(file), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
}

// A FIFO that takes the file's place between the search and the open must not hang the caller.
TEST_F(PosixFiles, OpenForAppend_FifoWithoutReader_FailsAtOnce) {
  ASSERT_EQ(::mkfifo(OnDisk("fifo").c_str(), 0600), 0);
  FileHandle file = kJunk;
  EXPECT_EQ(files_.OpenForAppend(Path("fifo"), file), SystemStatus{ENXIO});
  EXPECT_EQ(file, kJunk);
}

TEST_F(PosixFiles, OpenForAppend_Failures_AnswerTheSystemsNumber) {
  fs::create_directory(OnDisk("folder"));
  MakeFile("file");
  FileHandle file = kJunk;
  EXPECT_EQ(files_.OpenForAppend(Path("nothing"), file), SystemStatus{ENOENT});
  EXPECT_EQ(files_.OpenForAppend(Path("folder"), file), SystemStatus{EISDIR});
  EXPECT_EQ(files_.OpenForAppend(Path("file/below"), file), SystemStatus{ENOTDIR});
  EXPECT_EQ(file, kJunk);
}

TEST_F(PosixFiles, Append_WhereOnlyAPartFits_KeepsThePartAndAnswersTheFailure) {
  MakeFile("file", "12");
  const std::string answer = AnswerOfChild([&] {
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    const rlimit fiveBytes{5, 5};
    ::setrlimit(RLIMIT_FSIZE, &fiveBytes);
    FileHandle file{};
    const SystemStatus open = files_.OpenForAppend(Path("file"), file);
    const SystemStatus append = files_.Append(file, std::string("abcdef"));
    const SystemStatus close = files_.Close(file);
    return std::to_string(NumberOf(open)) + " " + std::to_string(NumberOf(append)) + " " +
           std::to_string(NumberOf(close));
  });
  EXPECT_EQ(answer, "0 " + std::to_string(EFBIG) + " 0");
  EXPECT_EQ(Content("file"), "12abc");
}

TEST_F(PosixFiles, Append_FullDevice_AnswersNoSpace) {
  FileHandle file{};
  ASSERT_EQ(files_.OpenForAppend(u"\\dev\\full", file), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Append(file, std::string("x")), SystemStatus{ENOSPC});
  EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
}

TEST_F(PosixFiles, UnknownHandle_AnswersBadDescriptor) {
  EXPECT_EQ(files_.Append(-1, std::string("x")), SystemStatus{EBADF});
  EXPECT_EQ(files_.Close(-1), SystemStatus{EBADF});
}

TEST_F(PosixFiles, Describe_GivesTheSystemsOwnText) {
  EXPECT_EQ(files_.Describe(SystemStatus{ENOSPC}), u"No space left on device");
  EXPECT_EQ(files_.Describe(SystemStatus{EACCES}), u"Permission denied");
}

// A catalogue of the C library's messages with one translation, as msgfmt would make it.
std::string CatalogueOf(const std::string& message, const std::string& translation) {
  const std::string header = "Content-Type: text/plain; charset=UTF-8\n";
  std::string tables;
  std::string texts;
  const auto add = [&tables](std::uint32_t number) {
    tables.append(reinterpret_cast<const char*>(&number), sizeof number);
  };
  // Signature, form, count of messages, places of the originals, the translations and no table of hashes.
  for (const std::uint32_t number : {0x950412deu, 0u, 2u, 28u, 44u, 0u, 60u}) add(number);
  for (const std::string& text : {std::string(), message, header, translation}) {
    add(static_cast<std::uint32_t>(text.size()));
    add(static_cast<std::uint32_t>(60 + texts.size()));
    texts.append(text).append(1, '\0');
  }
  return tables + texts;
}

TEST_F(PosixFiles, Describe_TextInAnotherEncodingThanUtf8_IsRead) {
  fs::create_directories(OnDisk("de/LC_MESSAGES"));
  MakeFile("de/LC_MESSAGES/libc.mo", CatalogueOf("Invalid argument", "Das Argument ist ung\xC3\xBCltig"));
  EXPECT_EQ(AnswerOfChild([&]() -> std::string {
              ::setenv("LOCPATH", NERIO_TEST_LOCALES, 1);
              ::unsetenv("LANGUAGE");
              if (std::setlocale(LC_ALL, "de_AT.ISO-8859-1") == nullptr) return "no such locale";
              ::bindtextdomain("libc", folder_.path().c_str());
              return ToUtf8(files_.Describe(SystemStatus{EINVAL}));
            }),
            "Das Argument ist ung\xC3\xBCltig");
}

}  // namespace
}  // namespace nerio::platform
