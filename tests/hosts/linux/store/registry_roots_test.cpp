#include "nerio/hosts/linux/store/registry_roots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <thread>

#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;

TEST(RegistryRoots, ReadingAMissingRoot_FindsItEmptyAndMakesNothing) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  LinuxRegistry registry(folder.path() / "a/b");
  const Calls calls(registry);
  EXPECT_EQ(calls.Open("k"_ansi), kFileNotFound);
  EXPECT_EQ(calls.Open("\\k"_ansi), kBadPathname);
  KeyHandle opened = 0;
  EXPECT_EQ(registry.OpenKey(kHkeyClassesRoot, "\\"_ansi, 0, testing::kFullAccess, opened), kSuccess);
  EXPECT_EQ(registry.OpenKey(opened, "\\k"_ansi, 0, testing::kFullAccess, opened), kFileNotFound);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "[2]");
  EXPECT_EQ(calls.Get(""_ansi, "v"_ansi), "[2]");
  EXPECT_EQ(calls.Delete("k"_ansi), kFileNotFound);
  EXPECT_EQ(calls.DeleteValue(""_ansi, "v"_ansi), kFileNotFound);
  EXPECT_THAT(calls.SubKeys(""_ansi), ::testing::IsEmpty());
  AnsiText name;
  std::uint32_t type = 0;
  std::string data;
  EXPECT_EQ(registry.EnumKey(kHkeyUsers, 0, name), kNoMoreItems);
  EXPECT_EQ(registry.EnumValue(kHkeyUsers, 0, name, type, data), kNoMoreItems);
  EXPECT_EQ(CheckRegistry({folder.path() / "a/b"}).size(), 0u);
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(RegistryRoots, HandleOfAMissingRoot_WorksOnceAChangeHasMadeIt) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  LinuxRegistry registry(folder.path() / "a/b");
  KeyHandle root = 0;
  ASSERT_EQ(registry.OpenKey(kHkeyLocalMachine, ""_ansi, 0, testing::kFullAccess, root), kSuccess);
  EXPECT_TRUE(fs::is_empty(folder.path()));
  KeyHandle key = 0;
  std::uint32_t disposition = 0;
  ASSERT_EQ(registry.CreateKey(root, "k"_ansi, 0, ""_ansi, 0, testing::kFullAccess, {}, key, disposition), kSuccess);
  EXPECT_EQ(disposition, kRegCreatedNewKey);
  AnsiText name;
  EXPECT_EQ(registry.EnumKey(root, 0, name), kSuccess);
  EXPECT_EQ(name, "k"_ansi);
  EXPECT_EQ(Calls(registry).Open("k"_ansi), kSuccess);
  EXPECT_EQ(fs::status(folder.path() / "a/b").permissions(), static_cast<fs::perms>(0700));
  EXPECT_EQ(registry.DeleteKey(root, "k"_ansi), kSuccess);
}

TEST(RegistryRoots, ValueOfAMissingRoot_MakesIt) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  LinuxRegistry registry(folder.path());
  EXPECT_EQ(registry.SetValue(kHkeyUsers, "v"_ansi, 0, kRegSz, std::string("x")), kSuccess);
  EXPECT_TRUE(fs::exists(folder.path() / "HKEY_USERS/%values"));
}

TEST(RegistryRoots, FullDisk_IsToldAsSuch) {
  const testing::TemporaryFolder place;
  if (::mount("nerio", place.path().c_str(), "tmpfs", 0, "nr_inodes=2") != 0) GTEST_SKIP() << "no right to mount";
  LinuxRegistry registry(place.path() / "a/b/c");
  EXPECT_EQ(registry.SetValue(kHkeyUsers, "v"_ansi, 0, kRegSz, std::string("x")), kDiskFull);
  EXPECT_EQ(::umount(place.path().c_str()), 0);
}

TEST(RegistryRoots, LinkToNothingAmongTheFoldersAbove_IsAMissingFolder) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  fs::create_symlink("nothing", folder.path() / "link");
  LinuxRegistry registry(folder.path() / "link/below");
  EXPECT_EQ(registry.SetValue(kHkeyUsers, "v"_ansi, 0, kRegSz, std::string("x")), kFileNotFound);
}

TEST(RegistryRoots, UnusedPlace_IsTheOtherOneOfTheMachineAndTheUser) {
  for (const char* named : {"", "/named"}) {
    const std::string places = testing::AnswerOfChild([&] {
      ::setenv("NERIO_REGISTRY", named, 1);
      ::setenv("XDG_DATA_HOME", "/data", 1);
      RegistryRoots roots({});
      PlaceReason reason{};
      std::string used;
      std::string unused;
      for (const KeyHandle root :
           std::initializer_list<KeyHandle>{kHkeyLocalMachine, kHkeyUsers, kHkeyCurrentUser, 1}) {
        unused += roots.UnusedPlace(root) + ";";
      }
      roots.Place(kHkeyLocalMachine, used);
      roots.Reason(reason);
      // Which of the two it is depends on the user who runs the tests.
      const std::string machine = "/var/lib/nerio/registry/";
      const std::string user = "/data/nerio/registry/";
      const bool isMachines = IsMachinesPlace(reason);
      const std::string& other = isMachines ? user : machine;
      const bool isRight = unused == other + "HKEY_LOCAL_MACHINE;" + other + "HKEY_USERS;;;" &&
                           used == (isMachines ? machine : user) + "HKEY_LOCAL_MACHINE";
      return isRight ? "the other" : used + ", not " + unused;
    });
    EXPECT_EQ(places, *named == '\0' ? "the other" : "/named/HKEY_LOCAL_MACHINE, not ;;;;");
  }
}

// The owner of the folder above swaps in a link as soon as a folder is made there.
TEST(RegistryRoots, LinkThatIsPutInPlaceOfANewFolder_IsNotFollowed) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  const fs::path victim = folder.path() / "victim";
  const fs::path home = folder.path() / "home";
  fs::create_directory(victim);
  fs::permissions(victim, static_cast<fs::perms>(0555));
  int swapped = 0;
  for (int round = 0; round < 300; ++round) {
    fs::remove_all(home);
    fs::create_directory(home);
    std::atomic<bool> done = false;
    std::jthread owner([&] {
      const std::string made = home / ".local";
      const std::string aside = home / "aside";
      while (!done) {
        if (::rename(made.c_str(), aside.c_str()) != 0) continue;
        swapped += ::symlink(victim.c_str(), made.c_str()) == 0 ? 1 : 0;
        return;
      }
    });
    LinuxRegistry registry(home / ".local/share");
    registry.SetValue(kHkeyUsers, "v"_ansi, 0, kRegSz, std::string("x"));
    done = true;
    owner.join();
    ASSERT_EQ(fs::status(victim).permissions(), static_cast<fs::perms>(0555)) << round;
  }
  EXPECT_GT(swapped, 0);
}

}  // namespace
}  // namespace nerio::platform
