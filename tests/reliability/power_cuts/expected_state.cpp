#include "tests/reliability/power_cuts/expected_state.h"

#include <algorithm>

#include "nerio/hosts/linux/store/registry.h"
#include "nerio/hosts/linux/store/registry_doctor.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

// Text that no value has.
const std::string kAbsent = "[2]";

std::string NumberText(Status status) { return std::to_string(NumberOf(status)); }

std::string Shortened(const std::string& text) { return text.substr(0, 24); }

// All values of a key, by name.
Status ReadValues(LinuxRegistry& registry, const std::string& path, std::map<std::string, std::string>& values) {
  KeyHandle key = 0;
  Status status = registry.OpenKey(kHkeyLocalMachine, AnsiText(path), 0, kKeyRead, key);
  if (status != kSuccess) return status;
  status = registry.ReadValues(
      key, [&](const WholeKeys::Value& value) { values.emplace(std::string(value.name), std::string(value.data)); });
  registry.CloseKey(key);
  return status;
}

// The folder of a key whose names need no encoding.
std::string FolderOf(const std::filesystem::path& registry, std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return registry / "HKEY_LOCAL_MACHINE" / path;
}

}  // namespace

ExpectedState::ExpectedState(const std::vector<JournalEntry>& entries, std::uint64_t position) {
  for (const JournalEntry& entry : entries) {
    if (entry.begun >= position && entry.ended > position) continue;
    const bool isAcknowledged = entry.ended <= position && entry.status == 0;
    const bool isRefused = entry.ended <= position && entry.status != 0;
    if (isRefused) continue;
    Apply(entry, isAcknowledged);
    lastChanged_.emplace_back(entry.operation.place, entry.operation.path);
  }
}

void ExpectedState::ApplySet(Key& key, const std::string& name, const std::string& data, bool isAcknowledged) {
  Choices& choices = key.values.try_emplace(name, Choices{kAbsent}).first->second;
  if (isAcknowledged) choices.clear();
  choices.insert(data);
  // Who can write to a key has found it there, and its file whole.
  if (!isAcknowledged) return;
  key.mayBeMissing = key.mayBeDamaged = false;
}

void ExpectedState::ApplyCreate(const Operation& operation, bool isAcknowledged) {
  for (std::size_t end = 0; end != std::string::npos;) {
    end = operation.path.find('\\', end == 0 ? 0 : end + 1);
    Key& key = keys_[{operation.place, operation.path.substr(0, end)}];
    // What a deletion that was not acknowledged has left may have been there still, or not.
    if (key.mayBeMissing) {
      for (auto& [name, choices] : key.values) choices.insert(kAbsent);
    }
    key.mayBeThere = true;
    if (isAcknowledged) key.mayBeMissing = false;
  }
}

void ExpectedState::Apply(const JournalEntry& entry, bool isAcknowledged) {
  const Operation& operation = entry.operation;
  Key& key = keys_[{operation.place, operation.path}];
  const std::string data = DataOf(operation.number, operation.length);
  switch (operation.kind) {
    case Operation::Kind::Set:
      return ApplySet(key, operation.name, data, isAcknowledged);
    case Operation::Kind::Unset:
      return ApplySet(key, operation.name, kAbsent, isAcknowledged);
    case Operation::Kind::ChangeThree:
      for (const std::string& name : kThreeNames) ApplySet(key, name, data, isAcknowledged);
      return;
    case Operation::Kind::Create:
      return ApplyCreate(operation, isAcknowledged);
    case Operation::Kind::Delete:
    case Operation::Kind::DeleteOnFullDisk:
      if (isAcknowledged) key = {};
      key.mayBeMissing = true;
      return;
    case Operation::Kind::Damage:
      key.mayBeDamaged = true;
      key.values.try_emplace(kBrokenName, Choices{}).first->second.insert(kAbsent);
      return;
    case Operation::Kind::Repair:
      ApplySet(key, kBrokenName, kAbsent, isAcknowledged);
      return;
  }
}

