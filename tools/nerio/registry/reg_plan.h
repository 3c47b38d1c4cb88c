#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nerio/platform/code_page.h"
#include "nerio/platform/registry_api.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/registry_failure.h"

namespace nerio::tool {

/// One change that an import makes, with what it takes to undo it.
struct Change {
  enum Kind { kCreateKey, kDeleteKey, kSetValue, kChangeValue, kDeleteValue };

  Kind kind = kCreateKey;
  RegistryKey key;       ///< as the file names it
  std::size_t line = 0;  ///< of the file
  /// kCreateKey: the levels that are missing, upper ones first. kDeleteKey: the key and those below it with their
  /// values, lower ones first. In short, in the order in which they are made or deleted.
  std::vector<StoredKey> keys;
  std::unique_ptr<StoredValue> before;  ///< kChangeValue, kDeleteValue
  std::optional<StoredValue> after;     ///< kSetValue, kChangeValue
};

/// Counts what an import does.
struct ImportCounts {
  std::size_t keysCreated = 0;
  std::size_t keysDeleted = 0;
  std::size_t valuesSet = 0;
  std::size_t valuesChanged = 0;
  std::size_t valuesDeleted = 0;
  std::size_t valuesKept = 0;  ///< stored already exactly as the file has them
};

/// What an import will do, in the order of the file.
struct ImportPlan {
  std::deque<Change> changes;
  ImportCounts counts;
};

/// A registry call that stops an import.
struct RefusedCall {
  platform::Status status;
  std::string doing;
  bool creating = false;
  std::size_t line = 0;

  /// Makes the failure that it stands for.
  /// @param outcome what became of the import; may be empty.
  Failure ToFailure(const std::string& outcome) const;
};

/// Makes the entry of a .reg file that stores a key as it is.
RegSection SectionOf(StoredKey stored);

/// Finds what importing a .reg file changes, entry by entry, without changing anything.
/// @param reached told the share of the entries and their values that is planned, from 0 to 1.
/// @throws RefusedCall when the registry refuses to be read.
ImportPlan PlanImport(const std::vector<RegSection>& sections, platform::RegistryApi& registry,
                      platform::CodePage& codePage, const std::function<void(double share)>& reached = {});

/// Finds out whether the user may make the changes of a plan, by asking for each right that they will need, and for a
/// disk that can be written to. Another user's changes between this and the import may still have it refused.
/// @throws RefusedCall for the first change that would be refused, as the import itself would have it.
void CheckRights(const ImportPlan& plan, platform::RegistryApi& registry, platform::CodePage& codePage);

}  // namespace nerio::tool
