#include "tools/nerio/registry/reg_import.h"

#include <algorithm>
#include <string>
#include <utility>

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::RegistryApi;
using platform::Status;

// Makes the changes of a plan, and undoes them.
class Importer {
 public:
  Importer(RegistryApi& registry, platform::CodePage& codePage) : registry_(registry), codePage_(codePage) {}

  void Apply(ImportPlan& plan) {
    done_.reserve(plan.changes.size());
    for (Change& change : plan.changes) {
      // Keys are recorded before the first call: a failing one may leave some of them made or deleted. A value is
      // written or not.
      if (IsOfKeys(change)) done_.push_back(&change);
      if (change.kind == Change::kCreateKey) {
        CreateKeys(change);
      } else if (change.kind == Change::kDeleteKey) {
        DeleteKeys(change);
      } else if (WriteValue(change)) {
        done_.push_back(&change);
      }
    }
  }

  // Undoes everything, the last change first. Returns what could not be undone.
  std::vector<std::string> Undo() {
    std::vector<std::string> left;
    const auto check = [&left](Status status, const std::string& what) {
      if (status != kSuccess) left.push_back(what + " (" + std::to_string(NumberOf(status)) + ")");
    };
    for (; !done_.empty(); done_.pop_back()) {
      const Change& change = *done_.back();
      for (auto key = change.keys.rbegin(); key != change.keys.rend(); ++key) {
        if (change.kind == Change::kCreateKey) {
          const Status status = registry_.DeleteKey(key->key.root, key->key.path);
          check(status == kFileNotFound ? kSuccess : status, "the new key " + ShownKey(key->key, codePage_));
        } else {
          check(Restore(*key), "the deleted key " + ShownKey(key->key, codePage_));
        }
      }
      if (IsOfKeys(change)) continue;
      const AnsiText& name = change.before ? change.before->name : change.after->name;
      check(change.before ? Store(change.key, *change.before) : Remove(change.key, name),
            ShownValue(change.key, name, codePage_));
    }
    return left;
  }

 private:
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
    for (StoredKey& stored : std::exchange(change.keys, {})) {
      const Status status = registry_.DeleteKey(stored.key.root, stored.key.path);
      if (status == kFileNotFound) continue;
      if (status != kSuccess) {
        throw RefusedCall{status, "cannot delete " + ShownKey(stored.key, codePage_), false, change.line};
      }
      change.keys.push_back(std::move(stored));
    }
  }

  // Returns false when the value to delete is gone already.
  bool WriteValue(Change& change) {
    if (change.after) {
      Check(Store(change.key, *change.after), "write", change, change.after->name);
      return true;
    }
    const AnsiText name = std::exchange(change.before->name, Spelled(change.key, change.before->name));
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

  // Returns the name of a value as the registry spells it, so that undoing its deletion brings that back and not the
  // file's upper and lower case. A name that is not to be found stays as it is.
  AnsiText Spelled(const RegistryKey& key, const AnsiText& name) {
    KeyGuard opened;
    std::vector<StoredValue> values;
    if (OpenKey(registry_, key, platform::kKeyQueryValue, opened) == kSuccess) {
      ListValues(registry_, opened.get(), values);
    }
    const Text folded = FoldedName(name, codePage_);
    const auto found = std::find_if(values.begin(), values.end(), [&](const StoredValue& value) {
      return FoldedName(value.name, codePage_) == folded;
    });
    return found != values.end() ? found->name : name;
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
    for (const StoredValue& value : stored.values) {
      if (status == kSuccess) status = StoreValue(registry_, opened.get(), value);
    }
    return status;
  }

  RegistryApi& registry_;
  platform::CodePage& codePage_;
  std::vector<const Change*> done_;
};

}  // namespace

ImportCounts Import(const std::vector<RegSection>& sections, RegistryApi& registry, platform::CodePage& codePage) {
  Importer importer(registry, codePage);
  ImportPlan plan;
  try {
    plan = PlanImport(sections, registry, codePage);
    importer.Apply(plan);
    return plan.counts;
  } catch (const RefusedCall& refused) {
    const std::vector<std::string> left = importer.Undo();
    std::string outcome = "; nothing was imported";
    if (!left.empty()) {
      outcome = "; what was done before was undone, except for";
      for (const std::string& what : left) outcome += "\n  " + what;
    }
    throw refused.ToFailure(outcome);
  } catch (...) {
    importer.Undo();
    throw;
  }
}

}  // namespace nerio::tool
