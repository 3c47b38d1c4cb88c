#include "nerio/hosts/linux/store/values_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"

namespace nerio::platform {
namespace {

using testing::FileContent;
using testing::WriteFile;

std::string Described(const ValueRecord& value) {
  return std::to_string(value.sequence) + ':' + std::to_string(value.type) + ' ' + std::string(value.name) + '=' +
         std::string(value.data) + '\n';
}

// Everything that an object tells of the file that it has read.
std::string Described(Status status, const ValuesFile& file, const std::vector<std::string>& names) {
  std::string text = std::to_string(NumberOf(status)) + ' ' + std::to_string(static_cast<int>(file.state())) + ' ';
  if (file.state() != RecordCursor::End::Whole) {
    return text + std::to_string(file.damage().offset) + ' ' + (file.damage().what ? file.damage().what : "");
  }
  for (const std::uint64_t number : {file.recordsEnd(), file.nextSequence(), file.addedRecords()}) {
    text += std::to_string(number) + ' ';
  }
  for (const ValueRecord& value : file.Values()) text += Described(value);
  for (const std::string& name : names) {
    ValueRecord found;
    text += file.Find(name, found) ? Described(found) : "none\n";
  }
  return text;
}

// A key whose values file takes several reads, and what changes it, by hand or not.
class ValuesFileTest : public ::testing::Test {
 protected:
  ValuesFileTest() {
    EXPECT_EQ(calls_.Create("k"_ansi), kSuccess);
    for (int i = 0; i < 700; ++i) Set(i, "first");
    for (const char* name : {"Value0", "VALUE1", "value699", "value700", "Missing", ""}) names_.emplace_back(name);
  }

  void Set(int number, const std::string& data) {
    EXPECT_EQ(calls_.Set("k"_ansi, AnsiText("Value" + std::to_string(number)), data), kSuccess);
  }

  // Compares a file that is read again with one that is read for the first time.
  void ExpectSame(const std::string& what) {
    Descriptor file;
    ASSERT_EQ(OpenByPath(path_, O_RDONLY, file), kSuccess);
    ValuesFile fresh;
    const std::string expected = Described(fresh.Read(file.get()), fresh, names_);
    EXPECT_EQ(Described(again_.ReadAgain(file.get(), ""), again_, names_), expected) << what;
  }

  // Changes the content by hand, and undoes it.
  void ExpectSameAfter(const std::string& what, const std::string& changed) {
    const std::string content = FileContent(path_);
    WriteFile(path_, changed);
    ExpectSame(what);
    WriteFile(path_, content);
    ExpectSame(what + ", undone");
  }

