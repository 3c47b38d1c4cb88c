#include <algorithm>
#include <nlohmann/json.hpp>

#include "nerio/types/utf8.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry/value_text.h"
#include "tools/nerio/registry_system.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::Status;

struct FindOptions {
  std::string text;
  std::optional<std::string> key;
  bool names = false;
  bool values = false;
  bool data = false;
};

// Looks through one branch after the other, and shows what it finds at once.
class Search {
 public:
  Search(Session& session, const FindOptions& options)
      : session_(session), wanted_(Folded(TextOf(options.text, "the text to look for"))), options_(options) {
    if (wanted_.empty()) throw Failure(Exit::kRefused, "the text to look for is empty");
    if (!options_.names && !options_.values && !options_.data) {
      options_.names = options_.values = options_.data = true;
    }
  }

  void Branch(const RegistryKey& top) {
    WalkBranch(session_.host.registry, top, platform::kKeyQueryValue, [&](const Visit& here) {
      if (here.depth > 0 && options_.names && IsIn(LastLevel(here.key))) FoundKey(here.key);
      std::vector<StoredValue> values;
      Status status = here.status;
      if (status == kSuccess && (options_.values || options_.data)) {
        status = ListValues(session_.host.registry, here.handle, values);
      }
      for (const StoredValue& value : values) Look(here.key, value);
      // A root that was never written to is empty, and what vanished since it was listed is gone.
      if (status != kSuccess && status != kFileNotFound && status != platform::kKeyDeleted) Failed(here.key, status);
      return true;
    });
  }

  Exit Result() {
    if (session_.output.json()) {
      session_.output.Result({{"text", options_.text}, {"found", std::move(found_)}, {"errors", std::move(errors_)}},
                             {});
    }
    return count_ > 0 ? Exit::kDone : notFound_;
  }

 private:
  static AnsiText LastLevel(const RegistryKey& key) {
    return AnsiText(key.path.bytes().substr(key.path.bytes().rfind('\\') + 1));
  }

  bool IsIn(const AnsiText& name) const { return FoldedName(name, session_.host.codePage).find(wanted_) != Text::npos; }

  void Look(const RegistryKey& key, const StoredValue& value) {
    const bool inName = options_.values && IsIn(value.name);
    const bool inData =
        options_.data &&
        Folded(FromUtf8(DataText(value.type, value.data, session_.host.codePage))).find(wanted_) != Text::npos;
    if (!inName && !inData) return;
    ++count_;
    session_.output.Line(OneLine(Shown(session_, key)) + '\t' + ValueLine(session_, value));
    if (!session_.output.json()) return;
    Json object{{"key", Shown(session_, key)}};
    object.update(ValueJson(session_, value));
    found_.push_back(std::move(object));
  }

  void FoundKey(const RegistryKey& key) {
    ++count_;
    session_.output.Line(OneLine(Shown(session_, key)));
    if (session_.output.json()) found_.push_back({{"key", Shown(session_, key)}});
  }

  void Failed(const RegistryKey& key, Status status) {
    const Failure failure = RegistryFailure(status, "cannot read " + Shown(session_, key));
    session_.output.Say(failure.what());
    // A damaged or denied key is passed over. Of one that the system could not read nobody knows whether it was in it.
    if (status != platform::kRegistryCorrupt && status != platform::kAccessDenied) notFound_ = failure.exit();
    Json error{{"key", Shown(session_, key)}};
    error.update(failure.ToJson());
    errors_.push_back(std::move(error));
  }

  Session& session_;
  Text wanted_;
  FindOptions options_;
  std::size_t count_ = 0;
  Exit notFound_ = Exit::kNotFound;
  Json found_ = Json::array();
  Json errors_ = Json::array();
};

Exit Find(Session& session, const FindOptions& options) {
  Search search(session, options);
  if (options.key) {
    const RegistryKey key = KeyOf(session, *options.key);
    // What was named has to be there and readable; below it, what is refused is passed over.
    Open(session, key, platform::kKeyRead);
    search.Branch(key);
  } else {
    for (const RegistryPlace& place : RegistryPlaces()) search.Branch({place.root, {}});
  }
  return search.Result();
}

}  // namespace

void AddFind(Verb reg) {
  const auto find = std::make_shared<FindOptions>();
  Verb verb =
      reg.Leaf("find", "Find a text in the names of keys and values and in data; exit code 3 when there is none",
               "nerio reg find prova\n"
               "nerio reg find prova \"HKLM\\Software\\Nerio\"\n"
               "nerio reg find prova \"HKLM\\Software\\Nerio\" --data",
               find, Find);
  verb.Required("TEXT", find->text, "Text to look for, anywhere in a name or in data, in upper or lower case");
  verb.Optional("KEY", find->key, "Key to look in, itself and all below it; without it all roots");
  verb.Switch("--names", find->names, "Look in the names of keys");
  verb.Switch("--values", find->values, "Look in the names of values");
  verb.Switch("--data", find->data, "Look in data as get shows it");
}

}  // namespace nerio::tool
