#include "tools/nerio/verbs/reg/watch.h"

#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "tools/nerio/registry/branch_state.h"
#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry/value_text.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kKeyDeleted;
using platform::kSuccess;
using platform::Status;

class Watcher {
 public:
  Watcher(Session& session, const RegistryKey& top) : session_(session), top_(top) { state_ = Look(); }

  void Compare() {
    BranchState now = Look();
    for (const Difference& difference : tool::Compare(state_, now)) Show(difference);
    state_ = std::move(now);
  }

 private:
  BranchState Look() {
    BranchState now;
    std::set<Text> unread;
    platform::CodePage& codePage = session_.host.codePage;
    WalkBranch(session_.host.registry, top_, platform::kKeyQueryValue, [&](const Visit& here) {
      std::vector<StoredValue> values;
      Status status = here.status;
      if (status == kSuccess) status = ListValues(session_.host.registry, here.handle, values);
      if (status == kFileNotFound || status == kKeyDeleted) return true;
      Text name = FoldedName(here.key.path, codePage);
      if (status != kSuccess) {
        if (unread_.count(name) == 0) {
          session_.output.Say(RegistryFailure(status, "cannot read " + Shown(session_, here.key)).what());
        }
        KeepBefore(name, now);
        unread.insert(std::move(name));
        return true;
      }
      KeyState& key = now.try_emplace(std::move(name), KeyState{here.key, {}}).first->second;
      for (StoredValue& value : values) {
        Text folded = FoldedName(value.name, codePage);
        key.values.emplace(std::move(folded), std::move(value));
      }
      return true;
    });
    unread_ = std::move(unread);
    return now;
  }

  // Takes a key and those below it as they were.
  void KeepBefore(const Text& top, BranchState& now) const {
    for (const auto& [name, key] : state_) {
      const bool isBelow =
          top.empty() || (name.starts_with(top) && (name.size() == top.size() || name[top.size()] == u'\\'));
      if (isBelow) now.emplace(name, key);
    }
  }

  void Show(const Difference& difference) {
    const bool ofKey = difference.OfKey();
    const bool came = ofKey ? difference.before == nullptr : difference.valueBefore == nullptr;
    const bool went = ofKey ? difference.after == nullptr : difference.valueAfter == nullptr;
    const std::string key = Shown(session_, (difference.after != nullptr ? difference.after : difference.before)->key);
    Json object{{"change", came ? "came" : went ? "went" : "changed"}, {"key", key}};
    std::string line = (came ? "+ " : went ? "- " : "~ ") + OneLine(key);
    if (!ofKey) {
      const StoredValue& value = went ? *difference.valueBefore : *difference.valueAfter;
      line += '\t' + ValueLine(session_, value);
      object.update(ValueJson(session_, value));
    }
    session_.output.Result(object, line);
  }

  Session& session_;
  const RegistryKey& top_;
  std::set<Text> unread_;
  BranchState state_;
};

}  // namespace

void Watch(Session& session, const RegistryKey& key, const std::function<bool()>& next) {
  Open(session, key, platform::kKeyRead);
  Watcher watcher(session, key);
  session.output.Say("watching " + Shown(session, key) + "; Ctrl-C ends it");
  while (session.output.Flush() && next()) watcher.Compare();
}

}  // namespace nerio::tool
