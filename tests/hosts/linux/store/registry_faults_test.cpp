#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_cache.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::EndFaults;
using testing::Fault;
using ::testing::IsEmpty;
using testing::PlanFault;
using testing::StoredRegistry;

// A change, and how to tell whether it is done. What `State` answers is "old" before it and "new" after it.
struct Change {
  const char* name;
  std::function<Status(const Calls&)> make;
  std::function<std::string(const Calls&)> state;
};

std::string OldOrNew(bool isOld, bool isNew, const std::string& otherwise) {
  return isOld ? "old" : isNew ? "new" : "neither: " + otherwise;
}

// Sets two values and deletes one, all of them or none.
Status ChangeTogether(const Calls& calls) {
  KeyHandle key = 0;
  Status status = calls.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key);
  if (status != kSuccess) return status;
  std::vector<WholeKeys::ValueChange> changes{
      {"v", false, kRegSz, "after", {}}, {"gone", true, 0, {}, {}}, {"w", false, kRegSz, "new", {}}};
  status = dynamic_cast<WholeKeys&>(calls.registry()).ChangeValues(key, changes);
  calls.registry().CloseKey(key);
  return status;
}

std::vector<Change> Changes() {
  const auto setTo = [](const std::string& data) {
    return [data](const Calls& calls) { return calls.Set("k"_ansi, "v"_ansi, data); };
  };
  const auto isSetTo = [](const std::string& data) {
    return [data](const Calls& calls) {
      const std::string value = calls.Get("k"_ansi, "v"_ansi);
      return OldOrNew(value == "before", value == data, value.substr(0, 20));
    };
  };
  const auto keyAppears = [](const AnsiText& path) {
    return [path](const Calls& calls) {
      const Status status = calls.Open(path);
      return OldOrNew(status == kFileNotFound, status == kSuccess, std::to_string(NumberOf(status)));
    };
  };
  const std::string rewritten(6000, 'r');
  const std::string zeros(1200, '\0');
  const std::string sectors(1500, 's');
  return {
      {"overwrite", setTo("after"), isSetTo("after")},
      {"overwrite over several sectors", setTo(sectors), isSetTo(sectors)},
      {"overwrite that rewrites the file", setTo(rewritten), isSetTo(rewritten)},
      {"overwrite with zeros", setTo(zeros), isSetTo(zeros)},
      {"delete value", [](const Calls& calls) { return calls.DeleteValue("k"_ansi, "v"_ansi); },
       [](const Calls& calls) {
         const std::string value = calls.Get("k"_ansi, "v"_ansi);
         return OldOrNew(value == "before", value == "[2]", value);
       }},
      {"many values at once", ChangeTogether,
       [](const Calls& calls) {
         const std::string values = testing::InOrder({calls.Get("k"_ansi, "v"_ansi), calls.Get("k"_ansi, "w"_ansi),
                                                      calls.Get("k"_ansi, "gone"_ansi).substr(0, 4)});
         return OldOrNew(values == "before [2] here", values == "after new [2]", values);
       }},
      {"create", [](const Calls& calls) { return calls.Create("k\\new"_ansi); }, keyAppears("k\\new"_ansi)},
      {"create two levels", [](const Calls& calls) { return calls.Create("k\\new\\below"_ansi); },
       keyAppears("k\\new\\below"_ansi)},
      {"delete", [](const Calls& calls) { return calls.Delete("k\\doomed"_ansi); },
       [](const Calls& calls) {
         const Status status = calls.Open("k\\doomed"_ansi);
         return OldOrNew(status == kSuccess, status == kFileNotFound, std::to_string(NumberOf(status)));
       }},
  };
}

void Prepare(const Calls& calls) {
  ASSERT_EQ(calls.Create("k\\doomed"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "other"_ansi, "kept"), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "gone"_ansi, "here"), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "before"), kSuccess);
}

std::ptrdiff_t OpenDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

class RegistryFaults : public ::testing::TestWithParam<Fault> {};

