#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/reliability/power_cuts/operations.h"

namespace nerio::testing {

/// What may be found after a power cut: of what was acknowledged the one new state, of what was not the old or the new one.
class ExpectedState {
 public:
  /// @param entries the journal. @param position how long the disk's log was when the power was cut.
  ExpectedState(const std::vector<JournalEntry>& entries, std::uint64_t position);

  /// Compares it with the disk. @return each difference.
  std::vector<std::string> Differences(const std::filesystem::path& mounted) const;

  /// Writes again to some of the keys, the ones that were changed last among them, and checks the whole disk.
  /// @return what does not work, and each damage.
  std::vector<std::string> LaterWrites(const std::filesystem::path& mounted) const;

 private:
  /// The data that a value may have; with kAbsent it may be missing.
  using Choices = std::set<std::string>;
  struct Key {
    bool mayBeThere = false;
    bool mayBeMissing = true;
    bool mayBeDamaged = false;
    std::map<std::string, Choices> values;
  };
  /// The folder of the registry and the key's path.
  using KeyName = std::pair<std::string, std::string>;

  void Apply(const JournalEntry& entry, bool isAcknowledged);
  void ApplySet(Key& key, const std::string& name, const std::string& data, bool isAcknowledged);
  void ApplyCreate(const Operation& operation, bool isAcknowledged);
  void CompareKey(const std::filesystem::path& mounted, const KeyName& name, const Key& key,
                  std::vector<std::string>& differences) const;
  void FindDamage(const std::filesystem::path& mounted, bool isAfterWrites, std::vector<std::string>& found) const;

  std::map<KeyName, Key> keys_;
  std::vector<KeyName> lastChanged_;
};

}  // namespace nerio::testing
