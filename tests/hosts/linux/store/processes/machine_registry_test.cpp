// Which users have the machine's registry and which one of their own, each as a process of that user on a machine whose
// /var/lib is the test's.

#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "nerio/registry/cregistry.h"
#include "nerio/types/utf8.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::InOrder;

constexpr uid_t kRootUser = 0;
constexpr uid_t kAnna = 60001;
constexpr const char* kNoMount = "no right to mount";
constexpr unsigned long kReadOnlyBind = MS_BIND | MS_REMOUNT | MS_RDONLY;

class MachineRegistry : public ::testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != kRootUser) GTEST_SKIP() << "only root can become other users";
    SetMode(folder_.path(), 0755);
    fs::create_directory(folder_.path() / "lib");
    fs::create_directory(Home());
    SetMode(Home(), 0777);
    if (As(kRootUser, [] { return std::string(); }) == kNoMount) GTEST_SKIP() << kNoMount;
  }

  static void SetMode(const fs::path& path, unsigned mode) { fs::permissions(path, static_cast<fs::perms>(mode)); }

  // Runs a body as a user who has an empty home at first, with the test's folder in the place of /var/lib.
  std::string As(uid_t user, const std::function<std::string()>& body, bool readOnly = false) const {
    return testing::AnswerOfChild([&]() -> std::string {
      const fs::path lib = folder_.path() / "lib";
      if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          ::mount(lib.c_str(), "/var/lib", nullptr, MS_BIND, nullptr) != 0 ||
          (readOnly && ::mount(nullptr, "/var/lib", nullptr, kReadOnlyBind, nullptr) != 0)) {
        return kNoMount;
      }
      for (const char* variable : {"NERIO_REGISTRY", "XDG_DATA_HOME"}) ::unsetenv(variable);
      ::setenv("HOME", Home().c_str(), 1);
      if (user != kRootUser && (::setgroups(0, nullptr) != 0 || ::setgid(user) != 0 || ::setuid(user) != 0)) {
        return "can not change user";
      }
      return body();
    });
  }

  // What a program writes and reads with the class: "True" and the text where it can.
  static std::string WriteAndRead(const char16_t* text) {
    CRegistry registry;
    registry.RamoPredefinito(u"App");
    const std::string written = ToUtf8(registry.ScriviRegistroEx(u"Nome", text));
    return InOrder({written, ToUtf8(registry.LeggiRegistro(u"Nome", u"-"))});
  }
  static std::string Read() {
    CRegistry registry;
    registry.RamoPredefinito(u"App");
    return ToUtf8(registry.LeggiRegistro(u"Nome", u"-"));
  }

  fs::path Home() const { return folder_.path() / "home"; }
  fs::path Machines() const { return folder_.path() / "lib/nerio/registry/HKEY_LOCAL_MACHINE"; }
  fs::path Own() const { return Home() / ".local/share/nerio/registry/HKEY_LOCAL_MACHINE"; }
  static constexpr const char* kKey = "software/nerio/app/%values";

  testing::TemporaryFolder folder_{testing::MemoryFolder()};
};

TEST_F(MachineRegistry, ThatNobodyMade_IsTheSuperusersAlone) {
  EXPECT_EQ(As(kAnna, [] { return Read(); }), "-");
  EXPECT_TRUE(fs::is_empty(Home())) << "looking leaves no trace";
  EXPECT_EQ(As(kAnna, [] { return WriteAndRead(u"Anna"); }), "True Anna");
  EXPECT_TRUE(fs::exists(Own() / kKey));
  EXPECT_EQ(fs::status(Own()).permissions(), static_cast<fs::perms>(0700));
  EXPECT_TRUE(fs::is_empty(folder_.path() / "lib"));

  EXPECT_EQ(As(kRootUser, [] { return WriteAndRead(u"root"); }), "True root");
  EXPECT_TRUE(fs::exists(Machines() / kKey));
  EXPECT_EQ(fs::status(Machines()).permissions(), static_cast<fs::perms>(0755));
  EXPECT_EQ(As(kAnna, [] { return Read(); }), "Anna");
  EXPECT_EQ(As(kAnna, [] { return WriteAndRead(u"due"); }), "True due");
  EXPECT_EQ(As(kRootUser, [] { return Read(); }), "root");
}

TEST_F(MachineRegistry, AllItsRoots_GoTogether) {
  const auto write = [] {
    LinuxRegistry registry;
    std::string answers;
    for (const KeyHandle root : kRoots) {
      answers += std::to_string(NumberOf(registry.SetValue(root, "v"_ansi, 0, kRegSz, std::string("x"))));
    }
    return answers;
  };
  EXPECT_EQ(As(kAnna, write), "00000");
  EXPECT_EQ(As(kRootUser, write), "00000");
  for (const char* root : {"HKEY_CLASSES_ROOT", "HKEY_LOCAL_MACHINE", "HKEY_USERS", "HKEY_CURRENT_CONFIG"}) {
    EXPECT_TRUE(fs::exists(Own().parent_path() / root / "%values")) << root;
    EXPECT_TRUE(fs::exists(Machines().parent_path() / root / "%values")) << root;
  }
  EXPECT_FALSE(fs::exists(Machines().parent_path() / "HKEY_CURRENT_USER"));
}