TEST_P(RegistryFaults, EachSystemCallInTurn_LeavesTheOldStateOrTheNewOne) {
  for (const Change& change : Changes()) {
    SCOPED_TRACE(change.name);
    std::size_t failed = 0;
    std::size_t points = 0;
    for (bool reached = true; reached; ++points) {
      StoredRegistry stored;
      const Calls calls = stored.calls();
      Prepare(calls);
      ASSERT_EQ(change.state(calls), "old");
      const auto descriptors = OpenDescriptors();
      PlanFault(points, GetParam());
      const Status status = change.make(calls);
      reached = EndFaults();
      if (status != kSuccess) ++failed;
      ASSERT_TRUE(status == kSuccess || reached) << status;

      const std::string state = change.state(calls);
      ASSERT_TRUE(state == "new" || (status != kSuccess && state == "old")) << points << ": " << status << " " << state;
      // What was written into the zeros is taken back, also when only its sync failed.
      const bool inPlace = change.name == std::string("overwrite") || change.name == std::string("delete value");
      ASSERT_TRUE(!inPlace || status == kSuccess || GetParam() == Fault::FromNowOn || state == "old") << points;
      ASSERT_EQ(calls.Get("k"_ansi, "other"_ansi), "kept") << points;
      ASSERT_EQ(OpenDescriptors(), descriptors) << points;
      for (const std::string& finding : stored.Findings()) ASSERT_TRUE(finding.starts_with("leftover:")) << finding;
      // Whatever the fault left, it is in nobody's way.
      const Status again = change.make(calls);
      ASSERT_TRUE(again == kSuccess || (state == "new" && again == kFileNotFound)) << points << ": " << again;
      ASSERT_EQ(change.state(calls), "new") << points;
      ASSERT_EQ(calls.Set("k"_ansi, "other"_ansi, "kept"), kSuccess);
      ASSERT_EQ(calls.Set(""_ansi, "any"_ansi, "x"), kSuccess);
      ASSERT_THAT(stored.Findings(), IsEmpty()) << points;
      ASSERT_LT(points, 500u);
    }
    EXPECT_GT(points, 10u);
    const bool harmless = GetParam() == Fault::Interrupted || GetParam() == Fault::Short;
    const bool hasWrites = change.name != std::string("delete");
    if (harmless || (GetParam() == Fault::ShortThenNoSpace && !hasWrites)) {
      EXPECT_EQ(failed, 0u) << "what a signal cut short goes on";
    } else {
      EXPECT_GT(failed, 0u);
    }
  }
}

std::string NameOf(const ::testing::TestParamInfo<Fault>& tested) {
  switch (tested.param) {
    case Fault::InputOutput:
      return "InputOutput";
    case Fault::NoSpace:
      return "NoSpace";
    case Fault::NoDescriptor:
      return "NoDescriptor";
    case Fault::Interrupted:
      return "Interrupted";
    case Fault::Short:
      return "Short";
    case Fault::ShortThenNoSpace:
      return "ShortThenNoSpace";
    case Fault::NothingToRead:
      return "NothingToRead";
    case Fault::FromNowOn:
      return "FromNowOn";
    case Fault::NoSyncs:
      return "NoSyncs";
    case Fault::ReadOnlySyncs:
      return "ReadOnlySyncs";
    case Fault::NoRenames:
      return "NoRenames";
  }
  return "";
}

INSTANTIATE_TEST_SUITE_P(Faults, RegistryFaults,
                         ::testing::Values(Fault::InputOutput, Fault::NoSpace, Fault::NoDescriptor, Fault::Interrupted,
                                           Fault::Short, Fault::ShortThenNoSpace, Fault::FromNowOn),
                         NameOf);

