#pragma once

#include <map>
#include <vector>

#include "nerio/platform/code_page.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/registry_key.h"

namespace nerio::tool {

/// One key of a branch: how it is spelt, and its values by their folded names.
struct KeyState {
  RegistryKey key;
  std::map<Text, StoredValue> values;
};

/// A branch as it was at one time: its keys by their folded names, which says what they are compared by.
using BranchState = std::map<Text, KeyState>;

/// One way in which two branches differ: a key that one of them lacks, or a value that one of them lacks or that has
/// another type or other bytes. The pointers lead into the two states.
struct Difference {
  const KeyState* before = nullptr;          ///< the key in the first branch; null where it is not there
  const KeyState* after = nullptr;           ///< in the second one
  const StoredValue* valueBefore = nullptr;  ///< null for a key, and where the first branch has no such value
  const StoredValue* valueAfter = nullptr;

  /// Tells whether it is about a key that one of the two lacks.
  bool OfKey() const { return valueBefore == nullptr && valueAfter == nullptr; }
};

/// Compares two branches. Names that differ in case only are one name. The result is in the order of the folded names, a
/// key before its values; what a key has that the other branch lacks is listed too.
std::vector<Difference> Compare(const BranchState& before, const BranchState& after);

/// Returns what importing the entries of a .reg file into an empty registry makes: all keys that they name, and those
/// above, by their full names, but not the roots.
BranchState StateOf(const std::vector<RegSection>& sections, platform::CodePage& codePage);

}  // namespace nerio::tool
