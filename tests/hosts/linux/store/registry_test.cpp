#include "nerio/hosts/linux/store/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/platform/conformance/registry_conformance.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::AnswerOfChild;
using testing::Calls;
using ::testing::ElementsAre;
using testing::InOrder;
using ::testing::IsEmpty;
using testing::kFullAccess;
using testing::StoredRegistry;
using testing::TemporaryFolder;

class RegistryInFolder final : public testing::RegistryUnderTest {
 public:
  RegistryApi& Registry() override { return stored_.registry(); }

 private:
  StoredRegistry stored_;
};

const bool kRegistered = testing::RegisterRegistry(
    "LinuxFiles", []() -> std::unique_ptr<testing::RegistryUnderTest> { return std::make_unique<RegistryInFolder>(); });

mode_t ModeOf(const fs::path& path) {
  struct stat entry {};
  EXPECT_EQ(::stat(path.c_str(), &entry), 0) << path;
  return entry.st_mode & 07777;
}

// Makes a root, as any change of it does.
Status Make(RegistryApi& registry, KeyHandle root) {
  KeyHandle key = 0;
  std::uint32_t disposition = 0;
  return registry.CreateKey(root, ""_ansi, 0, ""_ansi, 0, kFullAccess, {}, key, disposition);
}

std::string MakeRoots(RegistryApi& registry) {
  return InOrder({Make(registry, kHkeyLocalMachine), Make(registry, kHkeyCurrentUser), ""});
}

TEST(LinuxRegistry, Construction_TouchesNothing) {
  const TemporaryFolder folder;
  const fs::path place = folder.path() / "registry";
  const LinuxRegistry registry(place);
  EXPECT_FALSE(fs::exists(place));
}

TEST(LinuxRegistry, GivenFolder_GetsEachRootWithItsFirstChange) {
  const TemporaryFolder folder;
  const fs::path place = folder.path() / "a/b";
  LinuxRegistry registry(place);
  KeyHandle key = 0;
  EXPECT_EQ(Make(registry, kHkeyLocalMachine), kSuccess);
  EXPECT_TRUE(fs::exists(place / "HKEY_LOCAL_MACHINE"));
  EXPECT_EQ(registry.OpenKey(kHkeyCurrentUser, "missing"_ansi, 0, kFullAccess, key), kFileNotFound);
  EXPECT_FALSE(fs::exists(place / "HKEY_CURRENT_USER"));
  EXPECT_EQ(Make(registry, kHkeyCurrentUser), kSuccess);
  for (const char* made : {"", "HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER"}) EXPECT_EQ(ModeOf(place / made), 0700u);
  EXPECT_EQ(ModeOf(place / "HKEY_LOCAL_MACHINE/%values"), 0600u);
  EXPECT_EQ(ModeOf(place / "HKEY_LOCAL_MACHINE/%lock"), 0600u);
}

TEST(LinuxRegistry, Environment_NamesTheFolderAndIsAskedOnFirstUse) {
  const TemporaryFolder folder;
  const fs::path place = folder.path() / "named";
  const std::string answer = AnswerOfChild([&] {
    ::setenv("NERIO_REGISTRY", "/nowhere/at/all", 1);
    LinuxRegistry registry;
    ::setenv("NERIO_REGISTRY", place.c_str(), 1);
    std::string answers = MakeRoots(registry);
    // Decided by now.
    ::setenv("NERIO_REGISTRY", "/nowhere/at/all", 1);
    answers += MakeRoots(registry);
    LinuxRegistry given(folder.path() / "given");
    return answers + MakeRoots(given);
  });
  EXPECT_EQ(answer, "0 0 0 0 0 0 ");
  EXPECT_TRUE(fs::exists(place / "HKEY_LOCAL_MACHINE/%values"));
  EXPECT_TRUE(fs::exists(folder.path() / "given/HKEY_LOCAL_MACHINE/%values"));
  EXPECT_EQ(ModeOf(place), 0700u);
}

TEST(LinuxRegistry, RelativeFolder_IsTakenFromTheCurrentFolderOfTheFirstUse) {
  const TemporaryFolder folder;
  const std::string answer = AnswerOfChild([&] {
    fs::current_path(folder.path());
    LinuxRegistry registry("here");
    std::string answers = MakeRoots(registry);
    fs::current_path("/");
    return answers + std::to_string(NumberOf(Calls(registry).Create("k"_ansi)));
  });
  EXPECT_EQ(answer, "0 0 0");
  EXPECT_TRUE(fs::exists(folder.path() / "here/HKEY_LOCAL_MACHINE/k/%values"));
}