// A file that is much too long is replaced after the change; the change counts whether that succeeds or not.
TEST(RegistryFaultsOfTheKernel, FileThatCannotBeShortened_KeepsTheChangeThatMadeItTooLong) {
  std::size_t longFiles = 0;
  std::size_t failed = 0;
  bool reached = true;
  for (std::size_t point = 0; reached; ++point) {
    StoredRegistry stored;
    const Calls calls = stored.calls();
    Prepare(calls);
    ASSERT_EQ(calls.Set("k"_ansi, "large"_ansi, std::string(100'000, 'x')), kSuccess);
    PlanFault(point, Fault::NoSpace);
    const Status status = calls.DeleteValue("k"_ansi, "large"_ansi);
    reached = EndFaults();
    if (status != kSuccess) ++failed;
    ASSERT_EQ(calls.Get("k"_ansi, "large"_ansi), status == kSuccess ? "[2]" : std::string(100'000, 'x')) << point;
    ASSERT_EQ(calls.Get("k"_ansi, "other"_ansi), "kept") << point;
    if (fs::file_size(stored.ValuesFile("k")) > 16'384 && status == kSuccess) ++longFiles;
    ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "after"), kSuccess) << point;
    ASSERT_THAT(stored.Findings(), IsEmpty()) << point;
    ASSERT_LE(fs::file_size(stored.ValuesFile("k")), status == kSuccess ? 16'384u : 300'000u) << point;
  }
  EXPECT_GT(failed, 3u);
  EXPECT_GT(longFiles, 5u);
}

// Without openat2 the folders are walked step by step, to the same end.
// Where there is no room to rename the key's folder, a note in the file deletes the key; not in a file with a second name.
TEST(RegistryFaultsOfTheKernel, DeletionOnAFullDisk_LeavesAFileWithASecondNameAsItIs) {
  bool reached = true;
  int deletions = 0;
  for (std::uint64_t nth = 0; reached; ++nth) {
    StoredRegistry stored;
    const Calls calls = stored.calls();
    ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
    ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "x"), kSuccess);
    const fs::path other = stored.folder() / "snapshot";
    fs::create_hard_link(stored.ValuesFile("k"), other);
    const std::string before = testing::FileContent(other);
    PlanFault(nth, Fault::NoSpace);
    const Status deleted = calls.Delete("k"_ansi);
    reached = EndFaults();
    if (reached && deleted == kSuccess) ++deletions;
    if (deleted == kSuccess) {
      EXPECT_EQ(calls.Open("k"_ansi), kFileNotFound) << nth;
    }
    EXPECT_EQ(testing::FileContent(other), before) << nth;
  }
  EXPECT_GT(deletions, 0);
}

// The deletion goes on where the folder cannot be renamed, and may be killed at any moment of that.
TEST(RegistryFaultsOfTheKernel, DeletionOnAFullDiskThatIsKilled_LeavesTheKeyWholeOrGone) {
  bool reached = true;
  int rests = 0;
  for (std::uint64_t nth = 0; reached; ++nth) {
    bool killed = true;
    for (std::size_t moment = 1; killed; ++moment) {
      StoredRegistry stored;
      const Calls calls = stored.calls();
      ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
      ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "x"), kSuccess);
      KeyHandle opened = 0;
      ASSERT_EQ(calls.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, opened), kSuccess);
      testing::RecordDisk();
      testing::DieAfter(moment);
      PlanFault(nth, Fault::NoSpace);
      LinuxRegistry(stored.folder()).DeleteKey(kHkeyLocalMachine, "k"_ansi);
      reached = EndFaults();
      killed = moment <= testing::EndRecording().size();
      SCOPED_TRACE(std::to_string(nth) + ", " + std::to_string(moment));
      EXPECT_THAT(calls.Get("k"_ansi, "v"_ansi), ::testing::AnyOf("x", "[2]"));
      for (const std::string& finding : stored.Findings()) {
        EXPECT_THAT(finding, ::testing::StartsWith("leftover:"));
        if (finding.find("/k:0:") != finding.npos) ++rests;
      }
      // What is left is no key, and in nobody's way.
      if (calls.Open("k"_ansi, kKeyRead) == kFileNotFound) {
        EXPECT_EQ(calls.registry().SetValue(opened, "w"_ansi, 0, kRegSz, std::string("x")), kKeyDeleted);
        EXPECT_EQ(calls.registry().DeleteKey(opened, ""_ansi), kKeyDeleted);
        EXPECT_EQ(calls.Delete("k"_ansi), kFileNotFound);
      }
      EXPECT_EQ(calls.Create("k"_ansi), kSuccess);
      EXPECT_EQ(calls.Set("k"_ansi, "w"_ansi, "new"), kSuccess);
      EXPECT_EQ(calls.Delete("k"_ansi), kSuccess);
      EXPECT_THAT(stored.Findings(), IsEmpty());
    }
  }
  EXPECT_GT(rests, 3);
}

