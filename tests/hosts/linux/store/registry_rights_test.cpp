#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "nerio/hosts/linux/store/access_rights.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/registry/native_layer.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using registry::OperazioneRegistro;
using testing::Calls;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::InOrder;
using ::testing::IsEmpty;

using testing::kNobody;

// Runs a test's body as a user without privileges: as another one when this is root, else as the own one, whose rights
// the kernel checks as well.
std::string AsUser(const fs::path& folder, const std::function<std::string()>& body) {
  if (::geteuid() != 0) {
    std::puts("not run as root: rights are tried as the own user, what belongs to root is left out");
    return testing::AnswerOfChild(body);
  }
  EXPECT_EQ(::chown(folder.c_str(), kNobody, kNobody), 0);
  return testing::AnswerOfChild([&]() -> std::string {
    if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) return "can not change user";
    return body();
  });
}

// Makes one operation of the native layer and answers its result. @param data what a read leaves, when it succeeds.
int Operate(RegistryApi& registry, std::int32_t code, const Text& path, const Text& name = u"v", Text* data = nullptr) {
  CodePage1252 codePage;
  KeyHandle root = kHkeyLocalMachine;
  Text pathArgument = path;
  Text nameArgument = name;
  Text dataArgument = u"new";
  std::int16_t type = 1;
  std::int16_t result = -1;
  OperazioneRegistro(code, root, pathArgument, nameArgument, dataArgument, type, result, registry, codePage);
  if (data != nullptr) *data = dataArgument;
  return result;
}

std::string OperateAll(RegistryApi& registry, const Text& path, std::initializer_list<std::int32_t> codes) {
  std::string results;
  for (const std::int32_t code : codes) results += std::to_string(Operate(registry, code, path));
  return results;
}

class RegistryRights : public ::testing::Test {
 protected:
  std::string AsOwner(const std::function<std::string(LinuxRegistry&)>& body) {
    return AsUser(folder_.path(), [&] {
      LinuxRegistry registry(folder_.path());
      const Calls calls(registry);
      if (calls.Create("k\\sub"_ansi) != kSuccess || calls.Set("k"_ansi, "v"_ansi, "old") != kSuccess)
        return std::string("no set-up");
      return body(registry);
    });
  }
  fs::path Root() const { return folder_.path() / "HKEY_LOCAL_MACHINE"; }
  fs::path Key(const std::string& folders) const { return Root() / folders; }
  static void SetMode(const fs::path& path, unsigned mode) { fs::permissions(path, static_cast<fs::perms>(mode)); }

  testing::TemporaryFolder folder_{testing::MemoryFolder()};
};

TEST_F(RegistryRights, KeyLackingReadWriteOrSearch_CannotBeOpenedByCodes1457_NotEvenToRead) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    std::string results = OperateAll(registry, u"k", {1, 4, 5, 7, 5}) + " ";
    for (const unsigned lacking : {0400u, 0200u, 0100u, 0700u}) {
      SetMode(Key("k"), 0700 & ~lacking);
      results += InOrder({OperateAll(registry, u"k", {1, 4, 5, 7}), Calls(registry).Open("k"_ansi), ""});
    }
    SetMode(Key("k"), 0700);
    return results + OperateAll(registry, u"k", {1, 4, 5, 7});
  });
  EXPECT_EQ(answer, "11111 0000 5 0000 5 0000 5 0000 5 1111");
}

TEST_F(RegistryRights, RootLackingReadWriteOrSearch_FailsCodes2And3ButLetsCode1FindWhatIsThere) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    const auto operate = [&](const char16_t* existing) {
      return InOrder({OperateAll(registry, u"new", {2}), OperateAll(registry, u"k\\sub", {3}),
                      OperateAll(registry, u"k", {2, 1, 4}), OperateAll(registry, existing, {1}), "/ "});
    };
    std::string results;
    for (const unsigned lacking : {0400u, 0200u, 0100u}) {
      SetMode(Root(), 0700 & ~lacking);
      results += operate(u"k\\sub");
    }
    SetMode(Root(), 0700);
    return results + operate(u"k");
  });
  // Without search nothing below can be reached.
  EXPECT_EQ(answer, "0 0 011 1 / 0 0 011 1 / 0 0 000 0 / 1 1 111 1 / ");
}

