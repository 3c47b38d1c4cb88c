#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/hosts/linux/store/disk/disk_model.h"
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
using testing::StoredRegistry;
using Kind = DiskEvent::Kind;

struct Change {
  const char* name;
  std::function<Status(const Calls&)> make;
  std::function<std::string(const Calls&)> state;  // "old" before the change, "new" after it
  std::function<Status(const Calls&)> prepare = nullptr;
};

std::string Told(bool isOld, bool isNew, const std::string& otherwise) {
  return isOld ? "old" : isNew ? "new" : "neither: " + otherwise;
}

std::vector<Change> Changes() {
  std::vector<Change> changes;
  const auto set = [&](const char* name, const std::string& data) {
    changes.push_back({name, [data](const Calls& calls) { return calls.Set("k"_ansi, "v"_ansi, data); },
                       [data](const Calls& calls) {
                         const std::string value = calls.Get("k"_ansi, "v"_ansi);
                         return Told(value == "before", value == data, value.substr(0, 20));
                       }});
  };
  set("overwrite", "after");
  set("overwrite across two sectors", std::string(400, 'b'));
  set("overwrite across many sectors", std::string(2000, 'c'));
  set("overwrite that rewrites the file", std::string(9000, 'd'));
  set("overwrite with zeros", std::string(1500, '\0'));
  changes.push_back({"delete value", [](const Calls& calls) { return calls.DeleteValue("k"_ansi, "v"_ansi); },
                     [](const Calls& calls) {
                       const std::string value = calls.Get("k"_ansi, "v"_ansi);
                       return Told(value == "before", value == "[2]", value);
                     }});
  changes.push_back({"create", [](const Calls& calls) { return calls.Create("k\\new"_ansi); },
                     [](const Calls& calls) {
                       const Status status = calls.Open("k\\new"_ansi);
                       return Told(status == kFileNotFound, status == kSuccess, std::to_string(NumberOf(status)));
                     }});
  changes.push_back({"delete", [](const Calls& calls) { return calls.Delete("k\\doomed"_ansi); },
                     [](const Calls& calls) {
                       const Status status = calls.Open("k\\doomed"_ansi);
                       return Told(status == kSuccess, status == kFileNotFound, std::to_string(NumberOf(status)));
                     }});
  const std::string large(60'000, 'l');
  changes.push_back({"delete value that leaves the file too long",
                     [](const Calls& calls) { return calls.DeleteValue("k"_ansi, "large"_ansi); },
                     [large](const Calls& calls) {
                       const std::string value = calls.Get("k"_ansi, "large"_ansi);
                       return Told(value == large, value == "[2]", value.substr(0, 20));
                     },
                     [large](const Calls& calls) { return calls.Set("k"_ansi, "large"_ansi, large); }});
  return changes;
}

TEST(RegistryPowerCut, AtAnyMoment_LeavesTheOldStateOrTheNewOneAndNeverLosesAnAcknowledgedOne) {
  std::mt19937 random(7);
  std::size_t states = 0;
  for (const Change& change : Changes()) {
    SCOPED_TRACE(change.name);
    StoredRegistry stored;
    const Calls calls = stored.calls();
    ASSERT_EQ(calls.Create("k\\doomed"_ansi), kSuccess);
    ASSERT_EQ(calls.Set("k"_ansi, "other"_ansi, "kept"), kSuccess);
    ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "before"), kSuccess);
    ASSERT_EQ(change.prepare ? change.prepare(calls) : kSuccess, kSuccess);
    const Disk disk(stored.folder());
    testing::RecordDisk();
    ASSERT_EQ(change.make(calls), kSuccess);
    const std::vector<DiskEvent> events = testing::EndRecording();
    ASSERT_EQ(change.state(calls), "new");
    ASSERT_FALSE(events.empty());

    std::set<std::string> seen;
    const testing::TemporaryFolder place(testing::MemoryFolder());
    for (std::size_t count = 0; count <= events.size(); ++count) {
      const std::size_t folderChanges = Disk::FolderChanges(events, count);
      for (std::size_t kept = 0; kept <= folderChanges; ++kept) {
        // No sector, all sectors, all but one, one alone, and any of them.
        for (int choice = 0; choice < 24; ++choice) {
          int sector = 0;
          const auto sectorKept = [&]() -> bool {
            const int number = sector++;
            if (choice < 2) return choice == 1;
            if (choice < 8) return number != choice - 2;
            if (choice < 14) return number == choice - 8;
            return random() % 2 == 0;
          };
          const fs::path target = place.path() / "registry";
          disk.LayOut(events, count, kept, sectorKept, target);
          LinuxRegistry registry(target);
          const Calls after(registry);
          const std::string state = change.state(after);
          ++states;
          seen.insert(state);
          const bool acknowledged = count == events.size();
          ASSERT_TRUE(state == "new" || (!acknowledged && state == "old"))
              << "after " << count << " of " << events.size() << " events, " << kept << " changes of folders, choice "
              << choice << ": " << state;
          ASSERT_EQ(after.Get("k"_ansi, "other"_ansi), "kept");
          if (choice % 6 != 0) continue;
          for (const RegistryFinding& finding : CheckRegistry({target})) {
            ASSERT_EQ(finding.kind, RegistryFinding::Kind::Leftover) << finding.place << ": " << finding.what;
          }
          // The next writer is not in its way, and sweeps.
          const Status again = change.make(after);
          ASSERT_TRUE(again == kSuccess || (state == "new" && again == kFileNotFound)) << again;
          ASSERT_EQ(after.Set("k"_ansi, "other"_ansi, "kept"), kSuccess);
          ASSERT_EQ(change.state(after), "new");
          ASSERT_TRUE(CheckRegistry({target}).empty());
        }
      }
    }
    EXPECT_EQ(seen, (std::set<std::string>{"new", "old"}));
  }
  EXPECT_GT(states, 2000u);
}

