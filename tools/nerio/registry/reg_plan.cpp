#include "tools/nerio/registry/reg_plan.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "tools/nerio/registry_system.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::RegistryApi;
using platform::Status;

constexpr std::uint32_t kDelete = 0x10000;  // the right to delete a key

// A key whatever the letters of its name: its root and its folded path.
using Identity = std::pair<platform::KeyHandle, Text>;

bool IsBelow(const Identity& name, const Identity& top) {
  return name.first == top.first && name.second.starts_with(top.second) &&
         (name.second.size() == top.second.size() || name.second[top.second.size()] == u'\\');
}

// What the registry holds once the changes that are planned so far are made.
class Picture {
 public:
  Picture(RegistryApi& registry, platform::CodePage& codePage) : registry_(registry), codePage_(codePage) {}

  // Returns the levels of a key that are missing, upper ones first. From then on they are there.
  std::vector<StoredKey> CreateKey(const RegistryKey& key) {
    std::vector<StoredKey> missing;
    for (RegistryKey level = key; !level.path.empty(); level = UpperKey(level)) {
      const Status status = Find(level);
      // A level that is refused may well take the ones below it.
      if (status == kSuccess || (status != kFileNotFound && !missing.empty())) break;
      if (status != kFileNotFound) {
        throw RefusedCall{status, "cannot open or create " + ShownKey(key, codePage_), true};
      }
      missing.push_back({level, {}});
    }
    for (RegistryKey level = key; !level.path.empty(); level = UpperKey(level)) {
      keys_.try_emplace(IdentityOf(level), Known{level, {}, {}, false});
    }
    // There is nothing to read of them.
    for (const StoredKey& made : missing) keys_.at(IdentityOf(made.key)).isRead = true;
    std::reverse(missing.begin(), missing.end());
    return missing;
  }

  // Returns the key and all below it, lower ones first. From then on they are gone.
  std::vector<StoredKey> DeleteBranch(const RegistryKey& key) {
    const Identity top = IdentityOf(key);
    std::vector<StoredKey> branch;
    if (!IsDeleted(top)) branch = ReadStored(key);
    std::erase_if(branch, [this](const StoredKey& stored) { return IsDeleted(IdentityOf(stored.key)); });
    if (!branch.empty()) branch.front().key = Spelled(key);
    for (StoredKey& stored : branch) {
      const auto known = keys_.find(IdentityOf(stored.key));
      if (known == keys_.end()) continue;
      Update(stored, known->second);
      Forget(known);
    }
    // What is left are the keys that the plan makes. In the order of their names, upper ones come first.
    for (auto entry = keys_.begin(); entry != keys_.end();) {
      if (!IsBelow(entry->first, top)) {
        ++entry;
        continue;
      }
      branch.push_back({entry->second.key, {}});
      Update(branch.back(), entry->second);
      entry = Forget(entry);
    }
    deleted_.push_back(top);
    std::reverse(branch.begin(), branch.end());
    return branch;
  }

  // Returns what a value is by then; null for nothing. It lasts until the next call.
  const StoredValue* Read(const RegistryKey& key, const AnsiText& name) {
    Known& known = Of(key);
    const Text folded = Folded(name);
    if (const auto value = known.values.find(folded); value != known.values.end()) return value->second;
    if (known.isRead || IsDeleted(IdentityOf(key))) return nullptr;
    // Where all values come at once, they are read once.
    known.isRead = ReadsAtOnce(registry_);
    KeyGuard opened;
    Status status = OpenKey(registry_, key, platform::kKeyQueryValue, opened);
    if (status == kSuccess) {
      status = known.isRead ? ReadAll(opened.get(), known) : ReadValue(registry_, opened.get(), name, one_);
    }
    if (status == kFileNotFound) return nullptr;
    if (status != kSuccess) throw RefusedCall{status, "cannot read " + ShownValue(key, name, codePage_)};
    if (!known.isRead) return &one_;
    const auto value = known.values.find(folded);
    return value != known.values.end() ? value->second : nullptr;
  }

  // Makes the value what it is to be: null when it is to be deleted. It is borrowed for the life of the picture.
  void Write(const RegistryKey& key, const AnsiText& name, const StoredValue* value) {
    Of(key).values[Folded(name)] = value;
  }

 private:
  // A key that an entry of the file is about: its name, and the values that the plan has read or changed.
  struct Known {
    RegistryKey key;
    std::map<Text, const StoredValue*> values;
    std::vector<StoredValue> read;
    bool isRead = false;  // there are no values but these
  };

  // The values of a section come one after the other.
  Known& Of(const RegistryKey& key) {
    if (last_ == nullptr || lastKey_ != key) {
      last_ = &keys_.try_emplace(IdentityOf(key), Known{key, {}, {}, false}).first->second;
      lastKey_ = key;
    }
    return *last_;
  }