TEST_F(RegistryRights, ReadOnlyAccess_NeedsReadAndSearchOnly) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    const Calls calls(registry);
    std::string statuses;
    for (const unsigned mode : {0500u, 0600u, 0300u, 0700u}) {
      SetMode(Key("k"), mode);
      for (const std::uint32_t access : {kKeyRead, kKeyQueryValue, kKeySetValue, 0u}) {
        statuses += std::to_string(NumberOf(calls.Open("k"_ansi, access))) + " ";
      }
      statuses += "/ ";
    }
    return statuses;
  });
  // Without search not even the key's id can be seen.
  EXPECT_EQ(answer, "0 0 5 0 / 5 5 5 5 / 5 5 0 0 / 0 0 0 0 / ");
}

TEST(RegistryRightsOfCreators, GenericRights_AreReplacedByWhatTheyStandFor) {
  struct Case {
    std::uint32_t asked;
    std::uint32_t granted;
  };
  for (const Case& one : {Case{0x10000000, 0xF003F}, Case{0x20000000, 0x20019}, Case{0x40000000, 0x20006},
                          Case{0x80000000, 0x20019}, Case{0xF0000000, 0xF003F}, Case{0x60000000, 0x2001F},
                          Case{0x40000001, 0x20007}, Case{0x02000000, 0xF003F}, Case{0x3, 0x3}, Case{0, 0}}) {
    EXPECT_EQ(RightsOfCreator(one.asked), one.granted) << std::hex << one.asked;
  }
}

TEST_F(RegistryRights, RightsThatAreGranted_AreThoseAskedForOrAsManyAsThereAre) {
  struct Case {
    unsigned mode;
    std::uint32_t asked;
    Status status;
    std::uint32_t granted;
  };
  constexpr std::uint32_t kMaximumAllowed = 0x02000000;
  constexpr std::uint32_t kSynchronize = 0x100000;
  for (const Case& one : {Case{0700, kMaximumAllowed, kSuccess, 0xF003F},
                          Case{0500, kMaximumAllowed, kSuccess, 0x20019}, Case{0000, kMaximumAllowed, kAccessDenied, 0},
                          Case{0500, 0x80000000, kSuccess, 0x20019}, Case{0500, 0x40000000, kAccessDenied, 0},
                          // What allows neither to read nor to change needs no right.
                          Case{0000, kSynchronize, kSuccess, kSynchronize}}) {
    const std::string answer = AsOwner([&](LinuxRegistry&) {
      SetMode(Key("k"), one.mode);
      KeyFolder folder(Root());
      folder.Enter("k");
      std::uint32_t granted = 0;
      const Status status = GrantRights(folder, one.asked, granted);
      SetMode(Key("k"), 0700);
      return InOrder({status, std::to_string(status == kSuccess ? granted : 0)});
    });
    EXPECT_EQ(answer, InOrder({one.status, std::to_string(one.granted)})) << one.mode << ' ' << one.asked;
  }
}

TEST_F(RegistryRights, KeyThatCannotBeRead_GivesAHandleForChangingButIsNotChanged) {
  const std::string answers = AsOwner([&](LinuxRegistry& registry) {
    const Calls calls(registry);
    const fs::path key = folder_.path() / "HKEY_LOCAL_MACHINE/k";
    fs::permissions(key, static_cast<fs::perms>(0300));
    const std::string large(5000, 'x');
    const AnsiText path = "k"_ansi;
    KeyHandle handle = 0;
    KeyHandle created = 0;
    std::uint32_t disposition = 0;
    std::string results =
        InOrder({registry.OpenKey(kHkeyLocalMachine, path, 0, kKeySetValue | kKeyCreateSubKey, handle),
                 registry.SetValue(handle, "w"_ansi, 0, kRegSz, large),
                 registry.CreateKey(handle, "new"_ansi, 0, ""_ansi, 0, kKeySetValue, {}, created, disposition),
                 registry.DeleteKey(handle, "sub"_ansi)});
    fs::permissions(key, static_cast<fs::perms>(0700));
    return results + ", " +
           InOrder({calls.Get("k"_ansi, "w"_ansi), calls.Open("k\\new"_ansi), calls.Open("k\\sub"_ansi)});
  });
  EXPECT_EQ(answers, "0 5 5 5, [2] 2 0");
}

TEST_F(RegistryRights, KeyThatCannotBeWritten_CanStillBeReadAndItsSubkeysChanged) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    const Calls calls(registry);
    SetMode(Key("k"), 0500);
    return InOrder({calls.Get("k"_ansi, "v"_ansi), calls.Set("k"_ansi, "v"_ansi, "x"), calls.Create("k\\new"_ansi),
                    calls.Delete("k\\sub"_ansi), calls.Set("k\\sub"_ansi, "v"_ansi, "x")});
  });
  EXPECT_EQ(answer, "old 5 5 5 0");
}

