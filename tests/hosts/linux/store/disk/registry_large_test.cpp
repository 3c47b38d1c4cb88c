#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "nerio/hosts/linux/store/file_stamp.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::FileContent;
using testing::TakeCount;
using testing::WriteFile;

constexpr int kValues = 700;

// A key of whose values file only the places of the records are kept from one change to the next.
class RegistryLarge : public ::testing::Test {
 protected:
  RegistryLarge() {
    EXPECT_EQ(one_.Create("k"_ansi), kSuccess);
    std::vector<std::string> names;
    for (int i = 0; i < kValues; ++i) names.push_back("Value" + std::to_string(i));
    const std::string data(1000, 'd');
    std::vector<WholeKeys::ValueChange> changes;
    for (const std::string& name : names) {
      changes.push_back({name, false, kRegSz, data, {}});
      expected_[name] = data;
    }
    KeyHandle key = 0;
    EXPECT_EQ(stored_.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key), kSuccess);
    EXPECT_EQ(stored_.registry().ChangeValues(key, changes), kSuccess);
    stored_.registry().CloseKey(key);
    EXPECT_GT(fs::file_size(path_), std::uintmax_t{512} << 10);
  }

  // Sets a value by a name in another case, which leaves the spelling as it is.
  void Set(const Calls& calls, int number, const std::string& data) {
    const std::string digits = std::to_string(number);
    ASSERT_EQ(calls.Set("k"_ansi, AnsiText("vALUE" + digits), data), kSuccess);
    const auto present = expected_.find("Value" + digits);
    expected_[present != expected_.end() ? "Value" + digits : "vALUE" + digits] = data;
  }

  void Delete(const Calls& calls, int number) {
    const std::string digits = std::to_string(number);
    const std::size_t removed = expected_.erase("Value" + digits) + expected_.erase("vALUE" + digits);
    ASSERT_EQ(calls.DeleteValue("k"_ansi, AnsiText("VALUE" + digits)), removed != 0 ? kSuccess : kFileNotFound);
  }

  // Compares all values with what was written, by a registry that has read nothing yet.
  void ExpectAll(const std::string& when) {
    LinuxRegistry fresh(stored_.folder());
    KeyHandle key = 0;
    ASSERT_EQ(fresh.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeyRead, key), kSuccess) << when;
    std::map<std::string, std::string> found;
    ASSERT_EQ(
        fresh.ReadValues(key, [&](const WholeKeys::Value& value) { found[std::string(value.name)] = value.data; }),
        kSuccess)
        << when;
    EXPECT_TRUE(found == expected_) << when;
  }

  testing::StoredRegistry stored_;
  // Another process, as far as the registry is concerned.
  LinuxRegistry other_{stored_.folder()};
  Calls one_ = stored_.calls();
  Calls two_{other_};
  std::string path_ = stored_.ValuesFile("k");
  // By the spelling of each name.
  std::map<std::string, std::string> expected_;
};

TEST_F(RegistryLarge, ChangeAfterAChange_ReadsNextToNothing) {
  Set(one_, 5, "first");
  TakeCount();
  for (int turn = 0; turn < 20; ++turn) Set(one_, 5 + turn, std::to_string(turn));
  const testing::CallCount cost = TakeCount();
  EXPECT_EQ(cost.syncs, 20u);
  EXPECT_EQ(cost.renames, 0u);
  // Where the kernel does not tell changes apart, the file is read each time.
  const std::uint64_t most = TellsChangesApart() ? 4096 : fs::file_size(path_) + 4096;
  EXPECT_LE(cost.bytesRead, 20 * most);
  ExpectAll("in the end");
}

TEST_F(RegistryLarge, ChangesOfTwoProcesses_AllCount) {
  std::mt19937 random(14);
  for (int turn = 0; turn < 1500; ++turn) {
    // Runs of changes by the same process, and many changes of who it is.
    const Calls& calls = random() % 3 == 0 ? two_ : one_;
    const int number = static_cast<int>(random() % (kValues + 20));
    if (random() % 5 == 0) {
      Delete(calls, number);
    } else {
      Set(calls, number, std::string(random() % 90, static_cast<char>('a' + random() % 26)));
    }
    if (turn % 100 == 0) ExpectAll("turn " + std::to_string(turn));
    if (HasFailure()) return;
  }
  ExpectAll("in the end");
}

TEST_F(RegistryLarge, ChangeByHand_IsSeenByTheNextChange) {
  for (const std::size_t place : {std::size_t{100}, std::size_t{5000}, std::size_t{500000}}) {
    Set(one_, 7, "before");
    const std::string content = FileContent(path_);
    std::string changed = content;
    changed[place] = static_cast<char>(changed[place] ^ 4);
    WriteFile(path_, changed);
    EXPECT_EQ(one_.Set("k"_ansi, "Value7"_ansi, "lost"), kRegistryCorrupt) << place;
    EXPECT_EQ(FileContent(path_), changed) << place;
    WriteFile(path_, content);
    Set(one_, 8, "after " + std::to_string(place));
    ExpectAll("undone at " + std::to_string(place));
  }
}

TEST_F(RegistryLarge, RestoredFile_IsTheOneThatIsChanged) {
  Set(one_, 1, "kept");
  fs::copy_file(path_, path_ + ".backup");
  const auto kept = expected_;
  Set(one_, 2, "given up");
  Set(one_, 3, "given up");
  fs::rename(path_ + ".backup", path_);
  expected_ = kept;
  Set(one_, 4, "new");
  ExpectAll("after a backup came back");
}

TEST_F(RegistryLarge, FileWithASecondName_IsReplaced) {
  Set(one_, 1, "first");
  fs::create_hard_link(path_, path_ + ".snapshot");
  const std::string content = FileContent(path_);
  Set(one_, 2, "second");
  EXPECT_EQ(FileContent(path_ + ".snapshot"), content);
  Set(one_, 3, "third");
  ExpectAll("in the end");
}

TEST_F(RegistryLarge, ValuesThatShrink_GiveTheRoomBack) {
  const auto before = fs::file_size(path_);
  for (int i = 0; i < kValues; ++i) Set(one_, i, "small");
  EXPECT_LT(fs::file_size(path_), before / 4);
  ExpectAll("in the end");
}

TEST_F(RegistryLarge, ChangeThatFails_LeavesTheOldValues) {
  Set(one_, 1, "first");
  for (std::uint64_t nth = 0;; ++nth) {
    ASSERT_LT(nth, 100u);
    testing::PlanFault(nth, testing::Fault::InputOutput);
    const Status status = one_.Set("k"_ansi, "Value2"_ansi, "number " + std::to_string(nth));
    if (!testing::EndFaults()) break;
    if (status == kSuccess) expected_["Value2"] = "number " + std::to_string(nth);
    ExpectAll("call " + std::to_string(nth));
    Set(one_, 3, "after " + std::to_string(nth));
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace nerio::platform
