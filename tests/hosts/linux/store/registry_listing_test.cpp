#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "nerio/hosts/linux/store/handle_table.h"
#include "nerio/hosts/linux/store/key_cache.h"
#include "nerio/hosts/linux/store/key_tree.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using ::testing::ElementsAre;
using testing::kNobody;
using testing::TakeCount;

// Longer than the time for which a change keeps a listing from being remembered.
void WaitUntilRemembered() { std::this_thread::sleep_for(std::chrono::milliseconds(40)); }

// The names are in the order in which they are made.
AnsiText Numbered(const std::string& name, int number) { return AnsiText(name + std::to_string(10000 + number)); }

class RegistryListing : public ::testing::Test {
 protected:
  RegistryListing() {
    const Calls calls = stored_.calls();
    EXPECT_EQ(calls.Create("k"_ansi), kSuccess);
    EXPECT_EQ(stored_.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeyRead, key_), kSuccess);
  }
  ~RegistryListing() override { stored_.registry().CloseKey(key_); }

  void SetValues(int count) const {
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(Calls(other_).Set("k"_ansi, Numbered("V", i), std::to_string(i)), kSuccess);
    }
    WaitUntilRemembered();
  }
  void CreateKeys(int count) const {
    for (int i = 0; i < count; ++i) ASSERT_EQ(Calls(other_).Create("k\\"_ansi + Numbered("Key", i)), kSuccess);
    WaitUntilRemembered();
  }

  // Each returns what an index answers: "name=data", the name, or the status.
  std::string Value(std::uint32_t index) {
    AnsiText name;
    std::uint32_t type = 0;
    std::string data;
    const Status status = stored_.registry().EnumValue(key_, index, name, type, data);
    return status == kSuccess ? name.bytes() + "=" + data : std::to_string(NumberOf(status));
  }
  std::string Subkey(std::uint32_t index) {
    AnsiText name;
    const Status status = stored_.registry().EnumKey(key_, index, name);
    return status == kSuccess ? name.bytes() : std::to_string(NumberOf(status));
  }
  std::vector<std::string> Values() {
    std::vector<std::string> values;
    for (std::uint32_t i = 0; values.empty() || values.back() != "259"; ++i) values.push_back(Value(i));
    values.pop_back();
    return values;
  }
  std::vector<std::string> Subkeys() {
    std::vector<std::string> names;
    for (std::uint32_t i = 0; names.empty() || names.back() != "259"; ++i) names.push_back(Subkey(i));
    names.pop_back();
    return names;
  }

  testing::StoredRegistry stored_;
  // Another process, as far as the registry is concerned.
  mutable LinuxRegistry other_{stored_.folder()};
  KeyHandle key_ = 0;
};

TEST_F(RegistryListing, AllValues_AreReadOnce) {
  int before = 0;
  for (const int count : {100, 1000}) {
    SetValues(count);
    TakeCount();
    ASSERT_EQ(Values().size(), static_cast<std::size_t>(count));
    const testing::CallCount cost = TakeCount();
    EXPECT_LE(cost.bytesRead, fs::file_size(stored_.ValuesFile("k")) + 1) << count;
    EXPECT_LE(cost.calls, 10u) << count << " values";
    ASSERT_GT(count, before);
    before = count;
    Values();
    EXPECT_EQ(TakeCount().bytesRead, 0u) << "the handle remembers them";
  }
}

