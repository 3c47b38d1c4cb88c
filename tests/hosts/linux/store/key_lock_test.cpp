#include "nerio/hosts/linux/store/key_lock.h"

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

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_tree.h"
#include "nerio/hosts/linux/store/stored_key.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using testing::Calls;
using Clock = std::chrono::steady_clock;

using testing::kNobody;
// From now on, not from the start of the program.
Deadline Long() { return Deadline(kChangeLimit); }

class KeyLockTest : public ::testing::Test {
 protected:
  KeyLockTest() { EXPECT_EQ(stored_.calls().Create("k"_ansi), kSuccess); }

  Descriptor Folder() const {
    Descriptor folder;
    EXPECT_EQ(OpenByPath(stored_.Key("k"), O_PATH | O_DIRECTORY, folder), kSuccess);
    return folder;
  }
  fs::path File() const { return stored_.Key("k") / "%lock"; }
  unsigned ModeOfFile() const { return static_cast<unsigned>(fs::status(File()).permissions()); }
  static void SetMode(const fs::path& path, unsigned mode) { fs::permissions(path, static_cast<fs::perms>(mode)); }

  testing::StoredRegistry stored_;
};

// Who may change a folder can link a file of somebody else into it, under the name of the lock file.
TEST_F(KeyLockTest, FileWithASecondName_KeepsItsModeAndIsLocked) {
  const testing::TemporaryFolder elsewhere(testing::MemoryFolder());
  const fs::path other = elsewhere.path() / "other";
  testing::WriteFile(other, "x");
  ASSERT_EQ(::chmod(other.c_str(), 0640), 0);
  fs::remove(File());
  fs::create_hard_link(other, File());
  EXPECT_EQ(stored_.calls().Set("k"_ansi, "v"_ansi, "x"), kSuccess);
  EXPECT_EQ(ModeOfFile(), 0640u);
}

TEST_F(KeyLockTest, HeldByAnother_AnswersBusyAtTheDeadlineAndNotBefore) {
  KeyLock held;
  ASSERT_EQ(held.Take(Folder().get(), false, Long()), kSuccess);
  for (const int limit : {0, 20, 100}) {
    KeyLock wanted;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(wanted.Take(Folder().get(), false, Deadline(milliseconds(limit))), kBusy);
    EXPECT_GE(Clock::now() - start, milliseconds(limit));
    EXPECT_LT(Clock::now() - start, milliseconds(limit + 2000));
    EXPECT_FALSE(wanted.TryRead(Folder().get()));
  }
}

TEST_F(KeyLockTest, HeldByAReader_IsGrantedOnceTheReaderIsDone) {
  KeyLock held;
  ASSERT_TRUE(held.TryRead(Folder().get()));
  std::jthread reader([&] {
    std::this_thread::sleep_for(milliseconds(30));
    held = KeyLock();
  });
  KeyLock wanted;
  EXPECT_EQ(wanted.Take(Folder().get(), false, Long()), kSuccess);
}

TEST_F(KeyLockTest, ModeOfTheFile_IsThatOfTheFolderForThoseWhoMayWriteThere) {
  struct Case {
    unsigned folder;
    unsigned file;
  };
  for (const auto& [folder, file] : {Case{0700, 0600},
                                     {0750, 0600},
                                     {0755, 0600},
                                     {0711, 0600},
                                     {0500, 0600},
                                     {0770, 0660},
                                     {0775, 0660},
                                     {02775, 0660},
                                     {0777, 0666},
                                     {0707, 0606}}) {
    EXPECT_EQ(LockFileMode(folder, true), file) << folder;
    EXPECT_EQ(LockFileMode(folder, false), file & ~0060u) << folder;
  }
}

TEST_F(KeyLockTest, FileThatIsOpenToReaders_IsClosedToThemWhenItsOwnerTakesIt) {
  EXPECT_EQ(ModeOfFile(), 0600u);
  for (const unsigned folder : {0755u, 0770u, 0700u}) {
    SetMode(stored_.Key("k"), folder);
    SetMode(File(), 0666);
    KeyLock lock;
    ASSERT_EQ(lock.Take(Folder().get(), false, Long()), kSuccess);
    EXPECT_EQ(ModeOfFile(), LockFileMode(folder, true)) << folder;
  }
}