// A damaged file that a repair kept is for somebody to remove by hand; it holds no key together.
TEST(RegistryFaultsOfTheKernel, DeletionOnAFullDiskOfARepairedKey_LeavesNoKey) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  testing::WriteFile(stored.Key("k") / "%left-kept", "damaged");
  PlanFault(0, Fault::NoRenames);
  EXPECT_EQ(calls.Delete("k"_ansi), kSuccess);
  EndFaults();
  EXPECT_EQ(fs::status(stored.Key("k")).permissions(), static_cast<fs::perms>(04700)) << "nobody gets a right by it";
  EXPECT_EQ(calls.Open("k"_ansi), kFileNotFound);
  EXPECT_EQ(calls.Delete("k"_ansi), kFileNotFound);
  EXPECT_EQ(calls.Create("k"_ansi), kSuccess);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "[2]");
  EXPECT_EQ(calls.Delete("k"_ansi), kSuccess);
}

TEST(RegistryFaultsOfTheKernel, WithoutOpenat2_WalksStepByStep) {
  testing::RefuseOpenat2(true);
  StoredRegistry stored;
  const Calls calls = stored.calls();
  EXPECT_EQ(calls.Create("a\\b\\c"_ansi), kSuccess);
  EXPECT_EQ(calls.Set("a\\b\\c"_ansi, "v"_ansi, "x"), kSuccess);
  EXPECT_EQ(calls.Get("a\\b\\c"_ansi, "v"_ansi), "x");
  EXPECT_EQ(calls.Open("a\\missing\\c"_ansi), kFileNotFound);
  AnsiText deep;
  for (int level = 0; level < 40; ++level) deep += AnsiText(std::string(200, 'd')) + "\\"_ansi;
  EXPECT_EQ(calls.Create(deep), kSuccess);
  EXPECT_EQ(calls.Open(deep), kSuccess);
  fs::rename(stored.ValuesFile("a/b/c"), stored.Key("a/b/copy"));
  fs::create_symlink("../copy", stored.ValuesFile("a/b/c"));
  EXPECT_EQ(calls.Get("a\\b\\c"_ansi, "v"_ansi), "[1015]") << "nor is the last name";
  fs::rename(stored.Key("a"), stored.folder() / "elsewhere");
  fs::create_directory_symlink("../elsewhere", stored.Key("a"));
  EXPECT_EQ(calls.Open("a\\b\\c"_ansi), kRegistryCorrupt) << "a link is followed no more than otherwise";
  testing::RefuseOpenat2(false);
}

TEST(RegistryFaultsOfTheKernel, FileCutToItsLengthWhileItIsRead_IsReadAsItIsThen) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  Prepare(calls);
  const fs::path file = stored.ValuesFile("k");
  const auto length = fs::file_size(file);
  fs::resize_file(file, length + 1);
  testing::BeforeNextSeek([&] { fs::resize_file(file, length); });
  EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "after"), kSuccess);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "after");
  EXPECT_EQ(calls.Get("k"_ansi, "other"_ansi), "kept");
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

// A change by way of an open key other than a root, which is looked at once more under the lock.
TEST(RegistryFaultsOfTheKernel, ReadThatFindsNothing_NeverLetsACallWaitForItsOwnLock) {
  using Call = Status (*)(RegistryApi&, KeyHandle);
  const auto createBelow = [](RegistryApi& registry, KeyHandle key) {
    KeyHandle created = 0;
    std::uint32_t disposition = 0;
    return registry.CreateKey(key, "new"_ansi, 0, ""_ansi, 0, testing::kFullAccess, {}, created, disposition);
  };
  const auto deleteBelow = [](RegistryApi& registry, KeyHandle key) { return registry.DeleteKey(key, "doomed"_ansi); };
  const auto deleteItself = [](RegistryApi& registry, KeyHandle key) { return registry.DeleteKey(key, ""_ansi); };
  for (const auto& [path, call] :
       {std::pair<AnsiText, Call>("k"_ansi, createBelow), {"k"_ansi, deleteBelow}, {"k\\doomed"_ansi, deleteItself}}) {
    SCOPED_TRACE(path);
    std::size_t refused = 0;
    bool reached = true;
    for (std::size_t point = 0; reached; ++point) {
      StoredRegistry stored;
      Prepare(stored.calls());
      KeyHandle key = 0;
      ASSERT_EQ(stored.registry().OpenKey(kHkeyLocalMachine, path, 0, testing::kFullAccess, key), kSuccess);
      PlanFault(point, Fault::NothingToRead);
      const Status status = call(stored.registry(), key);
      reached = EndFaults();
      if (status != kSuccess) {
        ++refused;
        ASSERT_EQ(status, kRegistryCorrupt) << point;
        ASSERT_EQ(call(stored.registry(), key), kSuccess) << point << ": nothing was changed";
      }
      ASSERT_THAT(stored.Findings(), IsEmpty()) << point;
    }
    EXPECT_GT(refused, 0u);
  }
}

