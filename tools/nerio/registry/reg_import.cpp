#include "tools/nerio/registry/reg_import.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "nerio/types/utf8.h"
#include "tools/nerio/registry/registry_failure.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::RegistryApi;
using platform::Status;

// A registry call that stops the import.
struct Refused {
  Status status;
  std::string doing;
  bool creating = false;
};

Failure FailureOf(const Refused& refused, std::size_t line) {
  const std::string doing = (line > 0 ? "line " + std::to_string(line) + ": " : "") + refused.doing;
  Failure failure = refused.creating ? CreationFailure(refused.status, doing) : RegistryFailure(refused.status, doing);
  return std::move(failure).AtLine(line);
}

// What a file is applied to: the registry itself, or a picture of it that changes in its place.
class Target {
 public:
  virtual ~Target() = default;
  // Each of these throws Refused.
  virtual std::size_t CreateKey(const RegistryKey& key) = 0;     // how many levels were missing
  virtual std::size_t DeleteBranch(const RegistryKey& key) = 0;  // how many keys went
  virtual std::optional<StoredValue> Read(const RegistryKey& key, const AnsiText& name) = 0;
  virtual void Set(const RegistryKey& key, const StoredValue& value) = 0;
  virtual void DeleteValue(const RegistryKey& key, const AnsiText& name) = 0;
};

class Texts {
 public:
  explicit Texts(platform::CodePage& codePage) : codePage_(codePage) {}
  std::string Key(const RegistryKey& key) const { return ToUtf8(KeyText(key, codePage_)); }
  std::string Value(const RegistryKey& key, const AnsiText& name) const {
    return (name.empty() ? "the unnamed value" : "\"" + ToUtf8(codePage_.ToText(name)) + "\"") + " in " + Key(key);
  }
  // Upper and lower case are one name to the registry. This folds the letters of the Western code page.
  Text Fold(const AnsiText& name) const {
    Text text = codePage_.ToText(name);
    for (char16_t& unit : text) {
      if ((unit >= u'a' && unit <= u'z') || (unit >= u'à' && unit <= u'þ' && unit != u'÷')) {
        unit = static_cast<char16_t>(unit - 32);
      } else if (unit == u'ÿ') {
        unit = u'Ÿ';
      } else if (unit == u'š' || unit == u'œ' || unit == u'ž') {
        unit = static_cast<char16_t>(unit - 1);
      }
    }
    return text;
  }

 private:
  platform::CodePage& codePage_;
};

std::optional<StoredValue> ReadStored(RegistryApi& registry, const RegistryKey& key, const AnsiText& name,
                                      const Texts& texts) {
  KeyGuard opened;
  StoredValue value;
  Status status = tool::OpenKey(registry, key, platform::kKeyQueryValue, opened);
  if (status == kSuccess) status = ReadValue(registry, opened.get(), name, value);
  if (status == kFileNotFound) return std::nullopt;
  if (status != kSuccess) throw Refused{status, "cannot read " + texts.Value(key, name)};
  return value;
}

std::vector<StoredKey> ReadStoredBranch(RegistryApi& registry, const RegistryKey& key, const Texts& texts) {
  std::vector<StoredKey> branch;
  RegistryKey failed;
  const Status status = ReadBranch(registry, key, branch, failed);
  if (status == kFileNotFound) return {};
  if (status != kSuccess) throw Refused{status, "cannot read " + texts.Key(failed)};
  return branch;
}

// The registry, with a record of how to take every change back.
class LiveTarget : public Target {
 public:
  LiveTarget(RegistryApi& registry, const Texts& texts) : registry_(registry), texts_(texts) {}

  std::size_t CreateKey(const RegistryKey& key) override {
    std::vector<RegistryKey> missing;
    Status found = kSuccess;
    for (RegistryKey level = key; !level.path.empty(); level = UpperKey(level)) {
      KeyGuard opened;
      found = tool::OpenKey(registry_, level, platform::kKeyQueryValue, opened);
      if (found != kFileNotFound) break;
      missing.push_back(level);
    }
    // A key that does not open need not be there.
    if (missing.empty() && found == kSuccess) return 0;
    // Recorded before the call: a creation that fails half way may leave upper levels behind.
    for (auto level = missing.rbegin(); level != missing.rend(); ++level) {
      Record("the new key " + texts_.Key(*level), [this, level = *level] {
        const Status status = registry_.DeleteKey(level.root, level.path);
        return status == kFileNotFound ? kSuccess : status;
      });
    }
    KeyGuard opened;
    bool created = false;
    const Status status = tool::CreateKey(registry_, key, platform::kKeyQueryValue, opened, created);
    if (status != kSuccess) throw Refused{status, "cannot open or create " + texts_.Key(key), true};
    return missing.size();
  }

  std::size_t DeleteBranch(const RegistryKey& key) override {
    std::vector<StoredKey> branch = ReadStoredBranch(registry_, key, texts_);
    if (!branch.empty()) branch.front().key = Spelled(key);
    for (auto stored = branch.rbegin(); stored != branch.rend(); ++stored) {
      const Status status = registry_.DeleteKey(stored->key.root, stored->key.path);
      if (status == kFileNotFound) continue;
      if (status != kSuccess) throw Refused{status, "cannot delete " + texts_.Key(stored->key)};
      Record("the deleted key " + texts_.Key(stored->key), [this, stored = *stored] { return Restore(stored); });
    }
    return branch.size();
  }