TEST_F(RegistryListing, AllSubkeys_AreListedOnceAndEachNameIsReadOnce) {
  for (const int count : {100, 1000}) {
    CreateKeys(count);
    TakeCount();
    const std::vector<std::string> names = Subkeys();
    ASSERT_EQ(names.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(names.back(), Numbered("Key", count - 1).bytes()) << "as its creator spelt it";
    // To open and read the file of each; the folder is opened once for all names, then for more and more of them.
    const testing::CallCount cost = TakeCount();
    EXPECT_LE(cost.calls, 2u * static_cast<unsigned>(count) + 25u) << count << " subkeys";
    EXPECT_LE(cost.bytesRead, 512u * static_cast<unsigned>(count + 1)) << count;
    Subkeys();
    EXPECT_EQ(TakeCount().calls, 0u) << "the handle remembers them";
  }
}

TEST_F(RegistryListing, OneIndexOfMany_ReadsOneName) {
  CreateKeys(200);
  TakeCount();
  EXPECT_EQ(Subkey(0), "Key10000");
  EXPECT_LE(TakeCount().bytesRead, 2 * 512u) << "the key's own header and the subkey's";
}

TEST_F(RegistryListing, ChangeBetweenTwoIndexes_CountsForTheNextOne) {
  SetValues(3);
  CreateKeys(3);
  const Calls other(other_);
  EXPECT_EQ(Value(0), "V10000=0");
  EXPECT_EQ(Subkey(0), "Key10000");
  ASSERT_EQ(other.DeleteValue("k"_ansi, "V10000"_ansi), kSuccess);
  EXPECT_EQ(Value(0), "V10001=1");
  ASSERT_EQ(other.Set("k"_ansi, "a"_ansi, "new"), kSuccess);
  EXPECT_EQ(Value(1), "V10001=1");
  EXPECT_EQ(Value(0), "a=new");
  ASSERT_EQ(other.Delete("k\\Key10000"_ansi), kSuccess);
  EXPECT_EQ(Subkey(0), "Key10001");
  ASSERT_EQ(other.Create("k\\a"_ansi), kSuccess);
  EXPECT_EQ(Subkey(0), "a");
  EXPECT_EQ(Subkey(1), "Key10001");
  WaitUntilRemembered();
  EXPECT_THAT(Values(), ElementsAre("a=new", "V10001=1", "V10002=2"));
  EXPECT_THAT(Subkeys(), ElementsAre("a", "Key10001", "Key10002"));
  EXPECT_THAT(Subkeys(), ElementsAre("a", "Key10001", "Key10002"));
  EXPECT_EQ(Subkey(3), "259");
  EXPECT_EQ(Value(3), "259");
}

TEST_F(RegistryListing, ChangeByHand_CountsForTheNextIndex) {
  SetValues(2);
  CreateKeys(2);
  EXPECT_EQ(Values().size(), 2u);
  EXPECT_EQ(Subkeys().size(), 2u);
  const std::string empty = testing::FileContent(stored_.Key("k") / "key10000/%values");
  fs::rename(stored_.Key("k") / "key10000", stored_.Key("k") / "zzz");
  EXPECT_THAT(Subkeys(), ElementsAre("Key10001", "zzz"));
  fs::create_directory(stored_.Key("k") / "%make");
  testing::WriteFile(stored_.Key("k") / "note", "x");
  EXPECT_THAT(Subkeys(), ElementsAre("Key10001", "zzz"));
  testing::WriteFile(stored_.ValuesFile("k"), "x");
  EXPECT_EQ(Value(0), "1015");
  testing::WriteFile(stored_.ValuesFile("k"), empty);
  EXPECT_EQ(Value(0), "1018") << "another key's id";
}

TEST_F(RegistryListing, KeyThatIsDeletedAndMadeAgain_IsGoneForTheHandle) {
  SetValues(2);
  CreateKeys(2);
  EXPECT_EQ(Values().size(), 2u);
  EXPECT_EQ(Subkeys().size(), 2u);
  const Calls other(other_);
  for (const AnsiText& path : {"k\\Key10000"_ansi, "k\\Key10001"_ansi, "k"_ansi})
    ASSERT_EQ(other.Delete(path), kSuccess);
  EXPECT_EQ(Value(0), "1018");
  EXPECT_EQ(Subkey(0), "1018");
  ASSERT_EQ(other.Create("k\\Key10000"_ansi), kSuccess);
  ASSERT_EQ(other.Set("k"_ansi, "v"_ansi, "x"), kSuccess);
  WaitUntilRemembered();
  EXPECT_EQ(Value(0), "1018");
  EXPECT_EQ(Subkey(0), "1018");
}

TEST_F(RegistryListing, RightsThatAreTakenAway_AreMissedByTheNextIndex) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  SetValues(2);
  CreateKeys(2);
  for (const fs::path& folder : {stored_.folder(), stored_.Root(), stored_.Key("k")}) {
    fs::permissions(folder, static_cast<fs::perms>(0755));
  }
  fs::permissions(stored_.ValuesFile("k"), static_cast<fs::perms>(0644));
  WaitUntilRemembered();
  EXPECT_EQ(testing::AnswerOfChild([&]() -> std::string {
              if (::setgroups(0, nullptr) != 0 || ::setegid(kNobody) != 0) return "can not change the group";
              const auto as = [&](uid_t user) { return ::seteuid(0) == 0 && ::seteuid(user) == 0; };
              std::string told;
              const auto tell = [&] {
                told += as(kNobody) ? Value(0) + " " + Subkey(0) + "; " : "can not change user";
              };
              tell();
              tell();
              as(0);
              ::chmod(stored_.ValuesFile("k").c_str(), 0600);
              ::chmod(stored_.Key("k").c_str(), 0711);
              tell();
              as(0);
              return told + Value(1) + " " + Subkey(1);
            }),
            "V10000=0 key10000; V10000=0 key10000; 5 5; V10001=1 Key10001");
}

