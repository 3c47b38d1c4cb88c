#include "tools/nerio/registry/reg_import.h"

#include <algorithm>
#include <string>
#include <utility>

#include "nerio/platform/whole_keys.h"

namespace nerio::tool {
namespace {

// The share of an import that planning it is, where most of it has to be changed.
constexpr double kPlanning = 0.2;

using platform::kFileNotFound;
using platform::kSuccess;
using platform::RegistryApi;
using platform::Status;
using ValueChange = platform::WholeKeys::ValueChange;

// The user wants no more of it.
struct Interrupted {};

// Makes the changes of a plan, and undoes them.
class Importer {
 public:
  Importer(RegistryApi& registry, platform::CodePage& codePage, const std::function<bool()>& interrupted,
           const std::function<void(double)>& reached)
      : registry_(registry), codePage_(codePage), interrupted_(interrupted), reached_(reached) {}

  void Apply(ImportPlan& plan) {
    done_.reserve(plan.changes.size());
    for (std::size_t i = 0; i < plan.changes.size();) {
      StopIfInterrupted();
      if (reached_) {
        reached_(kPlanning + (1 - kPlanning) * static_cast<double>(i) / static_cast<double>(plan.changes.size()));
      }
      Change& change = plan.changes[i];
      std::vector<Change*> together = ValuesTogether(plan, i);
      i += std::max<std::size_t>(together.size(), 1);
      // Keys are recorded before the first call: a failing one may leave some of them made or deleted. A value is
      // written or not.
      if (IsOfKeys(change)) done_.push_back(&change);
      if (change.kind == Change::kCreateKey) {
        CreateKeys(change);
      } else if (change.kind == Change::kDeleteKey) {
        DeleteKeys(change);
      } else if (together.size() > 1) {
        WriteTogether(together);
      } else if (WriteValue(change)) {
        done_.push_back(&change);
      }
    }
  }

  // Undoes everything, the last change first, and says what became of the import.
  std::string UndoAll(const char* nothing) {
    const std::vector<std::string> left = Undo();
    if (left.empty()) return std::string("; ") + nothing;
    std::string outcome = "; what was done before was undone, except for";
    for (const std::string& what : left) outcome += "\n  " + what;
    return outcome;
  }

 private:
  void StopIfInterrupted() const {
    if (interrupted_()) throw Interrupted();
  }

  // Returns what could not be undone.
  std::vector<std::string> Undo() {
    std::vector<std::string> left;
    const auto check = [&left](Status status, const std::string& what) {
      if (status != kSuccess) left.push_back(what + " (" + std::to_string(NumberOf(status)) + ")");
    };
    while (!done_.empty()) {
      const Change& change = *done_.back();
      for (auto key = change.keys.rbegin(); key != change.keys.rend(); ++key) {
        if (change.kind == Change::kCreateKey) {
          const Status status = registry_.DeleteKey(key->key.root, key->key.path);
          check(IsMissing(key->key, status) ? kSuccess : status, "the new key " + ShownKey(key->key, codePage_));
        } else {
          check(Restore(*key), "the deleted key " + ShownKey(key->key, codePage_));
        }
      }
      if (IsOfKeys(change)) {
        done_.pop_back();
        continue;
      }
      // As many as were written together.
      std::vector<ValueChange> back;
      while (!done_.empty() && (back.empty() || whole_ != nullptr) && !IsOfKeys(*done_.back()) &&
             done_.back()->key == change.key) {
        back.push_back(Reversed(*done_.back()));
        done_.pop_back();
      }
      const bool isTogether = whole_ != nullptr && back.size() > 1;
      const Status status = isTogether ? StoreTogether(change.key, back) : StoreOne(change.key, back.front());
      for (const ValueChange& each : back) {
        const bool isMissing = isTogether && status == kSuccess && each.deletion && !each.deleted;
        check(isMissing ? kFileNotFound : status, ShownValue(change.key, AnsiText(std::string(each.name)), codePage_));
      }
    }
    return left;
  }

  // A deletion may be refused before it looks for the key, by a read-only disk for instance.
  bool IsMissing(const RegistryKey& key, Status deletion) {
    KeyGuard opened;
    return deletion == kFileNotFound ||
           (deletion != kSuccess && OpenKey(registry_, key, platform::kKeyQueryValue, opened) == kFileNotFound);
  }

  static bool IsOfKeys(const Change& change) {
    return change.kind == Change::kCreateKey || change.kind == Change::kDeleteKey;
  }

  void CreateKeys(const Change& change) {
    KeyGuard opened;
    bool created = false;
    const Status status = CreateKey(registry_, change.key, platform::kKeyQueryValue, opened, created);
    if (status != kSuccess) {
      throw RefusedCall{status, "cannot open or create " + ShownKey(change.key, codePage_), true, change.line};
    }
  }

  // Leaves in the change the keys that were deleted, in this order.
  void DeleteKeys(Change& change) {
    std::vector<StoredKey> planned = std::exchange(change.keys, {});
    change.keys.reserve(planned.size());
    for (StoredKey& stored : planned) {
      StopIfInterrupted();
      const Status status = registry_.DeleteKey(stored.key.root, stored.key.path);
      if (status == kFileNotFound) continue;
      if (status != kSuccess) {
        std::string doing = "cannot delete " + ShownKey(stored.key, codePage_);
        // Where the disk fails at the end of a deletion, the key is gone and its deletion refused.
        if (IsMissing(stored.key, status)) change.keys.push_back(std::move(stored));
        throw RefusedCall{status, std::move(doing), false, change.line};
      }
      change.keys.push_back(std::move(stored));
    }
  }