TEST(LinuxRegistry, CurrentUsersRoot_LiesInTheUsersDataFolder) {
  const TemporaryFolder folder;
  const auto open = [](const char* variable, const std::string& value, const char* home) {
    return AnswerOfChild([&] {
      ::unsetenv("NERIO_REGISTRY");
      ::unsetenv("XDG_DATA_HOME");
      ::unsetenv("HOME");
      ::setenv(variable, value.c_str(), 1);
      if (home != nullptr) ::setenv("HOME", home, 1);
      LinuxRegistry registry;
      return std::to_string(NumberOf(Make(registry, kHkeyCurrentUser)));
    });
  };
  const fs::path home = folder.path() / "home";
  EXPECT_EQ(open("XDG_DATA_HOME", folder.path() / "data", nullptr), "0");
  EXPECT_EQ(ModeOf(folder.path() / "data/nerio/registry/HKEY_CURRENT_USER"), 0700u);
  EXPECT_EQ(open("HOME", home, nullptr), "0");
  EXPECT_EQ(ModeOf(home / ".local/share/nerio/registry/HKEY_CURRENT_USER"), 0700u);
  fs::remove_all(home);
  EXPECT_EQ(open("XDG_DATA_HOME", "relative/path", home.c_str()), "0");
  EXPECT_TRUE(fs::exists(home / ".local/share/nerio/registry/HKEY_CURRENT_USER/%values"));
  EXPECT_EQ(open("UNUSED", "", nullptr), "2");
}

TEST(LinuxRegistry, Places_AreToldWithoutMakingThem) {
  const TemporaryFolder folder;
  const std::vector<RegistryPlace> places = RegistryPlaces({folder.path() / "none"});
  ASSERT_EQ(places.size(), 5u);
  for (const RegistryPlace& place : places) EXPECT_FALSE(place.present) << place.place;
  EXPECT_TRUE(CheckRegistry({folder.path() / "none"}).empty());
  EXPECT_FALSE(fs::exists(folder.path() / "none"));

  StoredRegistry stored;
  ASSERT_EQ(stored.calls().Create("k"_ansi), kSuccess);
  for (const RegistryPlace& place : RegistryPlaces({stored.folder()})) {
    EXPECT_EQ(place.present, place.root == kHkeyLocalMachine) << place.place;
    EXPECT_EQ(place.place == stored.Root(), place.root == kHkeyLocalMachine) << place.place;
  }
}

TEST(LinuxRegistry, RootThatIsGone_IsMadeAgain) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  fs::remove_all(stored.folder() / "HKEY_LOCAL_MACHINE");
  EXPECT_EQ(calls.Open("k"_ansi), kFileNotFound);
  EXPECT_EQ(calls.Open(""_ansi), kSuccess);
  fs::remove_all(stored.folder());
  EXPECT_EQ(calls.Create("k"_ansi), kSuccess);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "[2]");
}

TEST(LinuxRegistry, RootMadeByHand_GetsItsFilesWithItsFirstValue) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  fs::create_directories(stored.Root());
  EXPECT_EQ(calls.Open(""_ansi), kSuccess);
  EXPECT_EQ(calls.Get(""_ansi, "v"_ansi), "[2]");
  EXPECT_THAT(calls.SubKeys(""_ansi), IsEmpty());
  EXPECT_EQ(calls.Set(""_ansi, "v"_ansi, "x"), kSuccess);
  EXPECT_EQ(calls.Get(""_ansi, "v"_ansi), "x");
  EXPECT_EQ(calls.Create("k"_ansi), kSuccess);
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

TEST(LinuxRegistry, RootMadeByHand_StaysAsItIsWhileItIsOnlyReadAndChecked) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  fs::create_directories(stored.Root());
  EXPECT_EQ(calls.Open(""_ansi), kSuccess);
  EXPECT_EQ(calls.Get(""_ansi, "v"_ansi), "[2]");
  EXPECT_TRUE(fs::is_empty(stored.Root()));
  testing::WriteFile(stored.Root() / "%values", "damaged");
  EXPECT_EQ(calls.Get(""_ansi, "v"_ansi), "[1015]");
  EXPECT_THAT(stored.Findings(), ElementsAre(::testing::HasSubstr("damage:HKEY_LOCAL_MACHINE/%values:7: ")));
  EXPECT_FALSE(fs::exists(stored.Root() / "%lock"));
}