TEST_F(RegistryListing, NameThatCannotBeRead_IsTheFoldersUntilItCan) {
  CreateKeys(300);
  std::vector<std::string> files;
  for (int i = 0; i < 300; ++i) {
    const fs::path file = stored_.Key("k") / ("key" + std::to_string(10000 + i)) / "%values";
    files.push_back(file);
    fs::rename(file, file.string() + "x");
  }
  TakeCount();
  for (int round = 0; round < 2; ++round) {
    const std::vector<std::string> names = Subkeys();
    ASSERT_EQ(names.size(), 300u);
    EXPECT_EQ(names[0], "key10000");
    EXPECT_EQ(names[299], "key10299");
  }
  EXPECT_LE(TakeCount().calls, 3u * 300u * 30u) << "each is tried a few times, however many there are";
  for (const std::string& file : files) fs::rename(file + "x", file);
  EXPECT_EQ(Subkeys(), [] {
    std::vector<std::string> names;
    for (int i = 0; i < 300; ++i) names.push_back("Key" + std::to_string(10000 + i));
    return names;
  }());
}

TEST_F(RegistryListing, PredefinedRoot_IsRememberedUntilItIsClosed) {
  const Calls other(other_);
  for (int i = 0; i < 50; ++i) ASSERT_EQ(other.Create(Numbered("Key", i)), kSuccess);
  WaitUntilRemembered();
  const auto list = [&] {
    AnsiText name;
    std::uint32_t count = 0;
    while (stored_.registry().EnumKey(kHkeyLocalMachine, count, name) == kSuccess) ++count;
    return count;
  };
  EXPECT_EQ(list(), 51u);
  TakeCount();
  EXPECT_EQ(list(), 51u);
  EXPECT_EQ(TakeCount().calls, 0u);
  EXPECT_EQ(stored_.registry().CloseKey(kHkeyLocalMachine), kSuccess);
  EXPECT_EQ(list(), 51u);
  EXPECT_GT(TakeCount().calls, 50u);
}

// All at once, and index by index: the same values and names in the same order.
TEST_F(RegistryListing, KeyAsAWhole_IsWhatTheIndexesTell) {
  SetValues(30);
  CreateKeys(30);
  const Calls other(other_);
  ASSERT_EQ(other.Set("k"_ansi, ""_ansi, "unnamed"), kSuccess);
  ASSERT_EQ(other.Set("k"_ansi, "v10007"_ansi, "again"), kSuccess);
  ASSERT_EQ(other.DeleteValue("k"_ansi, "V10008"_ansi), kSuccess);
  ASSERT_EQ(other.Create("k\\"_ansi + AnsiText(std::string(250, '\xC8'))), kSuccess);
  testing::WriteFile(stored_.Key("k") / "note", "x");
  std::vector<std::string> values;
  TakeCount();
  ASSERT_EQ(stored_.registry().ReadValues(key_,
                                          [&](const WholeKeys::Value& value) {
                                            values.push_back(std::string(value.name) + "=" + std::string(value.data));
                                          }),
            kSuccess);
  EXPECT_LE(TakeCount().calls, 4u);
  EXPECT_EQ(values.size(), 30u);
  EXPECT_EQ(values, Values());
  std::vector<AnsiText> names;
  ASSERT_EQ(stored_.registry().ReadSubkeys(key_, names), kSuccess);
  std::vector<std::string> bytes;
  for (const AnsiText& name : names) bytes.push_back(name.bytes());
  EXPECT_EQ(bytes.size(), 31u);
  EXPECT_EQ(bytes, Subkeys());
}

TEST_F(RegistryListing, KeyAsAWhole_AnswersAsTheIndexesDo) {
  LinuxRegistry& registry = stored_.registry();
  std::vector<AnsiText> names{"junk"_ansi};
  const auto both = [&](KeyHandle key) {
    const Status values = registry.ReadValues(key, [](const WholeKeys::Value&) { ADD_FAILURE() << "there is none"; });
    return testing::InOrder({values, registry.ReadSubkeys(key, names), std::to_string(names.size())});
  };
  EXPECT_EQ(both(4711), "6 6 1");
  EXPECT_EQ(both(kHkeyUsers), "0 0 0") << "a root that is yet to be made is empty";
  names = {"junk"_ansi};
  KeyHandle writing = 0;
  ASSERT_EQ(registry.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeySetValue, writing), kSuccess);
  EXPECT_EQ(both(writing), "5 5 1");
  ASSERT_EQ(Calls(other_).Delete("k"_ansi), kSuccess);
  EXPECT_EQ(both(key_), "1018 1018 1");
  EXPECT_EQ(registry.CloseKey(writing), kSuccess);
}

