#include "nerio/support/trace_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/testing/failing_files.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/status_output.h"

namespace nerio {
namespace {

using ::testing::ElementsAre;
using testing::FailingFiles;
using testing::FakeHost;

class TraceLog : public ::testing::Test {
 protected:
  // Writes a line and returns the error that it raised, if any.
  std::optional<Error> Write(TextView message) {
    try {
      WriteLog(message, host_.View());
    } catch (const Error& error) {
      return error;
    }
    return std::nullopt;
  }

  void SwitchOn() { files_.entries[kPath] = {}; }
  std::string Content() { return files_.entries.at(kPath).content; }

  const Text kPath = u"C:\\Nerio\\Nerio.log";
  FailingFiles files_;
  platform::CodePage1252 codePage_;
  FakeHost host_{.codePage = &codePage_, .files = &files_, .module = &files_};
};

TEST_F(TraceLog, WriteLog_NoTraceFile_LeavesTheFolderUnchanged) {
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(Write(u"abc").has_value());
  EXPECT_TRUE(files_.entries.empty());
  const std::string folder = "Folder()";
  const std::string find = "Find(C:\\Nerio\\Nerio.log)";
  EXPECT_THAT(files_.calls, ElementsAre(folder, find, folder, find, folder, find));
}

TEST_F(TraceLog, WriteLog_TraceFile_MakesEachCallOnceAndAsksForTheFolderTwice) {
  SwitchOn();
  EXPECT_FALSE(Write(u"abc").has_value());
  EXPECT_THAT(files_.calls, ElementsAre("Folder()", "Find(C:\\Nerio\\Nerio.log)", "Folder()",
                                        "Open(C:\\Nerio\\Nerio.log)", "Append(1, \"abc\\r\\n\")", "Close(1)"));
  EXPECT_TRUE(files_.openHandles.empty());
}

TEST_F(TraceLog, WriteLog_EmptyTraceFile_LeavesTheLettersCrAndLf) {
  SwitchOn();
  EXPECT_FALSE(Write(u"abc").has_value());
  EXPECT_EQ(Content(), "abc\r\n");
}

TEST_F(TraceLog, WriteLog_EmptyMessage_AppendsABareLineEnd) {
  SwitchOn();
  EXPECT_FALSE(Write(u"").has_value());
  EXPECT_EQ(Content(), "\r\n");
}

TEST_F(TraceLog, WriteLog_MessageWithLineEnds_AddsNothingBetweenItsLines) {
  SwitchOn();
  EXPECT_FALSE(Write(u"uno\r\ndue\ntre\r").has_value());
  EXPECT_EQ(Content(), "uno\r\ndue\ntre\r\r\n");
}

TEST_F(TraceLog, WriteLog_TwoCalls_AppendInCallOrderBehindWhatIsThere) {
  files_.entries[kPath].content = "prima";
  EXPECT_FALSE(Write(u"uno").has_value());
  EXPECT_FALSE(Write(u"due").has_value());
  EXPECT_EQ(Content(), "primauno\r\ndue\r\n");
}

TEST_F(TraceLog, WriteLog_TextOutsideTheCodePage_IsWrittenAsTheConversionDoes) {
  SwitchOn();
  EXPECT_FALSE(Write(Text(u"perch\u00E9 \u0416\uFF21 \u20AC") + u'\0' + u"x").has_value());
  EXPECT_EQ(Content(), std::string("perch\xE9 ?A \x80\0x\r\n", 15));
}

TEST_F(TraceLog, WriteLog_FileMadeOrDeletedBetweenCalls_SwitchesFromTheNextCall) {
  EXPECT_FALSE(Write(u"uno").has_value());
  SwitchOn();
  EXPECT_FALSE(Write(u"due").has_value());
  EXPECT_EQ(Content(), "due\r\n");
  files_.entries.clear();
  EXPECT_FALSE(Write(u"tre").has_value());
  EXPECT_TRUE(files_.entries.empty());
}

TEST_F(TraceLog, WriteLog_FolderHiddenOrSystemFile_DoesNotSwitchOn) {
  for (const auto kind : {FailingFiles::Kind::Folder, FailingFiles::Kind::Hidden, FailingFiles::Kind::System}) {
    const FailingFiles::Entry entry{.kind = kind, .content = "x"};
    files_.entries[kPath] = entry;
    files_.calls.clear();
    EXPECT_FALSE(Write(u"abc").has_value());
    EXPECT_EQ(files_.entries[kPath], entry);
    EXPECT_THAT(files_.calls, ElementsAre("Folder()", "Find(C:\\Nerio\\Nerio.log)"));
  }
}

TEST_F(TraceLog, WriteLog_ArchivedFile_Counts) {
  files_.entries[kPath].kind = FailingFiles::Kind::Archived;
  EXPECT_FALSE(Write(u"abc").has_value());
  EXPECT_EQ(Content(), "abc\r\n");
}

TEST_F(TraceLog, WriteLog_ReadOnlyFile_CountsAndTheRefusedOpenIsRaised) {
  files_.entries[kPath].kind = FailingFiles::Kind::ReadOnly;
  const auto error = Write(u"abc");
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), NumberOf(FailingFiles::kDenied));
  EXPECT_EQ(ToUtf8(error->source()), "WriteLog");
  EXPECT_EQ(ToUtf8(error->description()), "fault 5");
  EXPECT_TRUE(files_.openHandles.empty());
}

