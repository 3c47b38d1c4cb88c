// The registry on a disk that cannot be written to: all of it can be read with the rights that reading and changing
// take together, and no change is a matter of rights.

#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "nerio/hosts/linux/store/values_format.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::InOrder;
using testing::kFullAccess;

constexpr uid_t kRootUser = 0;
constexpr uid_t kOwner = 65533;
constexpr const char* kNoMount = "no right to mount";

struct ReadOnlyCase {
  const char* name;
  /// The kernel answers EROFS for a whole file system before it looks at the permissions, for a mount after that.
  bool wholeFileSystem;
  uid_t user;
};

void PrintTo(const ReadOnlyCase& one, std::ostream* out) { *out << one.name; }

// Makes a registry of the owner's, open to all for reading except for the key "closed".
void Fill(const fs::path& place) {
  LinuxRegistry registry(place);
  const Calls calls(registry);
  for (const AnsiText& key : {"k\\sub"_ansi, "noted"_ansi, "closed"_ansi}) calls.Create(key);
  calls.Set("k"_ansi, "v"_ansi, "old");
  // As in the image of a disk on which the key's creator was killed.
  std::fstream noted(place / "HKEY_LOCAL_MACHINE/noted/%values", std::ios::in | std::ios::out | std::ios::binary);
  noted.seekp(static_cast<std::streamoff>(Note::KeyNotSynced)).put('\xA5');
  noted.close();
  const auto openToReaders = [](const fs::path& path) {
    if (::chown(path.c_str(), kOwner, kOwner) != 0) return;
    if (path.filename() == "closed") return;
    if (fs::is_directory(path)) fs::permissions(path, static_cast<fs::perms>(0755));
    if (path.filename() == "%values") fs::permissions(path, static_cast<fs::perms>(0644));
  };
  openToReaders(place);
  for (const auto& entry : fs::recursive_directory_iterator(place)) openToReaders(entry.path());
}

// Runs a body on a disk that cannot be written to. Its mounts are its own and gone with it.
template <typename Body>
std::string OnReadOnlyDisk(const ReadOnlyCase& one, Body body) {
  const testing::TemporaryFolder folder{testing::MemoryFolder()};
  fs::permissions(folder.path(), static_cast<fs::perms>(0755));
  const fs::path disk = folder.path() / "disk";
  const fs::path view = one.wholeFileSystem ? disk : folder.path() / "view";
  fs::create_directory(disk);
  fs::create_directory(view);
  return testing::AnswerOfChild([&]() -> std::string {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", disk.c_str(), "tmpfs", 0, "mode=755") != 0) {
      return kNoMount;
    }
    Fill(disk / "registry");
    if (!one.wholeFileSystem && ::mount(disk.c_str(), view.c_str(), nullptr, MS_BIND, nullptr) != 0) return kNoMount;
    const unsigned long bind = one.wholeFileSystem ? 0 : MS_BIND;
    if (::mount(nullptr, view.c_str(), nullptr, bind | MS_REMOUNT | MS_RDONLY, nullptr) != 0) return kNoMount;
    if (one.user != kRootUser && (::setgroups(0, nullptr) != 0 || ::setgid(one.user) != 0 || ::setuid(one.user) != 0)) {
      return "can not change user";
    }
    return body(view / "registry");
  });
}

// Reads with the rights that the layer asks for.
std::string GetWithFullAccess(RegistryApi& registry, const AnsiText& path, const AnsiText& name) {
  KeyHandle key = 0;
  std::uint32_t type = 0;
  std::string data(100, '\0');
  auto size = static_cast<std::uint32_t>(data.size());
  Status status = registry.OpenKey(kHkeyLocalMachine, path, 0, kFullAccess, key);
  if (status == kSuccess) status = registry.QueryValue(key, name, type, data, size);
  return status == kSuccess ? data.substr(0, size) : "[" + std::to_string(NumberOf(status)) + "]";
}

class ReadOnly : public ::testing::TestWithParam<ReadOnlyCase> {};