TEST_F(KeyLockTest, FileThatIsAsItShouldBe_IsNotWrittenToByTakingIt) {
  for (const unsigned folder : {0700u, 0755u, 0777u}) {
    SetMode(stored_.Key("k"), folder);
    SetMode(File(), LockFileMode(folder, true));
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(::stat(File().c_str(), &before), 0);
    // Longer than the step of the time that the kernel gives to changes.
    std::this_thread::sleep_for(milliseconds(20));
    KeyLock lock;
    ASSERT_EQ(lock.Take(Folder().get(), false, Long()), kSuccess);
    ASSERT_EQ(::stat(File().c_str(), &after), 0);
    EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec) << folder;
  }
}

TEST_F(KeyLockTest, FileOfAnotherGroupThanItsFolder_IsGivenToTheGroupThatMayWriteThere) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder to any group";
  ASSERT_EQ(::chown(stored_.Key("k").c_str(), 0, kNobody), 0);
  SetMode(stored_.Key("k"), 0770);
  KeyLock lock;
  ASSERT_EQ(lock.Take(Folder().get(), false, Long()), kSuccess);
  struct stat entry {};
  ASSERT_EQ(::stat(File().c_str(), &entry), 0);
  EXPECT_EQ(entry.st_gid, kNobody);
  EXPECT_EQ(entry.st_mode & 07777, 0660u);
}

TEST_F(KeyLockTest, NewKeyInOneThatOthersRead_HasALockOfItsOwnersOwn) {
  SetMode(stored_.Key("k"), 0755);
  ASSERT_EQ(stored_.calls().Create("k\\sub"_ansi), kSuccess);
  EXPECT_EQ(fs::status(stored_.Key("k/sub")).permissions(), static_cast<fs::perms>(0755));
  EXPECT_EQ(fs::status(stored_.ValuesFile("k/sub")).permissions(), static_cast<fs::perms>(0644));
  EXPECT_EQ(fs::status(stored_.Key("k/sub") / "%lock").permissions(), static_cast<fs::perms>(0600));
}

TEST_F(KeyLockTest, ChangesOfAKeyThatIsLocked_AnswerBusyAtTheirDeadline) {
  KeyFolder folder(stored_.Root());
  folder.Enter("k");
  ValuesFile values;
  ASSERT_EQ(ReadKey(folder, Extent::Header, values), kSuccess);
  const HandleTarget key{folder, values.header().id, testing::kFullAccess};
  KeyLock held;
  ASSERT_EQ(held.Take(Folder().get(), false, Long()), kSuccess);
  const auto soon = [] { return Deadline(milliseconds(20)); };
  KeyCache cache;
  HandleTarget created;
  bool isNew = false;
  EXPECT_EQ(StoreValue(cache, key, "v", kRegSz, "x", soon()), kBusy);
  EXPECT_EQ(RemoveValue(cache, key, "v", soon()), kBusy);
  EXPECT_EQ(RemoveKey(key, {}, soon()), kBusy);
  EXPECT_EQ(CreateOrOpenKey(cache, key, {"new"}, testing::kFullAccess, soon(), created, isNew), kBusy);
  EXPECT_FALSE(fs::exists(stored_.Key("k/new")));
}

TEST_F(KeyLockTest, CreationOfTheKeyOfTheHandleItself_SaysThatItWasThere) {
  KeyFolder folder(stored_.Root());
  folder.Enter("k");
  ValuesFile values;
  ASSERT_EQ(ReadKey(folder, Extent::Header, values), kSuccess);
  KeyCache cache;
  HandleTarget opened;
  bool isNew = true;
  EXPECT_EQ(CreateOrOpenKey(cache, {folder, values.header().id, testing::kFullAccess}, {}, testing::kFullAccess, Long(),
                            opened, isNew),
            kSuccess);
  EXPECT_FALSE(isNew);
}