TEST_F(RegistryRights, KeyWhoseFolderOrUpperFolderMayNotBeWritten_IsNotDeletedAndNothingIsLeft) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    const Calls calls(registry);
    std::string statuses;
    for (const char* path : {"k/sub", "k"}) {
      SetMode(Key(path), 0555);
      statuses += InOrder({calls.Delete("k\\sub"_ansi), ""});
      SetMode(Key(path), 0700);
    }
    // What a killed writer left does not change the answer.
    fs::create_directory(Key("k/%gone"));
    SetMode(Key("k"), 0555);
    statuses += InOrder({calls.Delete("k\\sub"_ansi), calls.Get("k\\sub"_ansi, "v"_ansi), ""});
    SetMode(Key("k"), 0700);
    fs::remove(Key("k/%gone"));
    return statuses;
  });
  EXPECT_EQ(answer, "5 5 5 [2] ");
  EXPECT_TRUE(fs::exists(Key("k/sub/%values")));
  EXPECT_TRUE(CheckRegistry({folder_.path()}).empty());
}

TEST_F(RegistryRights, RightsChangedByHand_AreSeenByTheNextCallAlsoOfAnOpenHandle) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    KeyHandle key = 0;
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    AnsiText name;
    if (registry.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key) != kSuccess)
      return std::string("no key");
    std::string statuses;
    for (const unsigned mode : {0700u, 0000u, 0700u}) {
      SetMode(Key("k"), mode);
      statuses +=
          InOrder({registry.QueryValue(key, "v"_ansi, type, {}, size),
                   registry.SetValue(key, "v"_ansi, 0, kRegSz, std::string("x")), registry.EnumKey(key, 0, name), ""});
    }
    return statuses;
  });
  EXPECT_EQ(answer, "0 0 0 5 5 5 0 0 0 ");
}

TEST_F(RegistryRights, FileThatMayNotBeReadOrWritten_AnswersAccessDeniedAndStays) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    const Calls calls(registry);
    std::string results;
    for (const unsigned mode : {0400u, 0000u}) {
      SetMode(Key("k/%values"), mode);
      results += InOrder({calls.Get("k"_ansi, "v"_ansi), calls.Set("k"_ansi, "v"_ansi, "x"), ""});
    }
    SetMode(Key("k/%values"), 0600);
    SetMode(Key("k/%lock"), 0000);
    return results + InOrder({calls.Get("k"_ansi, "v"_ansi), calls.Set("k"_ansi, "v"_ansi, "x"),
                              calls.Create("k\\new"_ansi), calls.Delete("k"_ansi)});
  });
  EXPECT_EQ(answer, "old 5 [5] 5 old 5 5 5");
}

TEST_F(RegistryRights, FileInPlaceOfTheFolder_IsDamageAlsoWhereItMayNotBeRead) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    KeyHandle key = 0;
    AnsiText name;
    const Status opened = registry.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key);
    fs::rename(Key("k"), Key("aside"));
    testing::WriteFile(Key("k"), "x");
    SetMode(Key("k"), 0000);
    return InOrder({opened, registry.EnumKey(key, 0, name)});
  });
  EXPECT_EQ(answer, "0 1015");
}

TEST_F(RegistryRights, MaskThatTakesTheOwnersRights_LeavesNewKeysAsTheyShouldBe) {
  const std::string answer = AsOwner([&](LinuxRegistry& registry) {
    const Calls calls(registry);
    ::umask(0777);
    LinuxRegistry another(folder_.path() / "another");
    return InOrder({calls.Create("k\\new"_ansi), calls.Set("k\\new"_ansi, "v"_ansi, std::string(9000, 'x')),
                    calls.Open("k\\new"_ansi), Calls(another).Create("k"_ansi)});
  });
  EXPECT_EQ(answer, "0 0 0 0");
  for (const fs::path& key : {Key("k/new"), folder_.path() / "another/HKEY_LOCAL_MACHINE/k"}) {
    EXPECT_EQ(fs::status(key).permissions(), static_cast<fs::perms>(0700));
    EXPECT_EQ(fs::status(key / "%values").permissions(), static_cast<fs::perms>(0600));
    EXPECT_EQ(fs::status(key / "%lock").permissions(), static_cast<fs::perms>(0600));
  }
}

