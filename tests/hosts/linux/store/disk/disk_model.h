#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/hosts/linux/store/system_call_seam.h"

namespace nerio::testing {

/// A model of what a disk may hold after the power went: everything that was synced is there; of the rest, changes of
/// folders are there up to some moment, as journals keep them, and each written sector is there or not, whatever the
/// order.
class Disk {
 public:
  /// Takes the files below `root` as they all lie on the disk before the first event.
  explicit Disk(const std::filesystem::path& root);

  /// Lays out one possible state after the first `count` events in another folder.
  /// @param folderChanges how many of the changes of folders that were not synced are there.
  /// @param sectorKept decides about each sector that was not synced.
  void LayOut(const std::vector<DiskEvent>& events, std::size_t count, std::size_t folderChanges,
              const std::function<bool()>& sectorKept, const std::filesystem::path& target) const;

  static bool IsFolderChange(const DiskEvent& event);
  /// Counts the changes of folders among the first `count` events.
  static std::size_t FolderChanges(const std::vector<DiskEvent>& events, std::size_t count);

 private:
  struct PendingSector {
    std::size_t offset;
    std::string bytes;
  };
  struct Node {
    bool isFolder = false;
    std::string content;
    /// What the system shows: with every write. A sector goes to the disk as it is there at some moment.
    std::string cached;
    std::vector<PendingSector> pending;

    void Apply(const std::function<bool()>& isKept);
    void Write(const DiskEvent& event);
  };

  static std::vector<bool> Kept(const std::vector<DiskEvent>& events, std::size_t count, std::size_t folderChanges);
  static void Move(std::map<std::string, std::size_t>& names, const std::string& from, const std::string& to);

  std::filesystem::path root_;
  std::map<std::string, Node> start_;
};

}  // namespace nerio::testing