TEST(RegistryFaultsOfTheKernel, ReadThatFindsNothing_IsMadeAgain) {
  StoredRegistry stored;
  Prepare(stored.calls());
  bool reached = true;
  for (std::size_t point = 0; reached; ++point) {
    PlanFault(point, Fault::NothingToRead);
    const std::string value = stored.calls().Get("k"_ansi, "v"_ansi);
    reached = EndFaults();
    EXPECT_EQ(value, "before") << point;
  }
}

// The kernel sets a file's time first, and may hold up the bytes for as long as the disk is busy.
TEST(RegistryFaultsOfTheKernel, KeyCachedWhileAWriteIsHeldUp_IsNotFoundOnceTheWriteIsDone) {
  StoredRegistry stored;
  Prepare(stored.calls());
  KeyFolder folder(stored.Root());
  folder.Enter("k");
  KeyCache cache;
  int heldUp = 0;
  const auto rest = [] { std::this_thread::sleep_for(std::chrono::milliseconds(40)); };
  testing::HoldUpWrites([&] {
    rest();
    for (int i = 0; i < 3; ++i) cache.RecordRead(folder);
    ++heldUp;
  });
  const Status status = stored.calls().Set("k"_ansi, "v"_ansi, "after");
  testing::HoldUpWrites(nullptr);
  ASSERT_EQ(status, kSuccess);
  EXPECT_GT(heldUp, 0);
  rest();
  ValueRecord value;
  const auto cached = cache.Find(folder);
  EXPECT_TRUE(!cached || (cached->Find("v", value) && value.data == "after")) << value.data;
  cache.RecordRead(folder);
  ASSERT_NE(cache.Find(folder), nullptr) << "in the end it is cached";
  ASSERT_TRUE(cache.Find(folder)->Find("v", value));
  EXPECT_EQ(value.data, "after");
}

// Writers, or somebody's copying, at work each time that somebody looks.
TEST(RegistryFaultsOfTheKernel, KeyThatIsWholeAtALaterLook_IsRead) {
  StoredRegistry stored;
  Prepare(stored.calls());
  const std::string sound = testing::FileContent(stored.ValuesFile("k"));
  for (const int spoilt : {1, 2, 3, 4, 8}) {
    int looks = 0;
    testing::BeforeEach(testing::Moment::Read, [&] {
      std::string content = sound;
      if (++looks <= spoilt) content[600] = static_cast<char>(content[600] + looks);
      testing::WriteFile(stored.ValuesFile("k"), content);
    });
    const std::string value = stored.calls().Get("k"_ansi, "v"_ansi);
    testing::BeforeEach(testing::Moment::Read, nullptr);
    EXPECT_EQ(value, "before") << spoilt;
    EXPECT_GT(looks, spoilt);
  }
}

TEST(RegistryFaultsOfTheKernel, FileOfOnePage_IsReadByOneCall) {
  StoredRegistry stored;
  Prepare(stored.calls());
  ASSERT_EQ(fs::file_size(stored.ValuesFile("k")), 4096u);
  Descriptor file;
  ASSERT_EQ(OpenByPath(stored.ValuesFile("k"), O_RDONLY, file), kSuccess);
  ValuesFile values;
  testing::TakeCount();
  EXPECT_EQ(values.Read(file.get()), kSuccess);
  EXPECT_EQ(testing::TakeCount().calls, 1u);
  EXPECT_EQ(values.Values().size(), 3u);
}