TEST_F(RegistryRights, SomebodyElsesFiles_AreRefusedNamedAndStay) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file to another user";
  ASSERT_EQ(AsOwner([](LinuxRegistry&) { return std::string(); }), "");
  // Root's own, in a key of the user.
  for (const char* file : {"k/%values", "k/%lock"}) ASSERT_EQ(::chown(Key(file).c_str(), 0, 0), 0);
  const std::string before = testing::FileContent(Key("k/%values"));
  const std::string answer = AsUser(folder_.path(), [&] {
    LinuxRegistry registry(folder_.path());
    const Calls calls(registry);
    std::string results = InOrder({calls.Get("k"_ansi, "v"_ansi), calls.Set("k"_ansi, "v"_ansi, "x"),
                                   calls.Create("k"_ansi), calls.Delete("k"_ansi)}) +
                          ":";
    for (const RegistryFinding& finding : CheckRegistry({folder_.path()})) {
      results += finding.kind == RegistryFinding::Kind::Refused ? " refused " : " other ";
      results += fs::path(finding.place).filename();
    }
    return results;
  });
  EXPECT_EQ(answer, "[5] 5 5 5: refused %lock refused %values");
  EXPECT_EQ(testing::FileContent(Key("k/%values")), before);
  // Root may, and what root rewrites stays the user's.
  for (const char* file : {"k/%values", "k/%lock"}) ASSERT_EQ(::chown(Key(file).c_str(), kNobody, kNobody), 0);
  LinuxRegistry registry(folder_.path());
  for (int i = 0; i < 100; ++i) ASSERT_EQ(Calls(registry).Set("k"_ansi, "v"_ansi, std::string(100, 'x')), kSuccess);
  struct stat entry {};
  ASSERT_EQ(::stat(Key("k/%values").c_str(), &entry), 0);
  EXPECT_EQ(entry.st_uid, kNobody);
  EXPECT_EQ(entry.st_gid, kNobody);
}

TEST_F(RegistryRights, SomebodyElsesLeftover_DoesNotStopAWriter) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can leave a folder of another user behind";
  ASSERT_EQ(AsOwner([](LinuxRegistry&) { return std::string(); }), "");
  for (const char* left : {"%make", "%gone"}) {
    fs::create_directory(Key("k") / left);
    testing::WriteFile(Key("k") / left / "%values", "root's");
    SetMode(Key("k") / left, 0700);
  }
  const std::string answer = AsUser(folder_.path(), [&] {
    LinuxRegistry registry(folder_.path());
    const Calls calls(registry);
    return InOrder(
        {calls.Create("k\\new"_ansi), calls.Delete("k\\new"_ansi), std::to_string(calls.SubKeys("k"_ansi).size())});
  });
  EXPECT_EQ(answer, "0 0 1");
}

TEST_F(RegistryRights, MissingRootThatMayNotBeMade_AnswersFileNotFound) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a folder of another user";
  SetMode(folder_.path(), 0755);
  const std::string answer = testing::AnswerOfChild([&]() -> std::string {
    if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) return "can not change user";
    LinuxRegistry registry(folder_.path());
    LinuxRegistry below(folder_.path() / "a/b");
    AnsiText name;
    std::uint32_t type = 0;
    std::string data;
    return InOrder({Calls(registry).Open(""_ansi), Calls(registry).Create("k"_ansi), Calls(below).Open(""_ansi),
                    registry.EnumKey(kHkeyUsers, 0, name), registry.EnumValue(kHkeyUsers, 0, name, type, data),
                    registry.DeleteKey(kHkeyUsers, ""_ansi)});
  });
  EXPECT_EQ(answer, "2 2 2 2 2 2");
  EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(RegistryRights, MachineRootOfAnotherUser_CanBeReadAndNotChanged) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a registry of another user";
  LinuxRegistry owner(folder_.path());
  ASSERT_EQ(Calls(owner).Create("k"_ansi), kSuccess);
  ASSERT_EQ(Calls(owner).Set("k"_ansi, "v"_ansi, "x"), kSuccess);
  for (const fs::path& path : {folder_.path(), Root(), Key("k")}) SetMode(path, 0755);
  for (const char* file : {"k/%values", "k/%lock", "%values", "%lock"}) SetMode(Key(file), 0644);
  const std::string answer = testing::AnswerOfChild([&]() -> std::string {
    if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) return "can not change user";
    LinuxRegistry registry(folder_.path());
    const Calls calls(registry);
    return InOrder(
        {calls.Get("k"_ansi, "v"_ansi), calls.Open("k"_ansi), calls.Create("new"_ansi), calls.Delete("k"_ansi)});
  });
  EXPECT_EQ(answer, "x 5 5 5");
}