TEST_F(TraceLog, WriteLog_LibraryInTheRootOfADrive_HasOneSeparator) {
  files_.folder = u"C:\\";
  files_.entries[u"C:\\Nerio.log"] = {};
  EXPECT_FALSE(Write(u"abc").has_value());
  EXPECT_EQ(files_.entries[u"C:\\Nerio.log"].content, "abc\r\n");
}

TEST_F(TraceLog, WriteLog_LibraryOnAUncPath_LooksOnTheCurrentDrive) {
  files_.folder = u"\\\\server\\share";
  files_.entries[u"\\\\server\\share\\Nerio.log"] = {};
  EXPECT_FALSE(Write(u"uno").has_value());
  EXPECT_THAT(files_.calls, ElementsAre("Folder()", "Find(\\server\\share\\Nerio.log)"));

  files_.entries[u"\\server\\share\\Nerio.log"] = {};
  EXPECT_FALSE(Write(u"due").has_value());
  EXPECT_EQ(files_.entries[u"\\server\\share\\Nerio.log"].content, "due\r\n");
  EXPECT_EQ(files_.entries[u"\\\\server\\share\\Nerio.log"].content, "");
}

TEST_F(TraceLog, WriteLog_FileHeldByAnother_RaisesThePlatformsError) {
  files_.entries[kPath].heldByOther = platform::SystemStatus{32};
  const auto error = Write(u"abc");
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), 32);
  EXPECT_EQ(ToUtf8(error->source()), "WriteLog");
  EXPECT_EQ(ToUtf8(error->description()), "fault 32");
  EXPECT_EQ(Content(), "");
}

// A file that is deleted between the search and the open is a refused open, not the off state.
TEST_F(TraceLog, WriteLog_FileGoneBeforeTheOpen_RaisesThePlatformsError) {
  SwitchOn();
  files_.FailCall(4, FailingFiles::kMissing);
  const auto error = Write(u"abc");
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), NumberOf(FailingFiles::kMissing));
}

TEST_F(TraceLog, WriteLog_EachCallFailing_RaisesItsErrorAndKeepsAHandleOnlyAfterTheWrite) {
  constexpr std::size_t kCalls = 6;
  constexpr std::size_t kWrite = 5;
  for (std::size_t n = 1; n <= kCalls; ++n) {
    SCOPED_TRACE(n);
    files_ = FailingFiles();
    SwitchOn();
    const auto status = static_cast<platform::SystemStatus>(1000 + n);
    files_.FailCall(n, status);
    const auto error = Write(u"abc");
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), NumberOf(status));
    EXPECT_EQ(ToUtf8(error->source()), "WriteLog");
    EXPECT_EQ(ToUtf8(error->description()), "fault " + std::to_string(NumberOf(status)));
    EXPECT_EQ(files_.calls.size(), n);
    EXPECT_EQ(files_.openHandles.size(), n == kWrite ? 1u : 0u);
    EXPECT_EQ(Content(), n <= kWrite ? "" : "abc\r\n");
  }
  files_ = FailingFiles();
  SwitchOn();
  files_.FailCall(kCalls + 1, platform::SystemStatus{1});
  EXPECT_FALSE(Write(u"abc").has_value());
  EXPECT_EQ(files_.calls.size(), kCalls);
}

TEST_F(TraceLog, WriteLog_EachCallFailingWhileOff_RaisesItsError) {
  for (std::size_t n = 1; n <= 2; ++n) {
    SCOPED_TRACE(n);
    files_ = FailingFiles();
    files_.FailCall(n, platform::SystemStatus{-7});
    const auto error = Write(u"abc");
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), -7);
    EXPECT_EQ(ToUtf8(error->source()), "WriteLog");
    EXPECT_EQ(ToUtf8(error->description()), "fault -7");
    EXPECT_EQ(files_.calls.size(), n);
  }
}

TEST_F(TraceLog, WriteLog_AfterAFailedWrite_TheNextCallTakesAHandleOfItsOwn) {
  SwitchOn();
  files_.FailCall(5, platform::SystemStatus{28});
  EXPECT_TRUE(Write(u"uno").has_value());
  files_.calls.clear();
  files_.FailCall(0, platform::SystemStatus::kSuccess);
  EXPECT_FALSE(Write(u"due").has_value());
  EXPECT_THAT(files_.calls, ElementsAre("Folder()", "Find(C:\\Nerio\\Nerio.log)", "Folder()",
                                        "Open(C:\\Nerio\\Nerio.log)", "Append(2, \"due\\r\\n\")", "Close(2)"));
  EXPECT_THAT(files_.openHandles, ElementsAre(1));
}

}  // namespace
}  // namespace nerio