// What a write that failed left on the disk is not found there after the next one.
// @param fault,point what fails of the first write. @return whether that call was there.
bool CutAfterAWriteThatFailed(testing::Fault fault, std::size_t point) {
  const std::string failing(2000, 'f');
  StoredRegistry stored;
  const Calls calls = stored.calls();
  EXPECT_EQ(calls.Create("k"_ansi), kSuccess);
  EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "before"), kSuccess);
  const Disk disk(stored.folder());
  testing::RecordDisk();
  testing::PlanFault(point, fault);
  const Status status = calls.Set("k"_ansi, "v"_ansi, failing);
  const bool reached = testing::EndFaults();
  EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "after"), kSuccess);
  const std::vector<DiskEvent> events = testing::EndRecording();
  if (status == kSuccess) return reached;
  const testing::TemporaryFolder place(testing::MemoryFolder());
  for (std::size_t count = 0; count <= events.size(); ++count) {
    for (unsigned sectors = 0; sectors < 64; ++sectors) {
      unsigned sector = 0;
      const auto sectorKept = [&] { return (sectors >> (sector++ % 6) & 1) != 0; };
      const fs::path target = place.path() / "registry";
      disk.LayOut(events, count, Disk::FolderChanges(events, count), sectorKept, target);
      LinuxRegistry registry(target);
      const std::string value = Calls(registry).Get("k"_ansi, "v"_ansi);
      const bool wasThere = value == "after" || (count < events.size() && (value == "before" || value == failing));
      EXPECT_TRUE(wasThere) << "call " << point << " failed, cut after " << count << " of " << events.size()
                            << " events, sectors " << sectors << ": " << value.substr(0, 20);
      if (!wasThere) return reached;
    }
  }
  return reached;
}

TEST(RegistryPowerCut, AfterAWriteThatFailed_LeavesAValueThatWasThere) {
  std::size_t point = 0;
  while (CutAfterAWriteThatFailed(testing::Fault::InputOutput, point)) ++point;
  EXPECT_GT(point, 5u);
  EXPECT_TRUE(CutAfterAWriteThatFailed(testing::Fault::NoSyncs, 0));
}

// A file system without a journal keeps of a new file what it was when it was synced.
TEST(RegistryPowerCut, FileThatReplacesAnother_HasItsOwnerBeforeItIsSynced) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  testing::RecordDisk();
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, std::string(9000, 'd')), kSuccess);
  std::vector<Kind> kinds;
  for (const DiskEvent& event : testing::EndRecording()) kinds.push_back(event.kind);
  EXPECT_THAT(kinds, ::testing::ElementsAre(Kind::MakeFile, Kind::Write, Kind::Own, Kind::SyncFile, Kind::Rename,
                                            Kind::SyncFolder, Kind::Write))
      << "the last one clears the note that the folder is not synced";
}

// Btrfs may keep the removal of the files in a power cut, and not the mark that the folder got before it.
TEST(RegistryPowerCut, KeyThatIsDeletedWhereItLies_HasItsMarkOnTheDiskBeforeItsFilesGo) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  testing::RecordDisk();
  testing::PlanFault(0, testing::Fault::NoRenames);
  ASSERT_EQ(calls.Delete("k"_ansi), kSuccess);
  testing::EndFaults();
  std::vector<Kind> kinds;
  for (const DiskEvent& event : testing::EndRecording()) kinds.push_back(event.kind);
  EXPECT_THAT(kinds, ::testing::ElementsAre(Kind::Write, Kind::SyncFile, Kind::SyncFolder, Kind::RemoveFile,
                                            Kind::RemoveFile, Kind::RemoveFolder, Kind::SyncFolder));
}

// The model has teeth: a store that renames a file into place before it is synced loses its content in it.
TEST(RegistryPowerCut, ModelLosesWhatWasNotSynced) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  const fs::path file = folder.path() / "disk/file";
  fs::create_directory(folder.path() / "disk");
  testing::WriteFile(file, "old");
  const Disk disk(folder.path() / "disk");
  const std::string path = file;
  const std::vector<DiskEvent> events = {
      {Kind::MakeFile, path + ".new", "", 0, ""},
      {Kind::Write, path + ".new", "", 0, std::string(600, 'n')},
      {Kind::Rename, path + ".new", path, 0, ""},
      {Kind::SyncFolder, file.parent_path(), "", 0, ""},
  };
  const fs::path target = folder.path() / "after";
  disk.LayOut(
      events, 4, 0, [] { return false; }, target);
  EXPECT_EQ(testing::FileContent(target / "file"), "");
  disk.LayOut(
      events, 3, 0, [] { return false; }, target);
  EXPECT_EQ(testing::FileContent(target / "file"), "old");
  disk.LayOut(
      events, 4, 0, [] { return true; }, target);
  EXPECT_EQ(testing::FileContent(target / "file"), std::string(600, 'n'));
}

}  // namespace
}  // namespace nerio::platform