TEST_F(RegistryRights, RootOfAnotherUserThatWasMadeByHand_CanBeReadBeforeItHasFiles) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a folder of another user";
  SetMode(folder_.path(), 0755);
  fs::create_directory(Root());
  SetMode(Root(), 0755);
  const auto answer = [&] {
    return testing::AnswerOfChild([&]() -> std::string {
      if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
        return "can not change user";
      LinuxRegistry registry(folder_.path());
      KeyHandle key = 0;
      std::uint32_t type = 0;
      std::uint32_t size = 0;
      AnsiText name;
      std::string data;
      return InOrder({registry.OpenKey(kHkeyLocalMachine, ""_ansi, 0, kKeyRead, key),
                      registry.QueryValue(key, "v"_ansi, type, {}, size), registry.EnumKey(key, 0, name),
                      registry.EnumValue(key, 0, name, type, data),
                      registry.SetValue(kHkeyLocalMachine, "v"_ansi, 0, 1, {}), Calls(registry).Open(""_ansi)});
    });
  };
  EXPECT_EQ(answer(), "0 2 259 259 5 5");
  EXPECT_TRUE(fs::is_empty(Root()));
  testing::WriteFile(Root() / "%lock", "");
  SetMode(Root() / "%lock", 0600);
  EXPECT_EQ(answer(), "0 2 259 259 5 5") << "a lock of its owner's own";
}

// Returns how many digits follow the beginning of the name of what is set aside, 0 for any other name.
std::size_t LengthOfNumber(const fs::path& aside) {
  const std::string name = aside.string();
  if (!name.starts_with("%left-")) return 0;
  const std::string digits = name.substr(sizeof "%left-" - 1);
  return digits.find_first_not_of("0123456789abcdef") == digits.npos ? digits.size() : 0;
}

// The owner of a folder may rename what lies in it, also a key of root's that he can neither read nor write.
TEST_F(RegistryRights, KeyOfAnotherUserUnderAReservedName_IsSetAsideWithAllThatIsInIt) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  using Call = std::function<Status(const Calls&)>;
  const Call set = [](const Calls& calls) { return calls.Set("k"_ansi, "v"_ansi, "new"); };
  const Call create = [](const Calls& calls) { return calls.Create("k\\made"_ansi); };
  const Call remove = [](const Calls& calls) { return calls.Delete("k\\doomed"_ansi); };
  for (const char* name : {"%gone", "%make"}) {
    int number = 0;
    for (const Call& call : {set, create, remove}) {
      SCOPED_TRACE(name + std::string(" ") + std::to_string(++number));
      testing::StoredRegistry stored;
      const Calls calls = stored.calls();
      ASSERT_EQ(calls.Create("k\\secret"_ansi), kSuccess);
      ASSERT_EQ(calls.Create("k\\doomed"_ansi), kSuccess);
      ASSERT_EQ(calls.Set("k\\secret"_ansi, "v"_ansi, "kept"), kSuccess);
      ASSERT_EQ(::chown(stored.Key("k").c_str(), kNobody, kNobody), 0);
      fs::rename(stored.Key("k/secret"), stored.Key("k") / name);
      EXPECT_THAT(stored.Findings(),
                  ElementsAre("leftover:HKEY_LOCAL_MACHINE/k/" + std::string(name) +
                              ":0: belongs to another user than the key; the next change sets it aside"));
      EXPECT_EQ(call(calls), kSuccess);
      fs::path aside;
      for (const auto& entry : fs::directory_iterator(stored.Key("k"))) {
        if (entry.path().filename().string().starts_with("%left-")) aside = entry.path();
      }
      // A deletion leaves alone what is not in its way.
      if (fs::exists(stored.Key("k") / name)) {
        EXPECT_TRUE(name == std::string("%make") && number == 3);
        aside = stored.Key("k") / name;
      } else {
        EXPECT_THAT(stored.Findings(), ElementsAre(HasSubstr("set aside, not removed: no part of the key")));
      }
      ASSERT_NE(aside, "") << "it is gone";
      EXPECT_EQ(LengthOfNumber(aside.filename()), aside.filename() == name ? 0u : 32u) << "no two are alike";
      fs::rename(aside, stored.Key("k/secret"));
      EXPECT_EQ(calls.Get("k\\secret"_ansi, "v"_ansi), "kept");
      EXPECT_EQ(calls.Set("k\\secret"_ansi, "v"_ansi, "new"), kSuccess);
      EXPECT_THAT(stored.Findings(), IsEmpty());
    }
  }
}

}  // namespace
}  // namespace nerio::platform