// The rights that the layer asks for: one that is missing is enough.
TEST_F(MachineRegistry, WithReadWriteAndSearchForAUser_IsThatUsersToo) {
  ASSERT_EQ(As(kRootUser, [] { return WriteAndRead(u"root"); }), "True root");
  for (const auto& entry : fs::recursive_directory_iterator(Machines())) {
    SetMode(entry.path(), entry.is_directory() ? 0777 : 0666);
  }
  for (const unsigned others : {0u, 1u, 2u, 3u, 4u, 5u, 6u}) {
    SetMode(Machines(), 0750 | others);
    EXPECT_EQ(As(kAnna, [] { return WriteAndRead(u"Anna"); }), "True Anna");
    EXPECT_TRUE(fs::exists(Own() / kKey)) << others;
    fs::remove_all(Home() / ".local");
  }
  EXPECT_EQ(As(kRootUser, [] { return Read(); }), "root");
  SetMode(Machines(), 0757);
  EXPECT_EQ(As(kAnna, [] { return WriteAndRead(u"Anna"); }), "True Anna");
  EXPECT_TRUE(fs::is_empty(Home()));
  EXPECT_EQ(As(kRootUser, [] { return Read(); }), "Anna");
}

TEST_F(MachineRegistry, ThatAUserMayMake_IsMadeByThatUser) {
  fs::create_directory(folder_.path() / "lib/nerio");
  ASSERT_EQ(::chown((folder_.path() / "lib/nerio").c_str(), kAnna, kAnna), 0);
  EXPECT_EQ(As(kAnna, [] { return WriteAndRead(u"Anna"); }), "True Anna");
  EXPECT_TRUE(fs::exists(Machines() / kKey));
  EXPECT_EQ(As(kRootUser, [] { return Read(); }), "Anna");
  EXPECT_EQ(As(kAnna + 1, [] { return Read(); }), "-");
}

// New roots take the permissions of the folder that they are made in, as keys do.
TEST_F(MachineRegistry, WhoseFolderIsAGroups_HasRootsOfTheGroup) {
  const fs::path registry = folder_.path() / "lib/nerio/registry";
  fs::create_directories(registry);
  ASSERT_EQ(::chown(registry.c_str(), 0, kAnna), 0);
  SetMode(registry, 02775);
  EXPECT_EQ(As(kAnna,
               [] {
                 ::umask(0077);
                 return WriteAndRead(u"Anna");
               }),
            "True Anna");
  struct stat entry {};
  ASSERT_EQ(::stat((Machines() / "software").c_str(), &entry), 0);
  EXPECT_EQ(entry.st_mode & 07777, 02775u);
  EXPECT_EQ(entry.st_gid, kAnna);
  ASSERT_EQ(::stat((Machines() / "software/%lock").c_str(), &entry), 0);
  EXPECT_EQ(entry.st_mode & 07777, 0660u);
}

TEST_F(MachineRegistry, OnADiskThatCannotBeWrittenTo_IsReadByWhoeverMayAndMissedByNobody) {
  EXPECT_EQ(As(
                kAnna, [] { return WriteAndRead(u"Anna"); }, true),
            "True Anna")
      << "there is none";
  EXPECT_TRUE(fs::exists(Own() / kKey));
  ASSERT_EQ(As(kRootUser, [] { return WriteAndRead(u"root"); }), "True root");
  EXPECT_EQ(As(
                kAnna, [] { return WriteAndRead(u"due"); }, true),
            "root")
      << "the branch is there, the value is not written";
  EXPECT_EQ(As(
                kRootUser, [] { return WriteAndRead(u"due"); }, true),
            "root");
  SetMode(Machines(), 0750);
  EXPECT_EQ(As(
                kAnna, [] { return Read(); }, true),
            "Anna");
}

TEST_F(MachineRegistry, OnceChosen_StaysForTheProcess) {
  ASSERT_EQ(As(kRootUser, [] { return WriteAndRead(u"root"); }), "True root");
  EXPECT_EQ(As(kRootUser,
               [] {
                 const std::string before = Read();
                 if (::setuid(kAnna) != 0) return std::string("can not change user");
                 // Another host of the same process, too.
                 LinuxRegistry another;
                 return InOrder({before, WriteAndRead(u"Anna"), Calls(another).Open("Software"_ansi)});
               }),
            "root False - 5");
  EXPECT_EQ(As(kRootUser,
               [] {
                 if (::seteuid(kAnna) != 0) return std::string("can not change user");
                 const std::string before = WriteAndRead(u"Anna");
                 if (::seteuid(0) != 0) return std::string("can not change user");
                 return InOrder({before, Read()});
               }),
            "True Anna Anna");
  EXPECT_EQ(As(kRootUser, [] { return Read(); }), "root");
}

TEST_F(MachineRegistry, FolderThatIsNamed_ComesBeforeIt) {
  const fs::path named = Home() / "named";
  EXPECT_EQ(As(kRootUser,
               [&] {
                 ::setenv("NERIO_REGISTRY", named.c_str(), 1);
                 LinuxRegistry given(Home() / "given");
                 return InOrder({WriteAndRead(u"root"), Calls(given).Create("k"_ansi)});
               }),
            "True root 0");
  EXPECT_TRUE(fs::exists(named / "HKEY_LOCAL_MACHINE" / kKey));
  EXPECT_TRUE(fs::exists(Home() / "given/HKEY_LOCAL_MACHINE/k"));
  EXPECT_FALSE(fs::exists(Machines()));
}

TEST_F(MachineRegistry, UserWithoutItAndWithoutAHome_HasNone) {
  const auto without = [] {
    ::unsetenv("HOME");
    LinuxRegistry registry;
    return InOrder({WriteAndRead(u"x"), Calls(registry).Open(""_ansi)});
  };
  EXPECT_EQ(As(kAnna, without), "False - 2");
  EXPECT_EQ(As(kRootUser, without), "True x 0");
}

}  // namespace
}  // namespace nerio::platform