  testing::StoredRegistry stored_;
  testing::Calls calls_ = stored_.calls();
  std::string path_ = stored_.ValuesFile("k");
  std::vector<std::string> names_;
  ValuesFile again_;
};

TEST_F(ValuesFileTest, ReadAgainAfterChanges_IsAsReadForTheFirstTime) {
  std::mt19937 random(12);
  ExpectSame("at first");
  ExpectSame("unchanged");
  for (int turn = 0; turn < 1500; ++turn) {
    const int number = static_cast<int>(random() % 710);
    if (random() % 4 == 0) {
      calls_.DeleteValue("k"_ansi, AnsiText("VALUE" + std::to_string(number)));
    } else {
      Set(number, std::string(random() % 90, 'x'));
    }
    // Sometimes several changes come between two readings.
    if (random() % 4 != 0) ExpectSame("turn " + std::to_string(turn));
    if (HasFailure()) return;
  }
}

TEST_F(ValuesFileTest, ReadAgainAfterDamageByHand_IsAsReadForTheFirstTime) {
  std::mt19937 random(13);
  ExpectSame("at first");
  const std::string content = FileContent(path_);
  for (int turn = 0; turn < 300; ++turn) {
    const std::size_t place = random() % content.size();
    std::string changed = content;
    changed[place] = static_cast<char>(changed[place] ^ (1 << random() % 8));
    ExpectSameAfter("a bit at " + std::to_string(place), changed);
    ExpectSameAfter("cut at " + std::to_string(place), content.substr(0, place));
    ExpectSameAfter("zeros from " + std::to_string(place),
                    content.substr(0, place) + std::string(content.size() - place, '\0'));
    if (HasFailure()) return;
  }
  for (const std::size_t more : {std::size_t{1}, std::size_t{4096}}) {
    ExpectSameAfter("longer", content + std::string(more, '\0'));
  }
  ExpectSameAfter("empty", "");
}

// A values file in a folder of its own.
class OneValuesFile : public ::testing::Test {
 protected:
  void Write(const std::string& content) {
    WriteFile(path_, content);
    Open();
  }
  // Writes a file of 8 MiB of which only these bytes and what `Put` adds take room on the disk.
  void WriteHoles(const std::string& records) {
    ValuesHeader header;
    header.fileSize = kLong;
    WriteFile(path_, EncodeHeader(header) + records);
    std::filesystem::resize_file(path_, kLong);
    Open();
  }
  void Put(std::uint64_t offset, const std::string& bytes) { ASSERT_EQ(WriteAt(file_.get(), bytes, offset), kSuccess); }
  void Open() { ASSERT_EQ(OpenByPath(path_, O_RDWR, file_), kSuccess); }
  Descriptor Folder() const {
    Descriptor folder;
    EXPECT_EQ(OpenByPath(folder_.path(), O_PATH | O_DIRECTORY, folder), kSuccess);
    return folder;
  }

  static ValueRecord Value(std::string_view name, std::string_view data) {
    return {.sequence = 1, .deletion = false, .type = kRegSz, .name = name, .data = data};
  }