  // Returns the changes of the values of one key that come one after the other, from `first` on, where the registry makes
  // them at once; none for a change of keys.
  std::vector<Change*> ValuesTogether(ImportPlan& plan, std::size_t first) const {
    std::vector<Change*> together;
    for (std::size_t i = first; whole_ != nullptr && i < plan.changes.size(); ++i) {
      Change& change = plan.changes[i];
      if (IsOfKeys(change) || change.key != plan.changes[first].key) break;
      together.push_back(&change);
    }
    return together;
  }

  // What is to be deleted and is gone already is left out of what is undone.
  void WriteTogether(const std::vector<Change*>& together) {
    std::vector<ValueChange> changes;
    changes.reserve(together.size());
    for (const Change* change : together) {
      changes.push_back(change->after ? Setting(*change->after) : Deletion(change->before->name));
    }
    const Status status = StoreTogether(together.front()->key, changes);
    const auto set =
        std::find_if(together.begin(), together.end(), [](const Change* each) { return each->after.has_value(); });
    // To delete from a key that is gone is no failure.
    if (status == kFileNotFound && set == together.end()) return;
    const Change& blamed = status == kFileNotFound ? **set : *together.front();
    const bool isSet = blamed.after.has_value();
    Check(status, isSet ? "write" : "delete", blamed, isSet ? blamed.after->name : blamed.before->name);
    for (std::size_t i = 0; i < together.size(); ++i) {
      if (changes[i].deletion && !changes[i].deleted) continue;
      if (changes[i].deletion) together[i]->before->name = AnsiText(*changes[i].deleted);
      done_.push_back(together[i]);
    }
  }

  static ValueChange Setting(const StoredValue& value) {
    return {value.name.bytes(), false, value.type, value.data, std::nullopt};
  }

  static ValueChange Deletion(const AnsiText& name) { return {name.bytes(), true, 0, {}, std::nullopt}; }

  static ValueChange Reversed(const Change& change) {
    return change.before ? Setting(*change.before) : Deletion(change.after->name);
  }

  Status StoreTogether(const RegistryKey& key, std::vector<ValueChange>& changes) {
    KeyGuard opened;
    const Status status = OpenKey(registry_, key, platform::kKeySetValue, opened);
    return status != kSuccess ? status : whole_->ChangeValues(opened.get(), changes);
  }

  Status StoreOne(const RegistryKey& key, const ValueChange& change) {
    const AnsiText name{std::string(change.name)};
    return change.deletion ? Remove(key, name) : Store(key, {name, change.type, std::string(change.data)});
  }

  // Returns false when the value to delete is gone already.
  bool WriteValue(Change& change) {
    if (change.after) {
      Check(Store(change.key, *change.after), "write", change, change.after->name);
      return true;
    }
    // Undoing its deletion brings back the registry's upper and lower case and not the file's.
    const AnsiText name =
        std::exchange(change.before->name, SpelledName(registry_, codePage_, change.key, change.before->name));
    const Status status = Remove(change.key, name);
    if (status == kFileNotFound) return false;
    Check(status, "delete", change, name);
    return true;
  }

  void Check(Status status, const char* verb, const Change& change, const AnsiText& name) const {
    if (status == kSuccess) return;
    throw RefusedCall{status, std::string("cannot ") + verb + " " + ShownValue(change.key, name, codePage_), false,
                      change.line};
  }

  Status Store(const RegistryKey& key, const StoredValue& value) {
    KeyGuard opened;
    const Status status = OpenKey(registry_, key, platform::kKeySetValue, opened);
    return status != kSuccess ? status : StoreValue(registry_, opened.get(), value);
  }

  Status Remove(const RegistryKey& key, const AnsiText& name) {
    KeyGuard opened;
    const Status status = OpenKey(registry_, key, platform::kKeySetValue, opened);
    return status != kSuccess ? status : registry_.DeleteValue(opened.get(), name);
  }

  Status Restore(const StoredKey& stored) {
    KeyGuard opened;
    bool created = false;
    Status status = CreateKey(registry_, stored.key, platform::kKeySetValue, opened, created);
    if (status == kSuccess && whole_ != nullptr && stored.values.size() > 1) {
      std::vector<ValueChange> changes;
      for (const StoredValue& value : stored.values) changes.push_back(Setting(value));
      return whole_->ChangeValues(opened.get(), changes);
    }
    for (const StoredValue& value : stored.values) {
      if (status == kSuccess) status = StoreValue(registry_, opened.get(), value);
    }
    return status;
  }

  RegistryApi& registry_;
  platform::CodePage& codePage_;
  const std::function<bool()>& interrupted_;
  const std::function<void(double)>& reached_;
  platform::WholeKeys* const whole_ = dynamic_cast<platform::WholeKeys*>(&registry_);
  std::vector<const Change*> done_;
};

}  // namespace

ImportCounts Import(std::vector<RegSection> sections, RegistryApi& registry, platform::CodePage& codePage,
                    const std::function<bool()>& interrupted, const std::function<void(double)>& reached,
                    const char* nothing) {
  Importer importer(registry, codePage, interrupted, reached);
  ImportPlan plan;
  try {
    plan = PlanImport(sections, registry, codePage, [&](double share) {
      if (reached) reached(kPlanning * share);
    });
    // The plan holds all of it by now.
    sections.clear();
    importer.Apply(plan);
    return plan.counts;
  } catch (const RefusedCall& refused) {
    throw refused.ToFailure(importer.UndoAll(nothing));
  } catch (const Interrupted&) {
    throw Failure(Exit::kFailed, "interrupted" + importer.UndoAll(nothing));
  } catch (...) {
    importer.UndoAll(nothing);
    throw;
  }
}

}  // namespace nerio::tool
