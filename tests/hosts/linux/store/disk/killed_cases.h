#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"

namespace nerio::testing {

using Work = std::function<platform::Status(const Calls&)>;

/// A change that is killed, perhaps more than once, and what is acknowledged after it.
struct KilledCase {
  const char* name;
  /// What is there at first, on the disk.
  Work before;
  /// Each is done by a process of its own, which is killed at some moment.
  std::vector<Work> killed;
  /// What is acknowledged, by a process that nobody kills.
  Work acknowledged;
  /// Answers "" when what was acknowledged is there.
  std::function<std::string(const Calls&)> missing;
  /// It is tried on real file systems too, where each combination of moments takes its time.
  bool onFileSystems = false;
  /// Where the registry is in the folder that is there at first.
  const char* place = "";
};

/// Returns all of them.
std::vector<KilledCase> KilledCases();

/// Does the work as far as the registry is concerned in a process of its own; 0 when there is none to do.
platform::Status Do(const Work& work, const std::filesystem::path& folder);

/// The moments at which the processes of a case are killed: every combination of one moment of each.
class KillMoments {
 public:
  /// @param counted after which events; after any, when there is none.
  explicit KillMoments(const KilledCase& one, std::optional<DiskEvent::Kind> counted = std::nullopt)
      : killed_(one.killed), place_(one.place), counted_(counted), moments_(killed_.size(), 1) {}

  bool More() const { return more_; }
  /// Does the work of the processes, each up to its moment, while events are written down.
  void Kill(const std::filesystem::path& folder);
  /// Goes to the next combination; after `Kill`.
  void Next();
  std::string Told() const;

 private:
  std::vector<Work> killed_;
  std::filesystem::path place_;
  std::optional<DiskEvent::Kind> counted_;
  std::vector<std::size_t> moments_;
  std::vector<bool> wasKilled_;
  bool more_ = true;
};

}  // namespace nerio::testing