TEST(LinuxRegistry, LinkToTheRoot_IsFollowed) {
  StoredRegistry stored;
  const TemporaryFolder elsewhere;
  fs::create_directory_symlink(elsewhere.path(), stored.Root());
  EXPECT_EQ(stored.calls().Create("k"_ansi), kSuccess);
  EXPECT_TRUE(fs::exists(elsewhere.path() / "k/%values"));
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

TEST(LinuxRegistry, LinkToTheRootThatLeadsElsewhereLater_IsFollowedOnceSomethingIsMissing) {
  // Deliberately: where a root is, is not looked up for each call.
  StoredRegistry stored;
  const TemporaryFolder before;
  const TemporaryFolder after;
  LinuxRegistry other(after.path());
  ASSERT_EQ(Calls(other).Create("new"_ansi), kSuccess);
  fs::create_directory_symlink(before.path(), stored.Root());
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  fs::remove(stored.Root());
  fs::create_directory_symlink(after.path() / "HKEY_LOCAL_MACHINE", stored.Root());
  EXPECT_EQ(calls.Open("k"_ansi), kSuccess);
  EXPECT_EQ(calls.Open("new"_ansi), kSuccess);
  EXPECT_EQ(calls.Open("k"_ansi), kFileNotFound);
}

TEST(LinuxRegistry, AnotherRegistryObject_SeesEverythingAtOnce) {
  StoredRegistry stored;
  LinuxRegistry other(stored.folder());
  const Calls here = stored.calls();
  const Calls there(other);
  EXPECT_EQ(here.Create("a\\b"_ansi), kSuccess);
  EXPECT_EQ(there.Set("a\\b"_ansi, "v"_ansi, "1"), kSuccess);
  EXPECT_EQ(here.Get("a\\b"_ansi, "v"_ansi), "1");
  EXPECT_EQ(here.Set("a\\b"_ansi, "v"_ansi, "2"), kSuccess);
  EXPECT_EQ(there.Get("a\\b"_ansi, "v"_ansi), "2");
  EXPECT_EQ(there.Delete("a\\b"_ansi), kSuccess);
  EXPECT_EQ(here.Get("a\\b"_ansi, "v"_ansi), "[2]");
}

TEST(LinuxRegistry, FoldersMovedByHand_AreSeenByTheNextCall) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("old\\sub"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("old\\sub"_ansi, "v"_ansi, "x"), kSuccess);
  KeyHandle key = 0;
  ASSERT_EQ(stored.registry().OpenKey(kHkeyLocalMachine, "old"_ansi, 0, kFullAccess, key), kSuccess);
  fs::rename(stored.Key("old"), stored.Key("new"));
  EXPECT_EQ(calls.Open("old"_ansi), kFileNotFound);
  EXPECT_EQ(calls.Get("new\\sub"_ansi, "v"_ansi), "x");
  EXPECT_THAT(calls.SubKeys(""_ansi), ElementsAre("new"_ansi)) << "the folder's name counts, not the spelling inside";
  KeyHandle below = 0;
  EXPECT_EQ(stored.registry().OpenKey(key, "sub"_ansi, 0, kFullAccess, below), kKeyDeleted);
  fs::copy(stored.Key("new"), stored.Key("copy"), fs::copy_options::recursive);
  EXPECT_EQ(calls.Get("copy\\sub"_ansi, "v"_ansi), "x");
  EXPECT_EQ(calls.Set("copy\\sub"_ansi, "v"_ansi, "y"), kSuccess);
  EXPECT_EQ(calls.Get("new\\sub"_ansi, "v"_ansi), "x");
}

TEST(LinuxRegistry, LongNames_LieInCutFoldersAndAreKnownByTheNameInside) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  const AnsiText name(std::string(256, '\xC8'));
  ASSERT_EQ(calls.Create(name + "\\sub"_ansi), kSuccess);
  EXPECT_THAT(calls.SubKeys(""_ansi), ElementsAre(name));
  EXPECT_EQ(calls.Open(AnsiText(std::string(256, '\xE8')) + "\\SUB"_ansi), kSuccess);
  // A folder whose cut name is the same, but that another key lies in: as a collision of the hashes would be.
  fs::path cut;
  for (const auto& entry : fs::directory_iterator(stored.Root())) {
    if (entry.is_directory()) cut = entry.path();
  }
  ASSERT_EQ(cut.filename().string().size(), 255u);
  ASSERT_EQ(calls.Create("other\\sub"_ansi), kSuccess);
  fs::rename(cut, stored.folder() / "aside");
  fs::rename(stored.Key("other"), cut);
  EXPECT_EQ(calls.Open(name), kFileNotFound);
  EXPECT_EQ(calls.Open(name + "\\sub"_ansi), kFileNotFound);
  EXPECT_EQ(calls.Create(name), kRegistryIoFailed);
  EXPECT_EQ(calls.Create(name + "\\new"_ansi), kRegistryIoFailed);
  EXPECT_EQ(calls.Delete(name + "\\sub"_ansi), kFileNotFound);
  EXPECT_THAT(stored.Findings(), ElementsAre("damage:HKEY_LOCAL_MACHINE/" + cut.filename().string() +
                                             "/%values:0: belongs to a key of another name"));
}

