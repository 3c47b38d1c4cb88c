#include "tools/nerio/registry/branch_state.h"

#include <utility>

namespace nerio::tool {
namespace {

// Lists what one key has and the other, which may be missing, has not or has otherwise.
void CompareKeys(const KeyState* before, const KeyState* after, std::vector<Difference>& differences) {
  static const std::map<Text, StoredValue> kNone;
  const auto& old = before != nullptr ? before->values : kNone;
  const auto& now = after != nullptr ? after->values : kNone;
  if (before == nullptr || after == nullptr) differences.push_back({before, after, nullptr, nullptr});
  auto left = old.begin();
  auto right = now.begin();
  while (left != old.end() || right != now.end()) {
    if (right == now.end() || (left != old.end() && left->first < right->first)) {
      differences.push_back({before, after, &left++->second, nullptr});
    } else if (left == old.end() || right->first < left->first) {
      differences.push_back({before, after, nullptr, &right++->second});
    } else {
      const StoredValue& was = left++->second;
      const StoredValue& is = right++->second;
      if (was.type != is.type || was.data != is.data) differences.push_back({before, after, &was, &is});
    }
  }
}

void Remove(const RegistryKey& key, BranchState& state, platform::CodePage& codePage) {
  const Text top = Folded(KeyText(key, codePage));
  std::erase_if(state, [&](const auto& entry) {
    return entry.first.starts_with(top) && (entry.first.size() == top.size() || entry.first[top.size()] == u'\\');
  });
}

}  // namespace

std::vector<Difference> Compare(const BranchState& before, const BranchState& after) {
  std::vector<Difference> differences;
  auto left = before.begin();
  auto right = after.begin();
  while (left != before.end() || right != after.end()) {
    if (right == after.end() || (left != before.end() && left->first < right->first)) {
      CompareKeys(&left++->second, nullptr, differences);
    } else if (left == before.end() || right->first < left->first) {
      CompareKeys(nullptr, &right++->second, differences);
    } else {
      CompareKeys(&left++->second, &right++->second, differences);
    }
  }
  return differences;
}

BranchState StateOf(const std::vector<RegSection>& sections, platform::CodePage& codePage) {
  BranchState state;
  for (const RegSection& section : sections) {
    if (section.removed) {
      Remove(section.key, state, codePage);
      continue;
    }
    for (RegistryKey level = section.key; !level.path.empty(); level = UpperKey(level)) {
      state.try_emplace(Folded(KeyText(level, codePage)), KeyState{level, {}});
    }
    if (section.key.path.empty() && section.values.empty()) continue;
    auto& values =
        state.try_emplace(Folded(KeyText(section.key, codePage)), KeyState{section.key, {}}).first->second.values;
    for (const RegValue& value : section.values) {
      const Text name = FoldedName(value.name, codePage);
      if (value.removed) {
        values.erase(name);
      } else {
        values.insert_or_assign(name, StoredValue{value.name, value.type, value.data});
      }
    }
  }
  return state;
}

}  // namespace nerio::tool