std::string Told(const std::vector<WholeKeys::ValueChange>& changes) {
  std::string told;
  for (const WholeKeys::ValueChange& change : changes) told += change.deleted.value_or("-") + " ";
  return told;
}

// In their order, as if each were a call of its own.
TEST_F(RegistryListing, ChangesAtOnce_LeaveWhatTheCallsWouldOneByOne) {
  KeyHandle key = 0;
  ASSERT_EQ(stored_.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key), kSuccess);
  std::vector<WholeKeys::ValueChange> changes{{"Nome", false, kRegSz, "one", {}},
                                              {"b", false, kRegDword, "1234", {}},
                                              {"", false, kRegSz, "unnamed", {}},
                                              {"missing", true, 0, {}, {}},
                                              {"NOME", false, kRegSz, "two", {}},
                                              {"x", false, kRegSz, "x", {}},
                                              {"X", true, 0, {}, {}},
                                              {std::string_view("y\0z", 3), false, kRegSz, "y", {}},
                                              {"B", true, 0, {}, {}},
                                              {"B", false, kRegBinary, "again", {}}};
  ASSERT_EQ(stored_.registry().ChangeValues(key, changes), kSuccess);
  EXPECT_EQ(Told(changes), "- - - - - - x - b - ");
  EXPECT_THAT(Values(), ElementsAre("=unnamed", "B=again", "Nome=two", "y=y"));
  changes = {{"zz", false, kRegSz, "last", {}},
             {"nome", true, 0, {}, {}},
             {"A", false, kRegSz, "first", {}},
             {"Y", false, kRegSz, "kept as it was spelt", {}}};
  ASSERT_EQ(stored_.registry().ChangeValues(key, changes), kSuccess);
  EXPECT_EQ(Told(changes), "- Nome - - ");
  EXPECT_THAT(Values(), ElementsAre("=unnamed", "A=first", "B=again", "y=kept as it was spelt", "zz=last"));
  changes = {{"a", true, 0, {}, {}}};
  ASSERT_EQ(stored_.registry().ChangeValues(key, changes), kSuccess);
  EXPECT_THAT(Values(), ElementsAre("=unnamed", "B=again", "y=kept as it was spelt", "zz=last"));
  EXPECT_THAT(stored_.Findings(), ::testing::IsEmpty());
  EXPECT_EQ(stored_.registry().CloseKey(key), kSuccess);
}

TEST_F(RegistryListing, ChangesAtOnce_CostOneReplacementHoweverMany) {
  KeyHandle key = 0;
  ASSERT_EQ(stored_.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key), kSuccess);
  for (const int count : {2, 5000}) {
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.push_back(Numbered("V", i).bytes());
    std::vector<WholeKeys::ValueChange> changes;
    for (const std::string& name : names) changes.push_back({name, false, kRegSz, name, {}});
    TakeCount();
    ASSERT_EQ(stored_.registry().ChangeValues(key, changes), kSuccess);
    const testing::CallCount cost = TakeCount();
    EXPECT_EQ(cost.syncs, 2u) << "the file and its folder";
    EXPECT_LE(cost.calls, 30u) << count;
    EXPECT_EQ(Values().size(), static_cast<std::size_t>(count));
  }
  std::vector<WholeKeys::ValueChange> nothing{{"missing", true, 0, {}, {}}};
  TakeCount();
  EXPECT_EQ(stored_.registry().ChangeValues(key, nothing), kSuccess);
  EXPECT_EQ(TakeCount().syncs, 0u);
  EXPECT_EQ(stored_.registry().CloseKey(key), kSuccess);
}

TEST_F(RegistryListing, ChangesAtOnce_AnswerAsSetValueDoes) {
  LinuxRegistry& registry = stored_.registry();
  const std::string tooLong(16384, 'n');
  const auto change = [&](KeyHandle key, const std::string& name) {
    std::vector<WholeKeys::ValueChange> changes{{"a", false, kRegSz, "x", {}}, {name, false, kRegSz, "y", {}}};
    return registry.ChangeValues(key, changes);
  };
  EXPECT_EQ(change(4711, "b"), kInvalidHandle);
  EXPECT_EQ(change(key_, "b"), kAccessDenied) << "a handle for reading";
  KeyHandle key = 0;
  ASSERT_EQ(registry.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key), kSuccess);
  EXPECT_EQ(change(key, tooLong), kInvalidParameter);
  EXPECT_THAT(Values(), ::testing::IsEmpty());
  const std::string content = testing::FileContent(stored_.ValuesFile("k"));
  testing::WriteFile(stored_.ValuesFile("k"), "damaged");
  EXPECT_EQ(change(key, "b"), kRegistryCorrupt);
  EXPECT_EQ(testing::FileContent(stored_.ValuesFile("k")), "damaged");
  testing::WriteFile(stored_.ValuesFile("k"), content);
  EXPECT_EQ(change(kHkeyUsers, "b"), kSuccess) << "the first change makes the root";
  ASSERT_EQ(Calls(other_).Delete("k"_ansi), kSuccess);
  EXPECT_EQ(change(key, "b"), kKeyDeleted);
  EXPECT_EQ(registry.CloseKey(key), kSuccess);
}