TEST(LinuxRegistry, NoHandle_IsToldBeforeANameThatIsTooLong) {
  StoredRegistry stored;
  const AnsiText name(std::string(40'000, 'n'));
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(stored.registry().QueryValue(0, name, type, {}, size), kInvalidHandle);
  EXPECT_EQ(stored.registry().SetValue(0, name, 0, kRegSz, {}), kInvalidHandle);
  EXPECT_EQ(stored.registry().DeleteValue(0, name), kInvalidHandle);
}

TEST(LinuxRegistry, WholePath_HasNoLimit) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  AnsiText path;
  for (int level = 0; level < 60; ++level)
    path += AnsiText(std::string(200, static_cast<char>('a' + level % 26))) + "\\"_ansi;
  ASSERT_EQ(calls.Create(path), kSuccess);
  EXPECT_EQ(calls.Set(path, "v"_ansi, "deep"), kSuccess);
  EXPECT_EQ(calls.Get(path, "V"_ansi), "deep");
  EXPECT_EQ(calls.Create(path + "more"_ansi), kSuccess);
  EXPECT_THAT(calls.SubKeys(path), ElementsAre("more"_ansi));
  EXPECT_EQ(calls.Delete(path + "more"_ansi), kSuccess);
  EXPECT_EQ(calls.DeleteValue(path, "v"_ansi), kSuccess);
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

TEST(LinuxRegistry, HandlesOfRoots_AreMultiplesOfFourBelowTheRoots) {
  StoredRegistry stored;
  KeyHandle before = 0;
  for (int i = 0; i < 100; ++i) {
    KeyHandle key = 0;
    ASSERT_EQ(stored.registry().OpenKey(kHkeyLocalMachine, ""_ansi, 0, kKeyRead, key), kSuccess);
    EXPECT_EQ(key % 4, 0u);
    EXPECT_LT(key, 0x80000000u);
    EXPECT_NE(key, before);
    before = key;
    EXPECT_TRUE(i % 2 == 0 || stored.registry().CloseKey(key) == kSuccess);
  }
}

// An open handle is an entry in a table: the key of code 2 stays open on purpose and must not cost a descriptor.
TEST(LinuxRegistry, OpenHandles_HoldNoDescriptors) {
  StoredRegistry stored;
  ASSERT_EQ(stored.calls().Create("k"_ansi), kSuccess);
  const auto descriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = descriptors();
  for (int i = 0; i < 1000; ++i) {
    KeyHandle key = 0;
    ASSERT_EQ(stored.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kFullAccess, key), kSuccess);
    ASSERT_EQ(stored.registry().SetValue(key, "v"_ansi, 0, kRegSz, std::string(10, 'x')), kSuccess);
  }
  EXPECT_EQ(descriptors(), before);
}

TEST(LinuxRegistry, ManyOverwrites_DoNotMakeTheFileGrow) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "kept"_ansi, std::string(5000, 'x')), kSuccess);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, std::to_string(i)), kSuccess);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "1999");
  EXPECT_EQ(calls.Get("k"_ansi, "kept"_ansi), std::string(5000, 'x'));
  EXPECT_LE(fs::file_size(stored.ValuesFile("k")), 16384u);
  for (int i = 0; i < 300; ++i)
    ASSERT_EQ(calls.Set("k"_ansi, AnsiText('n' + std::to_string(i)), std::string(50, 'y')), kSuccess);
  for (int i = 0; i < 300; ++i) ASSERT_EQ(calls.DeleteValue("k"_ansi, AnsiText('N' + std::to_string(i))), kSuccess);
  ASSERT_EQ(calls.DeleteValue("k"_ansi, "kept"_ansi), kSuccess);
  for (int i = 0; i < 600; ++i) ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, std::to_string(i)), kSuccess);
  EXPECT_EQ(fs::file_size(stored.ValuesFile("k")), 4096u);
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