  static constexpr std::uint64_t kLong = std::uint64_t{8} << 20;
  testing::TemporaryFolder folder_{testing::MemoryFolder()};
  std::string path_ = (folder_.path() / kValuesFileName).string();
  Descriptor file_;
};

TEST_F(OneValuesFile, AddedRecords_AreThoseAfterTheFileWasWritten) {
  std::string content = EncodeFile({}, {}, Room::Ample);
  ValuesFile values;
  Write(content);
  ASSERT_EQ(values.Read(file_.get()), kSuccess);
  EXPECT_EQ(values.addedRecords(), 0u);
  EXPECT_EQ(values.largestRecord(), 0u);
  EXPECT_EQ(values.Memory(), 0u) << "a page has room in the object";

  content = EncodeFile({}, {Value("a", "1")}, Room::Ample);
  std::string added;
  AppendRecord(added, {.sequence = 2, .deletion = false, .type = kRegSz, .name = "b", .data = "a longer one"});
  content.replace(kSectorSize + RecordSpace(1, 1), added.size(), added);
  Write(content);
  ASSERT_EQ(values.Read(file_.get()), kSuccess);
  EXPECT_EQ(values.state(), RecordCursor::End::Whole);
  EXPECT_EQ(values.addedRecords(), 1u);
  EXPECT_EQ(values.largestRecord(), added.size());
}

TEST_F(OneValuesFile, Holes_AreReadNoFurtherThanARecordCanLie) {
  std::string record;
  AppendRecord(record, Value("v", "x"));
  const std::uint64_t end = kSectorSize + record.size();
  // One that would end after the file does.
  std::string tooLong;
  AppendRecord(tooLong, {.sequence = 2, .type = kRegSz, .name = "w", .data = std::string(kLong - end, 'x')});
  for (const bool isDamaged : {false, true}) {
    WriteHoles(isDamaged ? record + tooLong.substr(0, kRecordHeadSize) : record);
    ValuesFile values;
    ASSERT_EQ(values.Read(file_.get()), kSuccess);
    EXPECT_EQ(values.state() == RecordCursor::End::Damaged, isDamaged);
    EXPECT_EQ(values.recordsEnd(), end);
    EXPECT_EQ(values.Memory(), end + kMaxRoom + kPageSize);
  }
}

TEST_F(OneValuesFile, BytesFarBehindTheRecords_AreNamedUnlessTheyAreZeros) {
  std::string record;
  AppendRecord(record, Value("v", "x"));
  WriteHoles(record);
  Put(kLong / 2, std::string(kPageSize, '\0'));
  ValuesFile values;
  ASSERT_EQ(values.Read(file_.get()), kSuccess);
  EXPECT_EQ(values.state(), RecordCursor::End::Whole);
  Put(kLong / 2 + kPageSize + 7, "x");
  Put(kLong - 1, "x");
  ASSERT_EQ(values.Read(file_.get()), kSuccess);
  EXPECT_EQ(values.state(), RecordCursor::End::Damaged);
  EXPECT_STREQ(values.damage().what, "no zeros behind the records");
  EXPECT_EQ(values.damage().offset, kLong / 2 + kPageSize + 7);
}

TEST_F(OneValuesFile, ReadAgainOfAFileThatWasMissing_FindsItsValues) {
  ValuesFile values;
  values.MakeEmpty({});
  Write(EncodeFile({}, {Value("v", "x")}, Room::Ample));
  ASSERT_EQ(values.ReadAgain(file_.get(), "v"), kSuccess);
  ValueRecord found;
  ASSERT_TRUE(values.Find("v", found));
  EXPECT_EQ(found.data, "x");
}

TEST_F(OneValuesFile, NamesWithTheSameHash_AreToldApart) {
  constexpr std::string_view kOne = "costarring";
  constexpr std::string_view kOther = "liquid";
  ASSERT_EQ(HashOfName(kOne), HashOfName(kOther));
  Write(EncodeFile({}, {Value(kOne, "one")}, Room::Ample));
  ValuesFile values;
  ASSERT_EQ(values.ReadAgain(file_.get(), kOther), kSuccess);
  ValueRecord found;
  EXPECT_FALSE(values.Find(kOther, found));
  ASSERT_TRUE(values.Find(kOne, found));
  EXPECT_EQ(found.data, "one");
}

// Only of a file that still has its name, and no other, can the stamp tell later changes.
TEST_F(OneValuesFile, PlacesOfALargeFile_AreKeptAloneOnlyWhileItHasItsOneName) {
  for (const int names : {0, 1, 2}) {
    Write(EncodeFile({}, {Value("large", std::string(200'000, 'x'))}, Room::Ample));
    ValuesFile values;
    ASSERT_EQ(values.ReadAgain(file_.get(), "v"), kSuccess);
    if (names == 0) std::filesystem::remove(path_);
    if (names == 2) std::filesystem::create_hard_link(path_, folder_.path() / "other");
    values.NoteAdded(file_.get(), Value("v", "x"));
    EXPECT_EQ(!values.hasValues(), names == 1 && TellsChangesApart() && HasReliableTimes(file_.get())) << names;
  }
}

TEST_F(OneValuesFile, DamagedFileWithASecondName_IsNotNotedAsDeleted) {
  const std::string damaged(kPageSize, 'd');
  Write(damaged);
  std::filesystem::create_hard_link(path_, folder_.path() / "other");
  EXPECT_EQ(NoteKeyDeleted(Folder().get(), file_.get()), kRegistryCorrupt);
  EXPECT_EQ(FileContent(path_), damaged);
}

TEST_F(OneValuesFile, FileThatSomebodyMadeExecutable_IsNoLongerOnceItIsReplaced) {
  Write(EncodeFile({}, {}, Room::Ample));
  std::filesystem::permissions(path_, static_cast<std::filesystem::perms>(0755));
  ASSERT_EQ(ReplaceBy(Folder().get(), file_.get(), {}, 1, {}, Room::Ample), kSuccess);
  EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path_).permissions()), 0644u);
}

}  // namespace
}  // namespace nerio::platform
