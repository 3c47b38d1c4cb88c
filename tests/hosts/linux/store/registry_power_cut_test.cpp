#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::DiskEvent;
using testing::StoredRegistry;
using Kind = DiskEvent::Kind;

constexpr std::size_t kSector = 512;

// A model of what a disk may hold after the power went: everything that was synced is there; of the rest, changes of
// folders are there up to some moment, as journals keep them, and each written sector is there or not, whatever the
// order.
class Disk {
 public:
  // @param start the files as they all lay on the disk before the first event; paths are below `root`.
  explicit Disk(const fs::path& root) : root_(root) {
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      Node& node = start_[entry.path()];
      node.isFolder = entry.is_directory();
      if (!node.isFolder) node.content = testing::FileContent(entry.path());
    }
  }

  // Lays out one possible state after the first `count` events in another folder.
  // @param folderChanges how many of the changes of folders that were not synced are there.
  // @param sectorKept decides about each sector that was not synced.
  void LayOut(const std::vector<DiskEvent>& events, std::size_t count, std::size_t folderChanges,
              const std::function<bool()>& sectorKept, const fs::path& target) const {
    std::map<std::string, Node> tree = start_;
    // Which events of folders hold for sure: those before a sync of the folder that they changed.
    std::vector<bool> kept(count, false);
    for (std::size_t i = 0; i < count; ++i) {
      if (!IsFolderChange(events[i])) continue;
      for (std::size_t j = i + 1; j < count && !kept[i]; ++j) {
        kept[i] = events[j].kind == Kind::SyncFolder && events[j].path == fs::path(events[i].path).parent_path();
      }
      if (!kept[i] && folderChanges > 0) {
        kept[i] = true;
        --folderChanges;
      }
    }
    // A file keeps its content under whichever name it has by then.
    std::map<std::string, std::size_t> names;
    std::vector<Node> nodes;
    for (auto& [path, node] : tree) {
      names[path] = nodes.size();
      nodes.push_back(node);
    }
    std::map<std::string, std::size_t> live = names;
    for (std::size_t i = 0; i < count; ++i) {
      const DiskEvent& event = events[i];
      switch (event.kind) {
        case Kind::MakeFolder:
        case Kind::MakeFile:
          live[event.path] = nodes.size();
          if (kept[i]) names[event.path] = nodes.size();
          nodes.push_back({event.kind == Kind::MakeFolder, "", {}});
          break;
        case Kind::Write:
          for (std::size_t at = 0; at < event.bytes.size();) {
            const std::size_t offset = event.offset + at;
            const std::size_t length = std::min(kSector - offset % kSector, event.bytes.size() - at);
            nodes[live.at(event.path)].pending.push_back({offset, event.bytes.substr(at, length)});
            at += length;
          }
          break;
        case Kind::SyncFile:
          nodes[live.at(event.path)].Apply([] { return true; });
          break;
        case Kind::SyncFolder:
        case Kind::Own:
          break;
        case Kind::Rename:
          Move(live, event.path, event.target);
          if (kept[i]) Move(names, event.path, event.target);
          break;
        case Kind::RemoveFile:
        case Kind::RemoveFolder:
          live.erase(event.path);
          if (kept[i]) names.erase(event.path);
          break;
      }
    }
    for (Node& node : nodes) node.Apply(sectorKept);
    fs::remove_all(target);
    fs::create_directory(target);
    for (const auto& [path, index] : names) {
      const fs::path place = target / fs::path(path).lexically_relative(root_);
      // What lies in a folder that is not there is not there either.
      if (!fs::exists(place.parent_path())) continue;
      if (nodes[index].isFolder) {
        fs::create_directory(place);
      } else {
        testing::WriteFile(place, nodes[index].content);
      }
    }
  }

  static bool IsFolderChange(const DiskEvent& event) {
    return event.kind == Kind::MakeFolder || event.kind == Kind::MakeFile || event.kind == Kind::Rename ||
           event.kind == Kind::RemoveFile || event.kind == Kind::RemoveFolder;
  }

 private:
  struct PendingSector {
    std::size_t offset;
    std::string bytes;
  };
  struct Node {
    bool isFolder = false;
    std::string content;
    std::vector<PendingSector> pending;

    void Apply(const std::function<bool()>& isKept) {
      for (const PendingSector& sector : pending) {
        if (!isKept()) continue;
        content.resize(std::max(content.size(), sector.offset + sector.bytes.size()));
        content.replace(sector.offset, sector.bytes.size(), sector.bytes);
      }
      pending.clear();
    }
  };

  // A folder takes with it what lies in it.
  static void Move(std::map<std::string, std::size_t>& names, const std::string& from, const std::string& to) {
    std::map<std::string, std::size_t> moved;
    for (auto at = names.begin(); at != names.end();) {
      const bool inside = at->first == from || at->first.starts_with(from + "/");
      if (inside) moved[to + at->first.substr(from.size())] = at->second;
      at = inside ? names.erase(at) : std::next(at);
    }
    for (const auto& [path, index] : moved) names[path] = index;
  }

  fs::path root_;
  std::map<std::string, Node> start_;
};

struct Change {
  const char* name;
  std::function<Status(const Calls&)> make;
  std::function<std::string(const Calls&)> state;  // "old" before the change, "new" after it
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
    const Disk disk(stored.folder());
    testing::RecordDisk();
    ASSERT_EQ(change.make(calls), kSuccess);
    const std::vector<DiskEvent> events = testing::EndRecording();
    ASSERT_EQ(change.state(calls), "new");
    ASSERT_FALSE(events.empty());

    std::set<std::string> seen;
    const testing::TemporaryFolder place(testing::MemoryFolder());
    for (std::size_t count = 0; count <= events.size(); ++count) {
      const auto folderChanges = static_cast<std::size_t>(
          std::count_if(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(count), Disk::IsFolderChange));
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
                                            Kind::SyncFolder));
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