  std::optional<StoredValue> Read(const RegistryKey& key, const AnsiText& name) override {
    return ReadStored(registry_, key, name, texts_);
  }

  void Set(const RegistryKey& key, const StoredValue& value) override {
    const std::optional<StoredValue> before = Read(key, value.name);
    const Status status = Store(key, value);
    if (status != kSuccess) throw Refused{status, "cannot write " + texts_.Value(key, value.name)};
    Record(texts_.Value(key, value.name),
           [this, key, before, name = value.name] { return before ? Store(key, *before) : Remove(key, name); });
  }

  void DeleteValue(const RegistryKey& key, const AnsiText& name) override {
    std::optional<StoredValue> before = Read(key, name);
    if (before) before->name = Spelled(key, name);
    const Status status = Remove(key, name);
    if (status == kFileNotFound) return;
    if (status != kSuccess) throw Refused{status, "cannot delete " + texts_.Value(key, name)};
    if (before) Record(texts_.Value(key, name), [this, key, before] { return Store(key, *before); });
  }

  // Takes everything back, the last change first.
  // Returns what could not be taken back.
  std::vector<std::string> Undo() {
    std::vector<std::string> left;
    for (; !steps_.empty(); steps_.pop_back()) {
      const Status status = steps_.back().undo();
      if (status != kSuccess) left.push_back(steps_.back().what + " (" + std::to_string(status) + ")");
    }
    return left;
  }

 private:
  struct Step {
    std::string what;
    std::function<Status()> undo;
  };

  // Returns the key with its own name as the registry spells it, so that undoing its deletion brings that back and not
  // the file's upper and lower case. A name that is not to be found stays as it is.
  RegistryKey Spelled(const RegistryKey& key) {
    const RegistryKey upper = UpperKey(key);
    KeyGuard opened;
    std::vector<AnsiText> names;
    if (tool::OpenKey(registry_, upper, platform::kKeyEnumerateSubKeys, opened) == kSuccess) {
      ListKeys(registry_, opened.get(), names);
    }
    for (const AnsiText& name : names) {
      RegistryKey spelled{key.root, JoinPath(upper.path, name)};
      if (texts_.Fold(spelled.path) == texts_.Fold(key.path)) return spelled;
    }
    return key;
  }

  // The same for the name of a value.
  AnsiText Spelled(const RegistryKey& key, const AnsiText& name) {
    KeyGuard opened;
    std::vector<StoredValue> values;
    if (tool::OpenKey(registry_, key, platform::kKeyQueryValue, opened) == kSuccess) {
      ListValues(registry_, opened.get(), values);
    }
    for (const StoredValue& value : values) {
      if (texts_.Fold(value.name) == texts_.Fold(name)) return value.name;
    }
    return name;
  }

  void Record(std::string what, std::function<Status()> undo) { steps_.push_back({std::move(what), std::move(undo)}); }

  Status Store(const RegistryKey& key, const StoredValue& value) {
    KeyGuard opened;
    const Status status = tool::OpenKey(registry_, key, platform::kKeySetValue, opened);
    return status != kSuccess ? status : StoreValue(registry_, opened.get(), value);
  }

  Status Remove(const RegistryKey& key, const AnsiText& name) {
    KeyGuard opened;
    const Status status = tool::OpenKey(registry_, key, platform::kKeySetValue, opened);
    return status != kSuccess ? status : registry_.DeleteValue(opened.get(), name);
  }

  Status Restore(const StoredKey& stored) {
    KeyGuard opened;
    bool created = false;
    Status status = tool::CreateKey(registry_, stored.key, platform::kKeySetValue, opened, created);
    for (const StoredValue& value : stored.values) {
      if (status == kSuccess) status = StoreValue(registry_, opened.get(), value);
    }
    return status;
  }

  RegistryApi& registry_;
  const Texts& texts_;
  std::vector<Step> steps_;
};

// What the registry would hold: the registry as it is, below the changes so far.
class PictureTarget : public Target {
 public:
  PictureTarget(RegistryApi& registry, const Texts& texts) : registry_(registry), texts_(texts) {}

  std::size_t CreateKey(const RegistryKey& key) override {
    std::size_t missing = 0;
    for (RegistryKey level = key; !level.path.empty(); level = UpperKey(level)) {
      const Status status = Look(level);
      if (status == kSuccess || (status != kFileNotFound && missing > 0)) break;
      if (status != kFileNotFound) throw Refused{status, "cannot open or create " + texts_.Key(key)};
      ++missing;
    }
    for (RegistryKey level = key; !level.path.empty(); level = UpperKey(level)) keys_[Name(level)];
    return missing;
  }