TEST(RegistryFaultsOfTheKernel, KeyThatIsChangedAgain_IsReadOnceForEachChange) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  Prepare(calls);
  ASSERT_EQ(calls.Set("k"_ansi, "other"_ansi, std::string(40'000, 'x')), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "first"), kSuccess);
  const auto size = fs::file_size(stored.ValuesFile("k"));
  const auto change = [&] { return calls.Set("k"_ansi, "v"_ansi, "next"); };
  const auto noChange = [&] { return calls.DeleteValue("k"_ansi, "missing"_ansi); };
  for (const std::function<Status()>& call : {std::function<Status()>(change), {change}, {noChange}, {noChange}}) {
    testing::TakeCount();
    call();
    const testing::CallCount count = testing::TakeCount();
    EXPECT_GE(count.bytesRead, size);
    EXPECT_LT(count.bytesRead, size * 3 / 2);
  }
}

// A file that is never the same twice, by the hand of somebody who means harm.
TEST(RegistryFaultsOfTheKernel, KeyThatIsSpoiltDifferentlyForEachLook_CostsReadersASecondInAll) {
  using Clock = std::chrono::steady_clock;
  StoredRegistry stored;
  Prepare(stored.calls());
  std::string content = testing::FileContent(stored.ValuesFile("k"));
  const char sound = content[600];
  int looks = 0;
  testing::BeforeEach(testing::Moment::Read, [&] {
    content[600] = static_cast<char>(sound + 1 + ++looks % 200);
    testing::WriteFile(stored.ValuesFile("k"), content);
  });
  const Clock::time_point start = Clock::now();
  for (int i = 0; i < 50; ++i) EXPECT_EQ(stored.calls().Get("k"_ansi, "v"_ansi), "[1015]");
  const auto taken = Clock::now() - start;
  testing::BeforeEach(testing::Moment::Read, nullptr);
  EXPECT_LT(taken, std::chrono::seconds(5)) << "each call for itself would have taken a second";
}

// Somebody puts another folder in the place of the key's, whenever its lock is about to be taken.
TEST(RegistryFaultsOfTheKernel, KeyThatIsAnotherOneEachTimeItIsLocked_AnswersBusyAtTheDeadline) {
  StoredRegistry stored;
  Prepare(stored.calls());
  int moved = 0;
  testing::BeforeEach(testing::Moment::Lock, [&] {
    const fs::path aside = stored.folder() / std::to_string(++moved);
    fs::rename(stored.Key("k"), aside);
    fs::copy(aside, stored.Key("k"), fs::copy_options::recursive);
  });
  KeyFolder folder(stored.Root());
  folder.Enter("k");
  LockedKey locked;
  const Status status = LockKey(folder, O_PATH, Deadline(std::chrono::milliseconds(100)), locked);
  testing::BeforeEach(testing::Moment::Lock, nullptr);
  EXPECT_EQ(status, kBusy);
  EXPECT_GT(moved, 1);
}

// Another process deletes the key of the handle after it was found there and before its lock is taken.
TEST(RegistryFaultsOfTheKernel, KeyOfTheHandleDeletedMeanwhile_AnswersKeyDeletedToACreation) {
  for (const bool isMadeAgain : {false, true}) {
    StoredRegistry stored;
    ASSERT_EQ(stored.calls().Create("k"_ansi), kSuccess);
    KeyHandle key = 0;
    ASSERT_EQ(stored.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key), kSuccess);
    LinuxRegistry other(stored.folder());
    std::optional<Status> deleted;
    testing::BeforeEach(testing::Moment::Lock, [&] {
      if (deleted) return;
      deleted = Calls(other).Delete("k"_ansi);
      if (isMadeAgain && deleted == kSuccess) deleted = Calls(other).Create("k"_ansi);
    });
    KeyHandle created = 0;
    std::uint32_t disposition = 0;
    const Status status = stored.registry().CreateKey(key, "below"_ansi, 0, AnsiText(), 0, testing::kFullAccess, {},
                                                      created, disposition);
    testing::BeforeEach(testing::Moment::Lock, nullptr);
    EXPECT_EQ(deleted, kSuccess);
    EXPECT_EQ(status, kKeyDeleted);
    EXPECT_EQ(stored.calls().Open("k"_ansi), isMadeAgain ? kSuccess : kFileNotFound);
    EXPECT_EQ(stored.calls().Open("k\\below"_ansi), kFileNotFound);
    EXPECT_EQ(stored.registry().CloseKey(key), kSuccess);
  }
}

TEST(RegistryFaultsOfTheKernel, FileSystemThatCannotKeepARenamingFromReplacing_TakesEveryChange) {
  for (const int error : {EINVAL, ENOSYS}) {
    StoredRegistry stored;
    const Calls calls = stored.calls();
    testing::RefuseRenameat2(error);
    EXPECT_EQ(calls.Create("k\\sub"_ansi), kSuccess) << error;
    EXPECT_EQ(calls.Set("k\\sub"_ansi, "v"_ansi, "x"), kSuccess) << error;
    EXPECT_EQ(calls.Get("k\\sub"_ansi, "v"_ansi), "x") << error;
    EXPECT_EQ(calls.Delete("k\\sub"_ansi), kSuccess) << error;
    testing::RefuseRenameat2(0);
    EXPECT_FALSE(fs::exists(stored.Key("k/sub"))) << error;
    EXPECT_THAT(stored.Findings(), IsEmpty()) << error;
  }
}

// Only what cannot be moved, or finds no room for it, is deleted where it lies.
TEST(RegistryFaultsOfTheKernel, FolderWhoseRenamingFails_IsDeletedWhereItLiesOrNotAtAll) {
  for (const auto& [error, answer] : {std::pair(EXDEV, kSuccess), {ENOSPC, kSuccess}, {EIO, kRegistryIoFailed}}) {
    StoredRegistry stored;
    const Calls calls = stored.calls();
    Prepare(calls);
    ASSERT_EQ(calls.Set("k\\doomed"_ansi, "v"_ansi, "x"), kSuccess);
    testing::RefuseRenameat2(error);
    EXPECT_EQ(calls.Delete("k\\doomed"_ansi), answer) << error;
    testing::RefuseRenameat2(0);
    EXPECT_EQ(calls.Get("k\\doomed"_ansi, "v"_ansi), answer == kSuccess ? "[2]" : "x") << error;
    EXPECT_THAT(stored.Findings(), IsEmpty()) << error;
  }
}

TEST(RegistryFaultsOfTheKernel, FileSystemThatDoesNotTellKinds_ListsTheSubkeysAllTheSame) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("a"_ansi), kSuccess);
  ASSERT_EQ(calls.Create("b"_ansi), kSuccess);
  testing::WriteFile(stored.Key("file"), "x");
  testing::HideKinds(true);
  const std::vector<AnsiText> subkeys = calls.SubKeys(""_ansi);
  testing::HideKinds(false);
  EXPECT_THAT(subkeys, ::testing::ElementsAre("a"_ansi, "b"_ansi));
}

