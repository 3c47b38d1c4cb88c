// What a call acknowledges survives a power cut, also when a process was killed before it in the middle of a change that
// the call builds on.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/disk/disk_model.h"
#include "tests/hosts/linux/store/disk/killed_cases.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::Disk;
using testing::DiskEvent;
using testing::KilledCase;
using testing::kNobody;

// Lays out what the disk may hold after all events, and looks for what was acknowledged.
// @return what is missing or damaged; "" when nothing is.
std::string LossByACut(const Disk& disk, const std::vector<DiskEvent>& events, const KilledCase& one,
                       const fs::path& target) {
  const std::size_t folderChanges = Disk::FolderChanges(events, events.size());
  for (std::size_t kept = 0; kept <= folderChanges; ++kept) {
    for (const bool sectors : {false, true}) {
      disk.LayOut(
          events, events.size(), kept, [sectors] { return sectors; }, target);
      LinuxRegistry registry(target / one.place);
      std::string loss = one.missing(Calls(registry));
      for (const RegistryFinding& finding : CheckRegistry({target / one.place})) {
        if (finding.kind == RegistryFinding::Kind::Damage) loss += finding.place + ": " + finding.what;
      }
      if (!loss.empty()) return loss;
    }
    // The first of those that were not synced, and all of them: each layout takes its time.
    if (kept == 2 && folderChanges > 3) kept = folderChanges - 1;
  }
  return "";
}

struct Outcome {
  std::size_t combinations = 0;
  std::size_t losses = 0;
  std::string example;
};

// Kills the processes at every combination of moments.
Outcome KillInTurn(const KilledCase& one) {
  Outcome outcome;
  const testing::TemporaryFolder place(testing::MemoryFolder());
  for (testing::KillMoments moments(one); moments.More(); moments.Next()) {
    const testing::TemporaryFolder folder(testing::MemoryFolder());
    EXPECT_EQ(testing::Do(one.before, folder.path() / one.place), kSuccess);
    const Disk disk(folder.path());
    testing::RecordDisk();
    moments.Kill(folder.path());
    EXPECT_EQ(testing::Do(one.acknowledged, folder.path() / one.place), kSuccess);
    const std::vector<DiskEvent> events = testing::EndRecording();
    ++outcome.combinations;
    const std::string loss = LossByACut(disk, events, one, place.path() / "registry");
    if (!loss.empty() && ++outcome.losses == 1) outcome.example = moments.Told() + loss;
  }
  return outcome;
}

TEST(KilledBefore, WhatIsAcknowledgedAfterwards_SurvivesAPowerCut) {
  for (const KilledCase& one : testing::KilledCases()) {
    SCOPED_TRACE(one.name);
    const Outcome outcome = KillInTurn(one);
    EXPECT_EQ(outcome.losses, 0u) << "of " << outcome.combinations << ", " << outcome.example;
    EXPECT_GT(outcome.combinations, 5u);
  }
}

// Who may search the folder above but not read it cannot sync it by itself.
TEST(KilledBefore, FolderAboveThatCannotBeOpened_IsSyncedWithItsWholeFileSystem) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become a user who has no right on a folder";
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  ASSERT_EQ(::chown(folder.path().c_str(), kNobody, kNobody), 0);
  const std::string answer = testing::AnswerOfChild([&]() -> std::string {
    if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) return "can not change user";
    const auto syncs = [&](const char* what, const testing::Work& work) {
      testing::RecordDisk();
      std::string told = what + std::to_string(NumberOf(testing::Do(work, folder.path())));
      for (const DiskEvent& event : testing::EndRecording()) {
        if (event.kind == DiskEvent::Kind::SyncAll) told += " synced";
      }
      return told + "; ";
    };
    const auto create = [](const Calls& calls) { return calls.Create("a"_ansi); };
    const auto read = [](const Calls& calls) { return calls.Open("a"_ansi, kKeyRead); };
    const auto open = [](const Calls& calls) { return calls.Open("a"_ansi); };
    if (testing::Do([](const Calls& calls) { return calls.Set(""_ansi, "v"_ansi, "x"); }, folder.path()) != kSuccess)
      return "no root";
    testing::RecordDisk();
    testing::DieAfter(1, DiskEvent::Kind::Rename);
    testing::Do(create, folder.path());
    testing::EndFaults();
    testing::EndRecording();
    fs::permissions(folder.path() / "HKEY_LOCAL_MACHINE", fs::perms::owner_exec);
    std::string told = syncs("read ", read);
    told += syncs("open ", open);
    told += syncs("again ", open);
    fs::permissions(folder.path() / "HKEY_LOCAL_MACHINE", fs::perms::owner_all);
    return told;
  });
  EXPECT_EQ(answer, "read 0; open 0 synced; again 0; ");
}

}  // namespace
}  // namespace nerio::platform