  std::size_t DeleteBranch(const RegistryKey& key) override {
    const Identity top = Name(key);
    std::size_t count = 0;
    if (!IsDeleted(top)) {
      for (const StoredKey& stored : ReadStoredBranch(registry_, key, texts_)) {
        const Identity name = Name(stored.key);
        if (!IsDeleted(name) && keys_.find(name) == keys_.end()) ++count;
      }
    }
    for (auto entry = keys_.begin(); entry != keys_.end();) {
      if (IsBelow(entry->first, top)) {
        ++count;
        entry = keys_.erase(entry);
      } else {
        ++entry;
      }
    }
    deleted_.push_back(top);
    return count;
  }

  std::optional<StoredValue> Read(const RegistryKey& key, const AnsiText& name) override {
    const Identity identity = Name(key);
    const auto known = keys_.find(identity);
    if (known != keys_.end()) {
      const auto value = known->second.find(texts_.Fold(name));
      if (value != known->second.end()) return value->second;
    }
    if (IsDeleted(identity)) return std::nullopt;
    return ReadStored(registry_, key, name, texts_);
  }

  void Set(const RegistryKey& key, const StoredValue& value) override {
    keys_[Name(key)][texts_.Fold(value.name)] = value;
  }

  void DeleteValue(const RegistryKey& key, const AnsiText& name) override {
    keys_[Name(key)][texts_.Fold(name)] = std::nullopt;
  }

 private:
  using Identity = std::pair<platform::KeyHandle, Text>;

  Identity Name(const RegistryKey& key) const { return {key.root, texts_.Fold(key.path)}; }

  static bool IsBelow(const Identity& name, const Identity& top) {
    return name.first == top.first && name.second.starts_with(top.second) &&
           (name.second.size() == top.second.size() || name.second[top.second.size()] == u'\\');
  }

  // Whether what the registry itself has there no longer counts.
  bool IsDeleted(const Identity& name) const {
    return std::any_of(deleted_.begin(), deleted_.end(), [&](const Identity& top) { return IsBelow(name, top); });
  }

  // What opening the key would answer.
  Status Look(const RegistryKey& key) {
    const Identity name = Name(key);
    if (keys_.find(name) != keys_.end()) return kSuccess;
    if (IsDeleted(name)) return kFileNotFound;
    KeyGuard opened;
    return tool::OpenKey(registry_, key, platform::kKeyQueryValue, opened);
  }

  RegistryApi& registry_;
  const Texts& texts_;
  std::map<Identity, std::map<Text, std::optional<StoredValue>>> keys_;
  std::vector<Identity> deleted_;
};

ImportCounts Apply(const std::vector<RegSection>& sections, Target& target, std::size_t& line,
                   const std::function<void(const Change&)>& report) {
  ImportCounts counts;
  for (const RegSection& section : sections) {
    line = section.line;
    if (section.removed) {
      const std::size_t keys = target.DeleteBranch(section.key);
      counts.keysDeleted += keys;
      if (keys > 0) report({Change::kDeleteKey, section.key, keys, {}, {}});
      continue;
    }
    if (const std::size_t levels = target.CreateKey(section.key); levels > 0) {
      counts.keysCreated += levels;
      report({Change::kCreateKey, section.key, levels, {}, {}});
    }
    for (const RegValue& value : section.values) {
      line = value.line;
      const std::optional<StoredValue> before = target.Read(section.key, value.name);
      const StoredValue after{value.name, value.type, value.data};
      if (value.removed) {
        if (!before) continue;
        target.DeleteValue(section.key, value.name);
        ++counts.valuesDeleted;
        report({Change::kDeleteValue, section.key, 0, *before, {}});
      } else if (before && before->type == after.type && before->data == after.data) {
        ++counts.valuesKept;
      } else {
        target.Set(section.key, after);
        ++(before ? counts.valuesChanged : counts.valuesSet);
        report(
            {before ? Change::kChangeValue : Change::kSetValue, section.key, 0, before.value_or(StoredValue{}), after});
      }
    }
  }
  return counts;
}

}  // namespace

ImportCounts Import(const std::vector<RegSection>& sections, RegistryApi& registry, platform::CodePage& codePage) {
  const Texts texts(codePage);
  LiveTarget target(registry, texts);
  std::size_t line = 0;
  try {
    return Apply(sections, target, line, [](const Change&) {});
  } catch (const Refused& refused) {
    const std::vector<std::string> left = target.Undo();
    std::string outcome = "; nothing was imported";
    if (!left.empty()) {
      outcome = "; what was done before was undone, except for";
      for (const std::string& what : left) outcome += "\n  " + what;
    }
    const Failure answer = FailureOf(refused, line);
    throw Failure(answer.exit(), answer.what() + outcome, answer.advice()).WithStatus(refused.status).AtLine(line);
  } catch (...) {
    target.Undo();
    throw;
  }
}

ImportCounts PreviewImport(const std::vector<RegSection>& sections, RegistryApi& registry, platform::CodePage& codePage,
                           const std::function<void(const Change&)>& report) {
  const Texts texts(codePage);
  PictureTarget target(registry, texts);
  std::size_t line = 0;
  try {
    return Apply(sections, target, line, report);
  } catch (const Refused& refused) {
    throw FailureOf(refused, line);
  }
}

}  // namespace nerio::tool