// The child of a fork has copies of all descriptors; what it was not known to have a copy of would stay locked by it.
TEST(RegistryFaultsOfTheKernel, ProcessForkedWhileALockFileIsOpened_DoesNotKeepTheLockOfAKilledOne) {
  StoredRegistry stored;
  ASSERT_EQ(stored.calls().Create("k"_ansi), kSuccess);
  KeyFolder folder(stored.Root());
  folder.Enter("k");
  std::array<int, 2> alive{};
  std::array<int, 2> locked{};
  ASSERT_EQ(::pipe(alive.data()), 0);
  ASSERT_EQ(::pipe(locked.data()), 0);
  const auto untilTheEnd = [&] {
    char byte = 0;
    ::close(alive[1]);
    static_cast<void>(!::read(alive[0], &byte, 1));
    ::_exit(0);
  };
  const pid_t holder = ::fork();
  if (holder == 0) {
    bool forked = false;
    testing::BeforeEach(testing::Moment::Opened, [&] {
      if (std::exchange(forked, true)) return;
      if (::fork() == 0) untilTheEnd();
    });
    LockedKey key;
    const bool taken = LockKey(folder, O_PATH, Deadline(kChangeLimit), key) == kSuccess && forked;
    static_cast<void>(!::write(locked[1], taken ? "y" : "n", 1));
    untilTheEnd();
  }
  char taken = 0;
  EXPECT_EQ(::read(locked[0], &taken, 1), 1);
  EXPECT_EQ(taken, 'y');
  EXPECT_EQ(::kill(holder, SIGKILL), 0);
  EXPECT_EQ(::waitpid(holder, nullptr, 0), holder);
  LockedKey key;
  EXPECT_EQ(LockKey(folder, O_PATH, Deadline(std::chrono::milliseconds(300)), key), kSuccess);
  for (const int end : {alive[0], alive[1], locked[0], locked[1]}) ::close(end);
}