  Status ReadAll(platform::KeyHandle opened, Known& known) const {
    const Status status = ListValues(registry_, opened, known.read);
    for (const StoredValue& value : known.read) known.values.emplace(Folded(value.name), &value);
    return status;
  }

  Text Folded(const AnsiText& name) const { return FoldedName(name, codePage_); }

  Identity IdentityOf(const RegistryKey& key) const { return {key.root, Folded(key.path)}; }

  // Tells whether what the registry itself has there no longer counts.
  bool IsDeleted(const Identity& name) const {
    return std::any_of(deleted_.begin(), deleted_.end(), [&](const Identity& top) { return IsBelow(name, top); });
  }

  // Answers what opening the key would.
  Status Find(const RegistryKey& key) {
    const Identity identity = IdentityOf(key);
    if (keys_.find(identity) != keys_.end()) return kSuccess;
    if (IsDeleted(identity)) return kFileNotFound;
    KeyGuard opened;
    return OpenKey(registry_, key, platform::kKeyQueryValue, opened);
  }

  std::vector<StoredKey> ReadStored(const RegistryKey& key) {
    std::vector<StoredKey> branch;
    RegistryKey failed;
    const Status status = ReadBranch(registry_, key, branch, failed);
    if (status == kFileNotFound) return {};
    if (status != kSuccess) throw RefusedCall{status, "cannot read " + ShownKey(failed, codePage_)};
    return branch;
  }

  // Brings a key's values to what the plan has made of them.
  void Update(StoredKey& stored, const Known& known) const {
    std::map<Text, std::size_t> places;
    for (std::size_t i = 0; i < stored.values.size(); ++i) places.emplace(Folded(stored.values[i].name), i);
    std::vector<StoredValue> added;
    std::vector<bool> isGone(stored.values.size(), false);
    for (const auto& [folded, value] : known.values) {
      const auto at = places.find(folded);
      if (at == places.end()) {
        if (value != nullptr) added.push_back(*value);
      } else if (value != nullptr) {
        stored.values[at->second] = {stored.values[at->second].name, value->type, value->data};
      } else {
        isGone[at->second] = true;
      }
    }
    std::size_t place = 0;
    std::erase_if(stored.values, [&](const StoredValue&) { return isGone[place++]; });
    stored.values.insert(stored.values.end(), added.begin(), added.end());
  }

  // Returns the key with its own name as the registry spells it.
  RegistryKey Spelled(const RegistryKey& key) {
    const RegistryKey upper = UpperKey(key);
    KeyGuard opened;
    std::vector<AnsiText> names;
    if (OpenKey(registry_, upper, platform::kKeyEnumerateSubKeys, opened) == kSuccess) {
      ListKeys(registry_, opened.get(), names);
    }
    for (const AnsiText& name : names) {
      RegistryKey spelled{key.root, JoinPath(upper.path, name)};
      if (Folded(spelled.path) == Folded(key.path)) return spelled;
    }
    return key;
  }

  std::map<Identity, Known>::iterator Forget(std::map<Identity, Known>::iterator known) {
    last_ = nullptr;
    return keys_.erase(known);
  }

  RegistryApi& registry_;
  platform::CodePage& codePage_;
  std::map<Identity, Known> keys_;
  Known* last_ = nullptr;
  RegistryKey lastKey_;
  StoredValue one_;
  std::vector<Identity> deleted_;
};

void PlanValue(const RegSection& section, const RegValue& value, Picture& picture, ImportPlan& plan) {
  const StoredValue* const before = picture.Read(section.key, value.name);
  if (value.removed ? before == nullptr
                    : before != nullptr && before->type == value.type && before->data == value.data) {
    if (!value.removed) ++plan.counts.valuesKept;
    return;
  }
  Change change{Change::kDeleteValue, section.key, value.line, {}, nullptr, {}};
  if (before != nullptr)
    change.before = std::make_unique<StoredValue>(StoredValue{value.name, before->type, before->data});
  if (value.removed) {
    ++plan.counts.valuesDeleted;
  } else {
    change.after = StoredValue{value.name, value.type, value.data};
    change.kind = before != nullptr ? Change::kChangeValue : Change::kSetValue;
    ++(before != nullptr ? plan.counts.valuesChanged : plan.counts.valuesSet);
  }
  const Change& planned = plan.changes.emplace_back(std::move(change));
  picture.Write(section.key, value.name, planned.after ? &*planned.after : nullptr);
}

