#include "nerio/hosts/windows/file_system.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/code_page.h"
#include "nerio/support/trace_log.h"
#include "nerio/types/error.h"
#include "tests/hosts/windows/file_holder.h"
#include "tests/platform/conformance/file_system_conformance.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::FileHolder;
using testing::FileSystemConformance;
using testing::FileSystemUnderTest;

INSTANTIATE_TEST_SUITE_P(Win32, FileSystemConformance, ::testing::Values([]() -> std::unique_ptr<FileSystemUnderTest> {
                           return testing::FilesOnDisk(std::make_unique<WindowsFileSystem>());
                         }));

class Win32Files : public ::testing::Test, public ModuleLocation {
 protected:
  Text Path(TextView name) const { return (folder_.path() / fs::path(name)).u16string(); }
  void MakeFile(TextView name, DWORD attributes = FILE_ATTRIBUTE_NORMAL) const {
    std::ofstream(folder_.path() / fs::path(name), std::ios::binary).flush();
    ASSERT_NE(::SetFileAttributesW(Wide(Path(name)), attributes), 0);
    constexpr DWORD kKept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    ASSERT_EQ(::GetFileAttributesW(Wide(Path(name))) & kKept, attributes & kKept)
        << "this file system keeps no such attributes";
  }
  std::string Content(TextView name) const {
    std::ifstream file(folder_.path() / fs::path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  bool Find(TextView name) {
    bool found = false;
    EXPECT_EQ(files_.FindOrdinaryFile(Path(name), found), SystemStatus::kSuccess);
    return found;
  }

  // The folder of the library, for the trace log.
  SystemStatus Folder(Text& folder) override {
    folder = folder_.path().u16string();
    return SystemStatus::kSuccess;
  }
  // Writes a line to the trace log and returns the error that it raised, if any.
  std::optional<Error> Trace(TextView message) {
    testing::FakeHost host{.codePage = &codePage_, .files = &files_, .module = this};
    try {
      WriteLog(message, host.View());
    } catch (const Error& error) {
      return error;
    }
    return std::nullopt;
  }

  testing::TemporaryFolder folder_;
  WindowsFileSystem files_;
  WindowsCodePage codePage_;
};

TEST_F(Win32Files, FindOrdinaryFile_HiddenOrSystem_IsNotFound) {
  MakeFile(u"archiviato.log", FILE_ATTRIBUTE_ARCHIVE);
  MakeFile(u"nascosto.log", FILE_ATTRIBUTE_HIDDEN);
  MakeFile(u"sistema.log", FILE_ATTRIBUTE_SYSTEM);
  MakeFile(u"entrambi.log", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_TRUE(Find(u"archiviato.log"));
  EXPECT_FALSE(Find(u"nascosto.log"));
  EXPECT_FALSE(Find(u"sistema.log"));
  EXPECT_FALSE(Find(u"entrambi.log"));
}

TEST_F(Win32Files, FindOrdinaryFile_NameWithABlankOrDotBehind_IsNotFound) {
  MakeFile(u"Nerio.log");
  EXPECT_TRUE(Find(u"Nerio.log"));
  EXPECT_TRUE(Find(u"NERIO.LOG"));
  EXPECT_FALSE(Find(u"Nerio.log "));
  EXPECT_FALSE(Find(u"Nerio.log."));
}

TEST_F(Win32Files, FindOrdinaryFile_PathThatNothingCanHave_IsNotFoundAndNoFailure) {
  for (const TextView path : {u"", u"\\server\\quota\\Nerio.log", u"\\?\\C:\\Nerio.log", u"C:\\nessuna\\Nerio.log"}) {
    bool found = true;
    EXPECT_EQ(files_.FindOrdinaryFile(Text(path), found), SystemStatus::kSuccess);
    EXPECT_FALSE(found);
  }
}

TEST_F(Win32Files, FindOrdinaryFile_PathEndsAtItsFirstNul) {
  MakeFile(u"Nerio.log");
  bool found = false;
  EXPECT_EQ(files_.FindOrdinaryFile(Path(u"Nerio.log") + u'\0' + u"altro", found), SystemStatus::kSuccess);
  EXPECT_TRUE(found);
}

TEST_F(Win32Files, OpenForAppend_LetsOthersReadAndWrite) {
  MakeFile(u"a.log");
  FileHandle file = 0;
  ASSERT_EQ(files_.OpenForAppend(Path(u"a.log"), file), SystemStatus::kSuccess);
  const HANDLE other = ::CreateFileW(Wide(Path(u"a.log")), GENERIC_READ | GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(other, INVALID_HANDLE_VALUE);
  ::CloseHandle(other);
  EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
}

TEST_F(Win32Files, OpenForAppend_Failures_AnswerTheSystemsNumber) {
  FileHandle file = 4711;
  EXPECT_EQ(files_.OpenForAppend(Path(u"assente.log"), file), SystemStatus{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(files_.OpenForAppend(Path(u"assente\\a.log"), file), SystemStatus{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(file, 4711);
}

TEST_F(Win32Files, FileHeldByAnotherProcess_IsFoundAndCannotBeOpened) {
  MakeFile(u"a.log");
  for (const DWORD share : {DWORD{0}, DWORD{FILE_SHARE_READ}}) {
    const FileHolder holder(Path(u"a.log"), share);
    FileHandle file = 4711;
    EXPECT_TRUE(Find(u"a.log"));
    EXPECT_EQ(files_.OpenForAppend(Path(u"a.log"), file), SystemStatus{ERROR_SHARING_VIOLATION}) << share;
    EXPECT_EQ(file, 4711);
  }
  FileHandle file = 0;
  EXPECT_EQ(files_.OpenForAppend(Path(u"a.log"), file), SystemStatus::kSuccess) << "nobody holds it any more";
  EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
}

TEST_F(Win32Files, WriteLog_OnRealFiles_AppendsLinesInTheAnsiCodePage) {
  EXPECT_FALSE(Trace(u"prima").has_value());
  EXPECT_FALSE(fs::exists(folder_.path() / "Nerio.log"));
  MakeFile(u"Nerio.log");
  EXPECT_FALSE(Trace(u"perch\u00E9 \u20AC \u65E5").has_value());
  EXPECT_FALSE(Trace(u"").has_value());
  EXPECT_EQ(Content(u"Nerio.log"), "perch\xE9 \x80 ?\r\n\r\n");
}

TEST_F(Win32Files, WriteLog_HiddenOrSystemTraceFile_WritesNothing) {
  for (const DWORD attribute : {DWORD{FILE_ATTRIBUTE_HIDDEN}, DWORD{FILE_ATTRIBUTE_SYSTEM}}) {
    MakeFile(u"Nerio.log", attribute);
    EXPECT_FALSE(Trace(u"abc").has_value());
    EXPECT_EQ(Content(u"Nerio.log"), "");
    ASSERT_NE(::SetFileAttributesW(Wide(Path(u"Nerio.log")), FILE_ATTRIBUTE_NORMAL), 0);
  }
  EXPECT_FALSE(Trace(u"abc").has_value());
  EXPECT_EQ(Content(u"Nerio.log"), "abc\r\n");
}

TEST_F(Win32Files, WriteLog_TraceFileHeldByAnotherProcess_RaisesTheSystemsNumberAndText) {
  MakeFile(u"Nerio.log");
  const FileHolder holder(Path(u"Nerio.log"), 0);
  const std::optional<Error> error = Trace(u"abc");
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(error->source(), u"WriteLog");
  EXPECT_EQ(error->description(), files_.Describe(SystemStatus{ERROR_SHARING_VIOLATION}));
}

TEST_F(Win32Files, Describe_GivesTheSystemsTextInTheUsersLanguage) {
  EXPECT_EQ(files_.Describe(SystemStatus{ERROR_SHARING_VIOLATION}), u"Violazione di condivisione.");
  EXPECT_EQ(files_.Describe(SystemStatus{-4711}), u"Errore -4711");
}

}  // namespace
}  // namespace nerio::platform