// Another process does something when this one is about to take its first lock.
std::optional<Status> AtTheFirstLock(const std::function<Status()>& act, const std::function<void()>& meanwhile) {
  std::optional<Status> done;
  testing::BeforeEach(testing::Moment::Lock, [&] {
    if (!done) done = act();
  });
  meanwhile();
  testing::BeforeEach(testing::Moment::Lock, nullptr);
  return done;
}

TEST(RegistryFaultsOfTheKernel, KeyOfThePathDeletedMeanwhile_IsCreatedAgain) {
  StoredRegistry stored;
  ASSERT_EQ(stored.calls().Create("a"_ansi), kSuccess);
  LinuxRegistry other(stored.folder());
  Status created = kBusy;
  EXPECT_EQ(AtTheFirstLock([&] { return Calls(other).Delete("a"_ansi); },
                           [&] { created = stored.calls().Create("a\\b"_ansi); }),
            kSuccess);
  EXPECT_EQ(created, kSuccess);
  EXPECT_EQ(stored.calls().Open("a\\b"_ansi), kSuccess);
}

TEST(RegistryFaultsOfTheKernel, RootMadeByAnotherMeanwhile_IsTheRootOfBoth) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  LinuxRegistry registry(folder.path());
  LinuxRegistry other(folder.path());
  Status set = kBusy;
  EXPECT_EQ(AtTheFirstLock([&] { return Calls(other).Set(""_ansi, "theirs"_ansi, "x"); },
                           [&] { set = Calls(registry).Set(""_ansi, "own"_ansi, "y"); }),
            kSuccess);
  EXPECT_EQ(set, kSuccess);
  EXPECT_EQ(Calls(registry).Get(""_ansi, "theirs"_ansi) + Calls(other).Get(""_ansi, "own"_ansi), "xy");
}

// What another user's folder above holds is synced as a whole where this user may have made something there.
TEST(RegistryFaultsOfTheKernel, RootBelowAFolderThatCannotBeRead_SyncsWhatThisUserMayHaveMadeThere) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a folder of another user";
  for (const auto& [mode, syncs] : {std::pair(0711u, 0), {0733u, 1}}) {
    const testing::TemporaryFolder folder(testing::MemoryFolder());
    fs::permissions(folder.path(), fs::perms(0755));
    const fs::path above = folder.path() / "above";
    fs::create_directories(above / "own");
    ASSERT_EQ(::chown((above / "own").c_str(), testing::kNobody, testing::kNobody), 0);
    fs::permissions(above, static_cast<fs::perms>(mode));
    const std::string answer = testing::AnswerOfChild([&]() -> std::string {
      if (::setgroups(0, nullptr) != 0 || ::setgid(testing::kNobody) != 0 || ::setuid(testing::kNobody) != 0)
        return "can not change user";
      LinuxRegistry registry(above / "own");
      testing::RecordDisk();
      const Status status = Calls(registry).Create("k"_ansi);
      const auto events = testing::EndRecording();
      return testing::InOrder(
          {status, std::to_string(std::count_if(events.begin(), events.end(), [](const auto& event) {
             return event.kind == testing::DiskEvent::Kind::SyncAll;
           }))});
    });
    EXPECT_EQ(answer, "0 " + std::to_string(syncs)) << mode;
  }
}

TEST(RegistryFaultsOfTheKernel, KeyThatIsTooLargeToBeKept_IsNotReadForIt) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  Prepare(calls);
  ASSERT_EQ(calls.Create("large"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("large"_ansi, "v"_ansi, std::string(9'000'000, 'x')), kSuccess);
  std::this_thread::sleep_for(std::chrono::milliseconds(40));
  for (const auto& [folder, isRead] : {std::pair<const char*, bool>("k", true), {"large", false}}) {
    KeyFolder path(stored.Root());
    path.Enter(folder);
    KeyCache cache;
    // The first call to the system fails, if there is one.
    PlanFault(0, Fault::InputOutput);
    for (int i = 0; i < 3; ++i) cache.RecordRead(path);
    EXPECT_EQ(EndFaults(), isRead) << folder;
  }
}

}  // namespace
}  // namespace nerio::platform
