#include <limits>
#include <nlohmann/json.hpp>

#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/registry_failure.h"
#include "tools/nerio/registry/value_text.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"

namespace nerio::tool {
namespace {

using platform::kFileNotFound;
using platform::kSuccess;
using platform::Status;

struct GetOptions {
  std::string key;
  std::optional<std::string> name;
  std::optional<std::string> fallback;
  bool type = false;
};

Exit Get(Session& session, const GetOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  const AnsiText name = NameOf(session, options.name.value_or(""));
  KeyGuard opened;
  StoredValue value;
  Status status = OpenKey(session.host.registry, key, platform::kKeyQueryValue, opened);
  if (status == kSuccess) status = ReadValue(session.host.registry, opened.get(), name, value);
  Json object{{"key", Shown(session, key)}};
  if (status == kFileNotFound && options.fallback) {
    object.update({{"name", Utf8Name(session, name)}, {"data", *options.fallback}, {"default", true}});
    session.output.Result(object, *options.fallback);
    return Exit::kDone;
  }
  if (status != kSuccess) {
    throw RegistryFailure(status, "cannot read " + ShownName(session, name) + " in " + Shown(session, key));
  }
  object.update(ValueJson(session, value));
  session.output.Result(object,
                        options.type ? TypeName(value.type) : DataText(value.type, value.data, session.host.codePage));
  return Exit::kDone;
}

struct TestOptions {
  std::string key;
  std::optional<std::string> name;
};

Exit Test(Session& session, const TestOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  KeyGuard opened;
  Status status = OpenKey(session.host.registry, key, platform::kKeyQueryValue, opened);
  Json object{{"key", Shown(session, key)}};
  if (options.name) {
    const AnsiText name = NameOf(session, *options.name);
    object["name"] = Utf8Name(session, name);
    StoredValue value;
    if (status == kSuccess) status = ReadValue(session.host.registry, opened.get(), name, value);
  }
  if (status != kSuccess && status != kFileNotFound) {
    throw RegistryFailure(status, "cannot tell whether it is there in " + Shown(session, key));
  }
  const bool there = status == kSuccess;
  object["there"] = there;
  session.output.Result(object, there ? "yes" : "no");
  return there ? Exit::kDone : Exit::kNotFound;
}

struct KeyOptions {
  std::string key;
};

Exit List(Session& session, const KeyOptions& options) {
  const RegistryKey key = KeyOf(session, options.key);
  const KeyGuard opened = Open(session, key, platform::kKeyRead);
  std::vector<StoredValue> values;
  std::vector<AnsiText> keys;
  Status status = ListValues(session.host.registry, opened.get(), values);
  if (status == kSuccess) status = ListKeys(session.host.registry, opened.get(), keys);
  if (status != kSuccess) throw RegistryFailure(status, "cannot list " + Shown(session, key));
  Json object{{"key", Shown(session, key)}, {"values", Json::array()}, {"keys", Json::array()}};
  std::string text;
  for (const StoredValue& value : values) {
    object["values"].push_back(ValueJson(session, value));
    text += ValueLine(session, value) + '\n';
  }
  for (const AnsiText& name : keys) {
    object["keys"].push_back(Utf8Name(session, name));
    text += OneLine(Utf8Name(session, name)) + "\\\n";
  }
  if (session.output.json()) {
    session.output.Result(object, {});
  } else {
    session.output.Bytes(text);
  }
  return Exit::kDone;
}

struct TreeOptions {
  std::string key;
  std::uint32_t depth = std::numeric_limits<std::uint32_t>::max();
  bool values = false;
};

Exit Tree(Session& session, const TreeOptions& options) {
  const RegistryKey top = KeyOf(session, options.key);
  // Only the key itself has to be there and readable; below it, what is refused is shown as such.
  Open(session, top, platform::kKeyRead);
  Json keys = Json::array();
  Exit exit = Exit::kDone;
  const auto show = [&](const Visit& here) {
    std::vector<StoredValue> values;
    Status status = here.status;
    if (status == kSuccess && options.values) status = ListValues(session.host.registry, here.handle, values);
    // It vanished since it was opened: it is left out, as if that had been earlier.
    if (status == platform::kKeyDeleted && here.depth > 0) return true;
    const std::string name =
        here.depth == 0
            ? Shown(session, here.key)
            : Utf8Name(session, AnsiText(here.key.path.bytes().substr(here.key.path.bytes().rfind('\\') + 1))) + '\\';
    const std::string indent(2 * here.depth, ' ');
    Json object{{"key", Shown(session, here.key)}};
    if (status != kSuccess) {
      const Failure failure = RegistryFailure(status, "cannot read " + Shown(session, here.key));
      session.output.Say(failure.what());
      exit = failure.exit();
      object["error"] = failure.ToJson();
    }
    session.output.Line(indent + OneLine(name));
    for (const StoredValue& value : values) {
      session.output.Line(indent + "  " + ValueLine(session, value));
      object["values"].push_back(ValueJson(session, value));
    }
    if (session.output.json()) keys.push_back(std::move(object));
    return true;
  };
  WalkBranch(session.host.registry, top, platform::kKeyQueryValue, show, options.depth);
  if (session.output.json()) session.output.Result({{"key", Shown(session, top)}, {"keys", std::move(keys)}}, {});
  return exit;
}

}  // namespace

void AddReadingVerbs(Verb reg) {
  const auto get = std::make_shared<GetOptions>();
  Verb verb =
      reg.Leaf("get", "Print a value: a text as it is, several one per line, a number in decimal, bytes in hexadecimal",
               "nerio reg get \"HKLM\\Software\\Nerio\\App\" Nome\n"
               "nerio reg get \"HKLM\\Software\\Nerio\\App\" Nome --default prova",
               get, Get);
  verb.Required("KEY", get->key, kKeyHelp);
  verb.Optional("NAME", get->name, "Name of the value; without it the key's unnamed value");
  verb.Optional("--default", get->fallback, "Print this when the value or its key is missing");
  verb.Switch("--type", get->type, "Print the value's type, such as REG_SZ, and not its data");

  const auto test = std::make_shared<TestOptions>();
  verb = reg.Leaf("test", "Tell whether a key or a value is there: yes, or no and exit code 3",
                  "nerio reg test \"HKLM\\Software\\Nerio\\App\"\n"
                  "nerio reg test \"HKLM\\Software\\Nerio\\App\" Nome",
                  test, Test);
  verb.Required("KEY", test->key, kKeyHelp);
  verb.Optional("NAME", test->name, "Name of a value of the key");

  const auto list = std::make_shared<KeyOptions>();
  verb = reg.Leaf("list", "List the values of a key (name, type, data) and the keys directly below it",
                  "nerio reg list \"HKLM\\Software\\Nerio\"\n"
                  "nerio reg list \"HKLM\\Software\\Nerio\" --json",
                  list, List);
  verb.Required("KEY", list->key, kKeyHelp);

  const auto tree = std::make_shared<TreeOptions>();
  verb = reg.Leaf("tree", "Show all keys below a key",
                  "nerio reg tree \"HKLM\\Software\\Nerio\"\n"
                  "nerio reg tree \"HKLM\\Software\\Nerio\" --values\n"
                  "nerio reg tree \"HKLM\\Software\" --depth 1",
                  tree, Tree);
  verb.Required("KEY", tree->key, kKeyHelp);
  verb.Switch("--values", tree->values, "Show their values too");
  verb.Number("--depth", tree->depth, 0, std::numeric_limits<std::uint32_t>::max(),
              "Show no more than N levels below the key; without it all");
}

}  // namespace nerio::tool