void ExpectedState::CompareKey(const std::filesystem::path& mounted, const KeyName& name, const Key& key,
                               std::vector<std::string>& differences) const {
  LinuxRegistry registry(mounted / name.first);
  std::map<std::string, std::string> values;
  const Status status = ReadValues(registry, name.second, values);
  const auto differs = [&](const std::string& what) {
    differences.push_back(name.first + ": " + name.second + ": " + what);
  };
  if (status == kFileNotFound) return key.mayBeMissing ? void() : differs("the key is missing");
  if (status == kRegistryCorrupt && key.mayBeDamaged) return;
  if (status != kSuccess) return differs("the key answers " + NumberText(status));
  if (!key.mayBeThere) return differs("the key is there");
  for (const auto& [value, choices] : key.values) {
    const auto found = values.find(value);
    const std::string data = found == values.end() ? kAbsent : found->second;
    if (choices.count(data) == 0) {
      differs(value + " is " + Shortened(data) + " and not " + Shortened(*choices.rbegin()));
    }
  }
  for (const auto& [value, data] : values) {
    if (key.values.count(value) == 0) differs("a value that nobody stored: " + value);
  }
  const std::size_t ofThree = static_cast<std::size_t>(
      std::count_if(kThreeNames.begin(), kThreeNames.end(), [&](const auto& one) { return values.count(one) != 0; }));
  const auto isAsFirst = [&](const std::string& one) { return values[one] == values[kThreeNames.front()]; };
  if (ofThree != 0 && !std::all_of(kThreeNames.begin(), kThreeNames.end(), isAsFirst)) differs("a part of one change");
  for (const AnsiText& subkey : Calls(registry).SubKeys(AnsiText(name.second))) {
    const auto known = keys_.find({name.first, name.second + '\\' + subkey.bytes()});
    if (known == keys_.end() || !known->second.mayBeThere) differs("a key that nobody made: " + subkey.bytes());
  }
}

void ExpectedState::FindDamage(const std::filesystem::path& mounted, bool isAfterWrites,
                               std::vector<std::string>& found) const {
  std::set<std::string> places;
  std::set<std::string> mayBeDamaged;
  for (const auto& [name, key] : keys_) {
    places.insert(name.first);
    if (key.mayBeDamaged) mayBeDamaged.insert(FolderOf(mounted / name.first, name.second) + "/%values");
  }
  for (const std::string& place : places) {
    for (const RegistryFinding& finding : CheckRegistry({mounted / place})) {
      const bool isExpected =
          finding.kind == RegistryFinding::Kind::Leftover || (!isAfterWrites && mayBeDamaged.count(finding.place) != 0);
      if (!isExpected) found.push_back(finding.place + ": " + finding.what);
    }
  }
}

std::vector<std::string> ExpectedState::Differences(const std::filesystem::path& mounted) const {
  std::vector<std::string> differences;
  for (const auto& [name, key] : keys_) CompareKey(mounted, name, key, differences);
  FindDamage(mounted, false, differences);
  return differences;
}

std::vector<std::string> ExpectedState::LaterWrites(const std::filesystem::path& mounted) const {
  constexpr std::size_t kMost = 12;
  std::set<KeyName> chosen(lastChanged_.end() - static_cast<std::ptrdiff_t>(std::min(kMost, lastChanged_.size())),
                           lastChanged_.end());
  for (const auto& [name, key] : keys_) {
    if (key.mayBeDamaged) chosen.insert(name);
  }
  std::vector<std::string> failures;
  constexpr std::uint64_t kNumber = 0;
  constexpr std::size_t kLength = 700;
  const auto works = [&](const Operation& operation, bool mayLack) {
    const Status status = Perform(operation, mounted);
    if (status == kSuccess || (mayLack && status == kFileNotFound)) return;
    failures.push_back(operation.place + ": " + operation.path + ": a later operation of kind " +
                       std::to_string(static_cast<int>(operation.kind)) + " answers " + NumberText(status));
  };
  for (const auto& [place, path] : chosen) {
    using Kind = Operation::Kind;
    if (keys_.at({place, path}).mayBeDamaged) works({Kind::Repair, place, path}, true);
    works({Kind::Create, place, path + "\\later"}, false);
    works({Kind::Set, place, path, "later", kNumber, kLength}, false);
    works({Kind::Delete, place, path + "\\later"}, false);
    LinuxRegistry registry(mounted / place);
    if (Calls(registry).Get(AnsiText(path), "later"_ansi) != DataOf(kNumber, kLength)) {
      failures.push_back(path + ": a later value is not there");
    }
  }
  FindDamage(mounted, true, failures);
  return failures;
}

}  // namespace nerio::testing