void PlanKey(const RegSection& section, Picture& picture, ImportPlan& plan) {
  std::vector<StoredKey> keys = section.removed ? picture.DeleteBranch(section.key) : picture.CreateKey(section.key);
  if (keys.empty()) return;
  (section.removed ? plan.counts.keysDeleted : plan.counts.keysCreated) += keys.size();
  plan.changes.push_back({section.removed ? Change::kDeleteKey : Change::kCreateKey,
                          section.key,
                          section.line,
                          std::move(keys),
                          nullptr,
                          {}});
}

// Asks for the rights that changes need, one after the other.
class Rights {
 public:
  Rights(RegistryApi& registry, platform::CodePage& codePage) : registry_(registry), codePage_(codePage) {}

  void Check(const Change& change) {
    if (change.kind == Change::kCreateKey) {
      const RegistryKey& top = change.keys.front().key;
      Require(UpperKey(top), platform::kKeyCreateSubKey, change, "open or create " + ShownKey(change.key, codePage_));
    } else if (change.kind == Change::kDeleteKey) {
      for (const StoredKey& stored : change.keys) {
        const std::string doing = "delete " + ShownKey(stored.key, codePage_);
        Require(stored.key, kDelete, change, doing);
        if (kDeletionRightsAbove != 0) Require(UpperKey(stored.key), kDeletionRightsAbove, change, doing);
      }
      deleted_.push_back(IdentityOf(change.key));
    } else {
      const StoredValue& value = change.after ? *change.after : *change.before;
      Require(change.key, platform::kKeySetValue, change,
              (change.after ? "write " : "delete ") + ShownValue(change.key, value.name, codePage_));
    }
  }

 private:
  Identity IdentityOf(const RegistryKey& key) const { return {key.root, FoldedName(key.path, codePage_)}; }

  // A key that an earlier change makes, or deletes and makes again, is the user's own by then.
  void Require(const RegistryKey& key, std::uint32_t access, const Change& change, const std::string& doing) {
    const Identity identity = IdentityOf(key);
    const auto below = [&](const Identity& top) { return IsBelow(identity, top); };
    if (std::any_of(deleted_.begin(), deleted_.end(), below)) return;
    if (!granted_.insert({identity, access}).second) return;
    KeyGuard opened;
    Status status = OpenKey(registry_, key, access, opened);
    if (status == kSuccess) status = Disk(key.root);
    if (status == kFileNotFound) status = key.path.empty() ? CheckRootCreation(key.root) : kSuccess;
    if (status != kSuccess) throw RefusedCall{status, "cannot " + doing, false, change.line};
  }

  // A disk that cannot be written to takes no right away, and refuses the change all the same.
  Status Disk(platform::KeyHandle root) {
    const auto [known, isNew] = disks_.try_emplace(root, kSuccess);
    if (isNew) known->second = CheckDisk(root);
    return known->second;
  }

  RegistryApi& registry_;
  platform::CodePage& codePage_;
  std::vector<Identity> deleted_;
  std::set<std::pair<Identity, std::uint32_t>> granted_;
  std::map<platform::KeyHandle, Status> disks_;
};

}  // namespace

Failure RefusedCall::ToFailure(const std::string& outcome) const {
  const std::string at = (line > 0 ? "line " + std::to_string(line) + ": " : "") + doing;
  const Failure failure = creating ? CreationFailure(status, at) : RegistryFailure(status, at);
  Failure told = Failure(failure.exit(), failure.what() + outcome, failure.advice()).WithStatus(NumberOf(status));
  return line > 0 ? std::move(told).AtLine(line) : told;
}

RegSection SectionOf(StoredKey stored) {
  RegSection section{std::move(stored.key), false, {}, 0};
  for (StoredValue& value : stored.values) {
    section.values.push_back({std::move(value.name), false, value.type, std::move(value.data), 0});
  }
  return section;
}

ImportPlan PlanImport(const std::vector<RegSection>& sections, RegistryApi& registry, platform::CodePage& codePage,
                      const std::function<void(double)>& reached) {
  Picture picture(registry, codePage);
  ImportPlan plan;
  std::size_t line = 0;
  std::size_t done = 0;
  std::size_t all = sections.size();
  for (const RegSection& section : sections) all += section.values.size();
  const auto planned = [&] {
    if (reached) reached(static_cast<double>(++done) / static_cast<double>(all));
  };
  try {
    for (const RegSection& section : sections) {
      line = section.line;
      PlanKey(section, picture, plan);
      planned();
      for (const RegValue& value : section.values) {
        line = value.line;
        PlanValue(section, value, picture, plan);
        planned();
      }
    }
  } catch (RefusedCall& refused) {
    refused.line = line;
    throw;
  }
  return plan;
}

void CheckRights(const ImportPlan& plan, RegistryApi& registry, platform::CodePage& codePage) {
  Rights rights(registry, codePage);
  for (const Change& change : plan.changes) rights.Check(change);
}

}  // namespace nerio::tool