// A hard link, as `cp -al` makes for a snapshot.
TEST(LinuxRegistry, ValuesFileWithASecondName_IsReadAndReplacedNeverWritten) {
  using Change = Status (*)(const Calls&);
  const Change changes[] = {
      [](const Calls& calls) { return calls.Set("k"_ansi, "v"_ansi, "new"); },
      [](const Calls& calls) { return calls.DeleteValue("k"_ansi, "v"_ansi); },
      [](const Calls& calls) { return calls.Set("k"_ansi, "w"_ansi, std::string(5000, 'x')); },
      [](const Calls& calls) { return calls.Open("k"_ansi, kFullAccess); },
  };
  constexpr std::size_t kKeyNotSyncedOffset = 510;
  for (const char note : {'\0', '\xA5'}) {
    for (const Change change : changes) {
      StoredRegistry stored;
      const Calls calls = stored.calls();
      ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
      ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "old"), kSuccess);
      std::string before = testing::FileContent(stored.ValuesFile("k"));
      before[kKeyNotSyncedOffset] = note;
      testing::WriteFile(stored.ValuesFile("k"), before);
      const fs::path other = stored.folder() / "snapshot";
      fs::create_hard_link(stored.ValuesFile("k"), other);
      EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "old");
      EXPECT_EQ(change(calls), kSuccess);
      EXPECT_EQ(testing::FileContent(other), before);
      EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "last"), kSuccess);
      EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "last");
      EXPECT_EQ(testing::FileContent(other), before);
      EXPECT_EQ(fs::hard_link_count(stored.ValuesFile("k")), 1u);
    }
  }
}

TEST(LinuxRegistry, ZeroFilledData_IsStoredLikeAnyOther) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  for (const std::size_t size : {1u, 511u, 512u, 1000u, 1022u, 1023u, 1024u, 5000u, 100000u, 3000000u}) {
    const std::string zeros(size, '\0');
    ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, zeros, kRegBinary), kSuccess);
    EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), zeros);
    ASSERT_EQ(calls.Set("k"_ansi, "w"_ansi, "small"), kSuccess);
    EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi) + calls.Get("k"_ansi, "w"_ansi), zeros + "small");
  }
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

TEST(LinuxRegistry, NewKeys_TakeThePermissionsOfTheKeyTheyAreMadeIn) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  const mode_t mask = ::umask(077);
  ASSERT_EQ(calls.Create("shared"_ansi), kSuccess);
  fs::permissions(stored.Key("shared"), static_cast<fs::perms>(02775));
  ASSERT_EQ(calls.Create("shared\\sub\\deep"_ansi), kSuccess);
  ::umask(mask);
  EXPECT_EQ(ModeOf(stored.Key("shared/sub/deep")), 02775u);
  EXPECT_EQ(ModeOf(stored.Key("shared/sub/deep/%values")), 0664u);
  EXPECT_EQ(ModeOf(stored.Key("shared/sub/deep/%lock")), 0660u);
  fs::permissions(stored.ValuesFile("shared/sub"), static_cast<fs::perms>(0640));
  for (int i = 0; i < 100; ++i) ASSERT_EQ(calls.Set("shared\\sub"_ansi, "v"_ansi, std::string(100, 'x')), kSuccess);
  EXPECT_EQ(ModeOf(stored.ValuesFile("shared/sub")), 0640u) << "a rewritten file keeps the permissions that it had";
}

TEST(LinuxRegistry, CreationWithAReservedNumberOtherThan0_IsRefused) {
  StoredRegistry stored;
  KeyHandle key = 0;
  std::uint32_t disposition = 0;
  EXPECT_EQ(stored.registry().CreateKey(kHkeyLocalMachine, "k"_ansi, 1, ""_ansi, 0, kFullAccess, {}, key, disposition),
            kInvalidParameter);
  EXPECT_EQ(stored.calls().Open("k"_ansi), kFileNotFound);
}

TEST(LinuxRegistry, MaximumAllowed_GrantsWhatThereIs) {
  StoredRegistry stored;
  ASSERT_EQ(stored.calls().Create("k"_ansi), kSuccess);
  constexpr std::uint32_t kMaximumAllowed = 0x02000000;
  constexpr std::uint32_t kGenericRead = 0x80000000;
  KeyHandle key = 0;
  ASSERT_EQ(stored.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kMaximumAllowed, key), kSuccess);
  EXPECT_EQ(stored.registry().SetValue(key, "v"_ansi, 0, kRegSz, std::string("x")), kSuccess);
  ASSERT_EQ(stored.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kGenericRead, key), kSuccess);
  EXPECT_EQ(stored.registry().SetValue(key, "v"_ansi, 0, kRegSz, std::string("x")), kAccessDenied);
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(stored.registry().QueryValue(key, "v"_ansi, type, {}, size), kSuccess);
  EXPECT_EQ(size, 1u);
}

}  // namespace
}  // namespace nerio::platform