TEST_P(ReadOnly, Registry_IsReadWithAllRightsAndRefusesChangesAsWriteProtected) {
  const std::string answer = OnReadOnlyDisk(GetParam(), [](const fs::path& place) {
    LinuxRegistry registry(place);
    const Calls calls(registry);
    LinuxRegistry none(place / "a/b");
    std::string text =
        "read " + InOrder({GetWithFullAccess(registry, "k"_ansi, "v"_ansi), calls.Open("k\\sub"_ansi),
                           calls.Open("noted"_ansi), calls.Create("k"_ansi), calls.Open("k"_ansi, kKeyRead),
                           calls.Open("k"_ansi, kKeySetValue), calls.Open("none"_ansi)});
    text += ", change " + InOrder({calls.Set("k"_ansi, "v"_ansi, "new"), calls.DeleteValue("k"_ansi, "v"_ansi),
                                   calls.Create("k\\new"_ansi), calls.Create("new"_ansi), calls.Delete("k\\sub"_ansi),
                                   registry.SetValue(kHkeyLocalMachine, "v"_ansi, 0, kRegSz, std::string("x"))});
    KeyHandle key = 0;
    std::uint32_t disposition = 0;
    text += ", missing root " + InOrder({Calls(none).Open(""_ansi), Calls(none).Create("k"_ansi),
                                         registry.OpenKey(kHkeyCurrentUser, ""_ansi, 0, kFullAccess, key),
                                         registry.CreateKey(kHkeyCurrentUser, "k"_ansi, 0, ""_ansi,
                                                            kRegOptionNonVolatile, kFullAccess, {}, key, disposition)});
    return text + ", found " + std::to_string(CheckRegistry({place / "HKEY_LOCAL_MACHINE/k"}).size());
  });
  if (answer == kNoMount) GTEST_SKIP() << answer;
  EXPECT_EQ(answer, "read old 0 0 0 0 0 2, change 19 19 19 19 19 19, missing root 2 2 2 2, found 0");
}

TEST_P(ReadOnly, KeyWithoutTheRightToRead_StaysClosedToStrangers) {
  const std::string answer = OnReadOnlyDisk(GetParam(), [](const fs::path& place) {
    LinuxRegistry registry(place);
    const Calls calls(registry);
    return InOrder(
        {calls.Open("closed"_ansi), calls.Open("closed"_ansi, kKeyRead), calls.Set("closed"_ansi, "v"_ansi, "x")});
  });
  if (answer == kNoMount) GTEST_SKIP() << answer;
  EXPECT_EQ(answer, GetParam().user == testing::kNobody ? "5 5 5" : "0 0 19");
}

// What is not on the disk cannot be brought there any more, but it can be read.
TEST_P(ReadOnly, KeyThatCannotBeSynced_IsReadAndNotAcknowledged) {
  const std::string answer = OnReadOnlyDisk(GetParam(), [](const fs::path& place) {
    LinuxRegistry registry(place);
    const Calls calls(registry);
    testing::PlanFault(0, testing::Fault::ReadOnlySyncs);
    const std::string answers = InOrder({calls.Open("noted"_ansi), calls.Create("noted"_ansi), calls.Create("k"_ansi)});
    return answers + (testing::EndFaults() ? "" : " without a sync");
  });
  if (answer == kNoMount) GTEST_SKIP() << answer;
  EXPECT_EQ(answer, "0 19 0");
}

INSTANTIATE_TEST_SUITE_P(Disks, ReadOnly,
                         ::testing::Values(ReadOnlyCase{"MountOwner", true, kOwner},
                                           ReadOnlyCase{"MountStranger", true, testing::kNobody},
                                           ReadOnlyCase{"MountRoot", true, kRootUser},
                                           ReadOnlyCase{"BindOwner", false, kOwner},
                                           ReadOnlyCase{"BindStranger", false, testing::kNobody},
                                           ReadOnlyCase{"BindRoot", false, kRootUser}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace nerio::platform
