#include "tests/platform/conformance/file_system_conformance.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "nerio/types/utf8.h"
#include "tests/testing/failing_files.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::testing {
namespace {

using platform::FileHandle;
using platform::SystemStatus;

namespace fs = std::filesystem;

class DiskFiles final : public FileSystemUnderTest {
 public:
  explicit DiskFiles(std::unique_ptr<platform::FileSystem> files) : files_(std::move(files)) {}

  platform::FileSystem& Files() override { return *files_; }

  Text Path(TextView name) override {
    Text path = OnDisk(name).u16string();
    std::replace(path.begin(), path.end(), u'/', u'\\');
    return path;
  }

  void MakeFile(TextView name, const std::string& content) override {
    std::ofstream file(OnDisk(name), std::ios::binary);
    if (!(file << content).flush()) throw std::runtime_error("cannot write " + ToUtf8(name));
  }

  void MakeReadOnlyFile(TextView name) override {
    MakeFile(name, "");
    constexpr auto kWrite = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    fs::permissions(OnDisk(name), kWrite, fs::perm_options::remove);
  }

  void MakeFolder(TextView name) override { fs::create_directory(OnDisk(name)); }

  bool Exists(TextView name) override { return fs::exists(OnDisk(name)); }

  std::string Content(TextView name) override {
    std::ifstream file(OnDisk(name), std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + ToUtf8(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  fs::path OnDisk(TextView name) { return folder_.path() / fs::path(name); }

  std::unique_ptr<platform::FileSystem> files_;
  TemporaryFolder folder_;
};

class FilesInMemory final : public FileSystemUnderTest {
 public:
  platform::FileSystem& Files() override { return files_; }
  Text Path(TextView name) override { return Text(u"C:\\Nerio\\").append(name); }
  void MakeFile(TextView name, const std::string& content) override { files_.entries[Path(name)].content = content; }
  void MakeReadOnlyFile(TextView name) override { files_.entries[Path(name)].kind = FailingFiles::Kind::ReadOnly; }
  void MakeFolder(TextView name) override { files_.entries[Path(name)].kind = FailingFiles::Kind::Folder; }
  bool Exists(TextView name) override { return files_.entries.contains(Path(name)); }
  std::string Content(TextView name) override { return files_.entries.at(Path(name)).content; }

 private:
  FailingFiles files_;
};

INSTANTIATE_TEST_SUITE_P(InMemory, FileSystemConformance,
                         ::testing::Values([]() -> std::unique_ptr<FileSystemUnderTest> {
                           return std::make_unique<FilesInMemory>();
                         }));

}  // namespace

std::unique_ptr<FileSystemUnderTest> FilesOnDisk(std::unique_ptr<platform::FileSystem> files) {
  return std::make_unique<DiskFiles>(std::move(files));
}

FileHandle FileSystemConformance::Open(TextView name) {
  FileHandle file = -1;
  EXPECT_EQ(files_.OpenForAppend(subject_->Path(name), file), SystemStatus::kSuccess) << ToUtf8(name);
  return file;
}

bool FileSystemConformance::Find(TextView name) {
  bool found = true;  // junk: the call must write it
  EXPECT_EQ(files_.FindOrdinaryFile(subject_->Path(name), found), SystemStatus::kSuccess) << ToUtf8(name);
  return found;
}

TEST_P(FileSystemConformance, FindOrdinaryFile_OrdinaryAndReadOnlyFiles_Count) {
  subject_->MakeFile(u"vuoto.log", "");
  subject_->MakeFile(u"pieno.log", "abc");
  subject_->MakeReadOnlyFile(u"sola lettura.log");
  EXPECT_TRUE(Find(u"vuoto.log"));
  EXPECT_TRUE(Find(u"pieno.log"));
  EXPECT_TRUE(Find(u"sola lettura.log"));
}

TEST_P(FileSystemConformance, FindOrdinaryFile_FolderOrNothing_IsNotFoundAndNoFailure) {
  subject_->MakeFolder(u"cartella.log");
  subject_->MakeFile(u"file.log", "");
  EXPECT_FALSE(Find(u"cartella.log"));
  EXPECT_FALSE(Find(u"assente.log"));
  EXPECT_FALSE(Find(u"assente\\file.log"));
  EXPECT_FALSE(Find(u"file.log\\altro.log"));
  EXPECT_FALSE(subject_->Exists(u"assente.log"));
}

TEST_P(FileSystemConformance, FindOrdinaryFile_TakesThePathExactly) {
  subject_->MakeFile(u"Nerio.log", "");
  EXPECT_FALSE(Find(u"Neri?.log"));
  EXPECT_FALSE(Find(u"*.log"));
  EXPECT_FALSE(Find(u"Nerio.lo"));
  EXPECT_FALSE(Find(u"Nerio.log2"));
}

TEST_P(FileSystemConformance, NameOutsideAscii_IsTheSameFileForEveryCall) {
  const TextView name = u"citt\u00E0 \u65E5 \U0001F600.log";
  subject_->MakeFile(name, "");
  EXPECT_TRUE(Find(name));
  const FileHandle file = Open(name);
  EXPECT_EQ(files_.Append(file, std::string("x")), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
  EXPECT_EQ(subject_->Content(name), "x");
}

TEST_P(FileSystemConformance, OpenForAppend_NothingThere_FailsAndCreatesNothing) {
  FileHandle file = 4711;
  EXPECT_NE(files_.OpenForAppend(subject_->Path(u"assente.log"), file), SystemStatus::kSuccess);
  EXPECT_EQ(file, 4711);
  EXPECT_FALSE(subject_->Exists(u"assente.log"));
}

TEST_P(FileSystemConformance, OpenForAppend_Folder_Fails) {
  subject_->MakeFolder(u"cartella.log");
  FileHandle file = 4711;
  EXPECT_NE(files_.OpenForAppend(subject_->Path(u"cartella.log"), file), SystemStatus::kSuccess);
  EXPECT_EQ(file, 4711);
}

TEST_P(FileSystemConformance, OpenForAppend_AndClose_LeaveTheContent) {
  subject_->MakeFile(u"a.log", "prima");
  EXPECT_EQ(files_.Close(Open(u"a.log")), SystemStatus::kSuccess);
  EXPECT_EQ(subject_->Content(u"a.log"), "prima");
}

TEST_P(FileSystemConformance, Append_EachTime_WritesAllBytesAtTheEnd) {
  std::string allBytes;
  for (int value = 0; value < 256; ++value) allBytes += static_cast<char>(value);
  const std::string megabyte(1 << 20, 'm');

  subject_->MakeFile(u"a.log", "prima");
  const FileHandle file = Open(u"a.log");
  EXPECT_EQ(files_.Append(file, allBytes), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Append(file, {}), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Append(file, megabyte), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
  EXPECT_TRUE(subject_->Content(u"a.log") == "prima" + allBytes + megabyte);
}

TEST_P(FileSystemConformance, Append_TwoHandlesInTurn_EachWritesBehindTheOther) {
  subject_->MakeFile(u"a.log", "");
  const FileHandle one = Open(u"a.log");
  const FileHandle two = Open(u"a.log");
  EXPECT_NE(one, two);
  EXPECT_EQ(files_.Append(one, std::string("uno ")), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Append(two, std::string("due ")), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Append(one, std::string("tre")), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Close(two), SystemStatus::kSuccess);
  EXPECT_EQ(files_.Close(one), SystemStatus::kSuccess);
  EXPECT_EQ(subject_->Content(u"a.log"), "uno due tre");
}

TEST_P(FileSystemConformance, ClosedHandle_AnswersAFailure) {
  subject_->MakeFile(u"a.log", "");
  const FileHandle file = Open(u"a.log");
  EXPECT_EQ(files_.Close(file), SystemStatus::kSuccess);
  EXPECT_NE(files_.Append(file, std::string("x")), SystemStatus::kSuccess);
  EXPECT_NE(files_.Close(file), SystemStatus::kSuccess);
  EXPECT_EQ(subject_->Content(u"a.log"), "");
}

TEST_P(FileSystemConformance, Describe_GivesEachNumberATextOfOneLine) {
  const Text one = files_.Describe(SystemStatus{2});
  const Text other = files_.Describe(SystemStatus{5});
  EXPECT_NE(one, other);
  for (const Text& text : {one, other, files_.Describe(SystemStatus{-4711})}) {
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text.find_first_of(u"\r\n"), Text::npos) << ToUtf8(text);
  }
}

}  // namespace nerio::testing