// A key that is deleted right after the folder was read is not among the names.
TEST_F(RegistryListing, KeyThatVanishesMeanwhile_IsLeftOutOfTheWhole) {
  CreateKeys(3);
  int reads = 0;
  testing::BeforeEach(testing::Moment::Read, [&] {
    // The first one is of the key itself, once its folder is listed.
    if (++reads > 1) return;
    ASSERT_EQ(Calls(other_).Delete("k\\Key10001"_ansi), kSuccess);
  });
  std::vector<AnsiText> names;
  const Status status = stored_.registry().ReadSubkeys(key_, names);
  testing::BeforeEach(testing::Moment::Read, nullptr);
  EXPECT_EQ(status, kSuccess);
  EXPECT_THAT(names, ElementsAre("Key10000"_ansi, "Key10002"_ansi));
}

TEST_F(RegistryListing, CallThatFails_LeavesNothingWrongBehind) {
  SetValues(5);
  CreateKeys(5);
  const std::vector<std::string> values = Values();
  const std::vector<std::string> subkeys = Subkeys();
  std::size_t failed = 0;
  bool reached = true;
  for (std::size_t point = 0; reached; ++point) {
    LinuxRegistry registry(stored_.folder());
    KeyHandle key = 0;
    ASSERT_EQ(registry.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeyRead, key), kSuccess);
    testing::PlanFault(point, testing::Fault::InputOutput);
    std::vector<std::string> seenValues;
    std::vector<std::string> seenSubkeys;
    for (std::uint32_t i = 0; i < 5; ++i) {
      AnsiText name;
      std::uint32_t type = 0;
      std::string data;
      if (registry.EnumValue(key, i, name, type, data) == kSuccess) seenValues.push_back(name.bytes() + "=" + data);
      if (registry.EnumKey(key, i, name) == kSuccess) seenSubkeys.push_back(name.bytes());
    }
    reached = testing::EndFaults();
    if (seenValues != values || seenSubkeys != subkeys) ++failed;
    // What one failed call did not give, the next ones do.
    ASSERT_GE(seenValues.size() + seenSubkeys.size(), 9u) << point;
    for (const std::string& value : seenValues) ASSERT_THAT(values, ::testing::Contains(value)) << point;
    for (const std::string& name : seenSubkeys) {
      ASSERT_THAT(subkeys, ::testing::Contains(::testing::StrCaseEq(name))) << point;
    }
    registry.CloseKey(key);
  }
  EXPECT_GT(failed, 3u);
}

TEST(HandleTable, WhatAHandleRemembers_IsFreedWithItAndReplacedByTheNext) {
  HandleTable table;
  const KeyHandle handle = table.Add({});
  auto values = std::make_shared<CachedKey>();
  auto subkeys = std::make_shared<SubkeyList>();
  const std::weak_ptr<CachedKey> first = values;
  const std::weak_ptr<SubkeyList> listed = subkeys;
  table.RememberValues(handle, std::move(values));
  table.RememberSubkeys(handle, std::move(subkeys));
  EXPECT_EQ(table.Values(handle), first.lock());
  EXPECT_EQ(table.Subkeys(handle), listed.lock());
  values = std::make_shared<CachedKey>();
  const std::weak_ptr<CachedKey> second = values;
  table.RememberValues(handle, std::move(values));
  EXPECT_TRUE(first.expired());
  EXPECT_FALSE(second.expired());
  EXPECT_TRUE(table.Remove(handle));
  EXPECT_TRUE(second.expired());
  EXPECT_TRUE(listed.expired());
  // Another thread was listing while the handle was closed.
  table.RememberValues(handle, std::make_shared<CachedKey>());
  EXPECT_EQ(table.Values(handle), nullptr);
  EXPECT_FALSE(table.Remove(handle));
}

}  // namespace
}  // namespace nerio::platform