// Somebody who may read a key and not change it.
class TwoUsers : public KeyLockTest {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    EXPECT_EQ(stored_.calls().Set("k"_ansi, "v"_ansi, "old"), kSuccess);
    for (const fs::path& path : {stored_.folder(), stored_.Root(), stored_.Key("k")}) SetMode(path, 0755);
    for (const char* key : {"", "k"}) SetMode(stored_.ValuesFile(key), 0644);
  }

  // Runs `body` as another user.
  static std::string AsNobody(const std::function<std::string()>& body) {
    return testing::AnswerOfChild([&]() -> std::string {
      if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
        return "can not change user";
      return body();
    });
  }
};

TEST_F(TwoUsers, Reader_HasNoRightOnTheLockAndLosesNothingByIt) {
  EXPECT_EQ(AsNobody([&] {
              KeyLock lock;
              LinuxRegistry registry(stored_.folder());
              return testing::InOrder({lock.TryRead(Folder().get()) ? "locked" : "refused",
                                       Calls(registry).Get("k"_ansi, "v"_ansi),
                                       std::to_string(CheckRegistry({stored_.folder()}).size())});
            }),
            "refused old 0");
  // What looks cut off is read without the lock as well as with it.
  std::string content = testing::FileContent(stored_.ValuesFile("k"));
  content[3000] = 'x';
  testing::WriteFile(stored_.ValuesFile("k"), content);
  EXPECT_EQ(AsNobody([&] {
              LinuxRegistry registry(stored_.folder());
              return Calls(registry).Get("k"_ansi, "v"_ansi);
            }),
            "old");
}

TEST_F(TwoUsers, LeftoverInAKeyThatAnotherUserChanges_IsNamedOnceItIsOld) {
  fs::create_directory(stored_.Key("k") / "%make");
  SetMode(stored_.Key("k") / "%make", 0755);
  const auto findings = [&] { return std::to_string(stored_.Findings().size()); };
  EXPECT_EQ(AsNobody(findings), "0") << "its maker may be at work";
  EXPECT_EQ(findings(), "1");
}

TEST_F(TwoUsers, LockFilesThatAnOwnerLeavesOpen_AreNamedByTheDoctorAndMendedByTheOwner) {
  SetMode(File(), 0644);
  EXPECT_EQ(AsNobody([&] {
              return testing::InOrder({std::to_string(stored_.Findings().size()), stored_.Findings()[0]});
            }),
            "1 exposed:HKEY_LOCAL_MACHINE/k/%lock:0: can be locked by users who may not change the key, and so keep it "
            "from being changed; chmod go= mends it");
  EXPECT_EQ(stored_.Findings().size(), 0u) << "the next change of this user mends it";
  ASSERT_EQ(stored_.calls().Set("k"_ansi, "v"_ansi, "new"), kSuccess);
  EXPECT_EQ(ModeOfFile(), 0600u);
  EXPECT_EQ(AsNobody([&] { return std::to_string(stored_.Findings().size()); }), "0");
}

// The owner of one key spoils its values and keeps its lock for ever.
TEST_F(TwoUsers, OwnerOfADamagedKeyWhoHoldsItsLock_HoldsUpNoReader) {
  for (const fs::path& path : {stored_.Key("k"), stored_.ValuesFile("k"), File()})
    ASSERT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
  std::string content = testing::FileContent(stored_.ValuesFile("k"));
  content[20] = static_cast<char>(content[20] ^ 1);
  testing::WriteFile(stored_.ValuesFile("k"), content);
  KeyLock held;  // by another open file: whose process it is makes no difference
  ASSERT_EQ(held.Take(Folder().get(), false, Long()), kSuccess);
  const Clock::time_point start = Clock::now();
  LinuxRegistry registry(stored_.folder());
  const Calls calls(registry);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "[1015]");
  EXPECT_EQ(calls.Open("k"_ansi, kKeyRead), kRegistryCorrupt);
  EXPECT_THAT(calls.SubKeys(""_ansi), ::testing::ElementsAre("k"_ansi));
  EXPECT_THAT(stored_.Findings(), ::testing::ElementsAre(::testing::HasSubstr("damage:HKEY_LOCAL_MACHINE/k/%values:")));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace nerio::platform
