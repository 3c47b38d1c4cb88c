// What a call acknowledges survives a power cut on real file systems: each lies in an image, and a copy of the image is
// what the disk holds at that moment.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tests/hosts/linux/store/disk/killed_cases.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::KilledCase;

struct FileSystem {
  const char* name;
  const char* make;
  /// So that nothing reaches the disk by itself, and a copy can be mounted.
  const char* mountOptions;
  /// What a system does when it starts, before it mounts the image; it may fail.
  const char* check;
};

// The name of a test's parameter, for what a failure prints.
void PrintTo(const FileSystem& system, std::ostream* out) { *out << system.name; }

bool Succeeds(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;  // NOLINT(cert-env33-c): programs of the system
}

class FileSystems : public ::testing::TestWithParam<FileSystem> {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can mount a file system";
    fs::create_directory(Mounted());
    std::ofstream(Image()).close();
    fs::resize_file(Image(), std::uintmax_t{320} << 20);
    if (!Succeeds(GetParam().make + (" " + Image().string())))
      GTEST_SKIP() << "cannot be made here: " << GetParam().make;
    if (!Mount(Image())) GTEST_SKIP() << "no right to mount an image, or no such file system here";
    Unmount();
  }
  ~FileSystems() override {
    if (isMounted_) Unmount();
  }

  fs::path Image() const { return place_.path() / "image"; }
  fs::path Mounted() const { return place_.path() / "mounted"; }

  bool Mount(const fs::path& image) {
    return isMounted_ = Succeeds("mount -o " + std::string(GetParam().mountOptions) + " " + image.string() + " " +
                                 Mounted().string());
  }
  void Unmount() { isMounted_ = !Succeeds("umount " + Mounted().string()); }

  // Returns how often a piece of work in the registry "1" waits for the disk.
  std::ptrdiff_t SyncsOf(const testing::Work& work) const {
    testing::RecordDisk();
    EXPECT_EQ(testing::Do(work, Mounted() / "1"), kSuccess);
    const std::vector<testing::DiskEvent> events = testing::EndRecording();
    return std::count_if(events.begin(), events.end(), [](const testing::DiskEvent& event) {
      using Kind = testing::DiskEvent::Kind;
      return event.kind == Kind::SyncFile || event.kind == Kind::SyncFolder || event.kind == Kind::SyncAll;
    });
  }

  // Does what one case does, up to a cut. @return what is missing after it.
  std::string Loss(const KilledCase& one, testing::KillMoments& moments, const fs::path& folder) {
    EXPECT_TRUE(Mount(Image()));
    fs::create_directory(Mounted() / folder);
    EXPECT_EQ(testing::Do(one.before, Mounted() / folder), kSuccess);
    ::sync();
    testing::RecordDisk();
    moments.Kill(Mounted() / folder);
    testing::EndRecording();
    EXPECT_EQ(testing::Do(one.acknowledged, Mounted() / folder), kSuccess);
    return LossByACut(one.missing, folder);
  }

  // Cuts the power, and leaves nothing mounted. @return what is missing after it.
  std::string LossByACut(const std::function<std::string(const Calls&)>& missing, const fs::path& folder) {
    const fs::path cut = place_.path() / "cut";
    EXPECT_TRUE(Succeeds("cp --sparse=always " + Image().string() + " " + cut.string()));
    Unmount();
    Succeeds(GetParam().check + (" " + cut.string()));
    EXPECT_TRUE(Mount(cut));
    LinuxRegistry registry(Mounted() / folder);
    std::string loss = missing(Calls(registry));
    for (const RegistryFinding& finding : CheckRegistry({Mounted() / folder})) {
      if (finding.kind == RegistryFinding::Kind::Damage) loss += finding.place + ": " + finding.what;
    }
    Unmount();
    return loss;
  }

 private:
  testing::TemporaryFolder place_{testing::MemoryFolder()};
  bool isMounted_ = false;
};

TEST_P(FileSystems, WhatIsAcknowledgedAfterAKill_SurvivesAPowerCut) {
  int folder = 0;
  for (const KilledCase& one : testing::KilledCases()) {
    if (!one.onFileSystems) continue;
    SCOPED_TRACE(one.name);
    int losses = 0;
    int combinations = 0;
    std::string example;
    for (testing::KillMoments moments(one, testing::DiskEvent::Kind::Rename); moments.More(); moments.Next()) {
      const std::string loss = Loss(one, moments, std::to_string(++folder));
      ++combinations;
      if (!loss.empty() && ++losses == 1) example = moments.Told() + loss;
      if (HasFailure()) break;
    }
    EXPECT_EQ(losses, 0) << "of " << combinations << ", " << example;
  }
}

TEST_P(FileSystems, BranchOfThreeLevelsWithAValue_TakesSevenSyncsAndSurvivesAPowerCut) {
  const AnsiText branch = "a\\b\\c"_ansi;
  const auto create = [&](const Calls& calls) { return calls.Create(branch); };
  const auto set = [&](const Calls& calls) { return calls.Set(branch, "v"_ansi, "written"); };
  ASSERT_TRUE(Mount(Image()));
  fs::create_directory(Mounted() / "1");
  ASSERT_EQ(testing::Do([](const Calls& calls) { return calls.Create("other"_ansi); }, Mounted() / "1"), kSuccess);
  ::sync();
  EXPECT_EQ(SyncsOf(create), 6);
  EXPECT_EQ(LossByACut([&](const Calls& calls) { return calls.Open(branch) == kSuccess ? "" : "the key"; }, "1"), "");
  ASSERT_TRUE(Mount(Image()));
  EXPECT_EQ(SyncsOf(set), 1);
  EXPECT_EQ(
      LossByACut([&](const Calls& calls) { return calls.Get(branch, "v"_ansi) == "written" ? "" : "the value"; }, "1"),
      "");
}

INSTANTIATE_TEST_SUITE_P(
    Registry, FileSystems,
    ::testing::Values(FileSystem{"Ext4", "mkfs.ext4 -q -F", "loop,commit=3600", "true"},
                      FileSystem{"Ext4WithoutJournal", "mkfs.ext4 -q -F -O ^has_journal", "loop", "e2fsck -p -f"},
                      FileSystem{"Ext4InodesOf128Bytes", "mkfs.ext4 -q -F -I 128", "loop,commit=3600", "true"},
                      FileSystem{"Xfs", "mkfs.xfs -q -f", "loop,nouuid", "true"},
                      FileSystem{"Btrfs", "mkfs.btrfs -q -f", "loop,commit=3600", "true"}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace nerio::platform
