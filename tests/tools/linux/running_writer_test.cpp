#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "nerio/platform/host.h"
#include "tests/hosts/linux/store/memory_folder.h"
#include "tests/testing/registry_access.h"
#include "tests/testing/temporary_folder.h"
#include "tools/nerio/command_line.h"

// What the tool lists while another process changes what is listed. NERIO_WRITER_SECONDS says for how long, 3 s by default.
namespace nerio::tool {
namespace {

using platform::RegistryApi;
using Json = nlohmann::json;

constexpr int kKeys = 3;
constexpr int kValues = 12;
constexpr int kSubkeys = 6;

// How many steps the writer has begun and finished: its log, as each step is known by its number.
struct Log {
  std::atomic<int> begun = 0;
  std::atomic<int> done = 0;
};

// The writer's step: it sets or deletes one value of one key, or makes or deletes one subkey. In between the steps it
// fills the file until it is replaced: the texts are of many lengths.
struct Step {
  explicit Step(int number)
      : key(number % kKeys),
        value("V" + std::to_string(number / kKeys % kValues)),
        deletes(number % 7 == 0),
        text(std::to_string(number) + std::string(static_cast<std::size_t>(number) % 400, 'x')),
        subkey("Sub" + std::to_string(number / 5 % kSubkeys)),
        ofSubkey(number % 5 == 0) {}

  int key;
  std::string value;
  bool deletes;
  std::string text;
  std::string subkey;
  bool ofSubkey;
};

using Values = std::map<std::string, std::string>;

void Apply(const Step& step, int key, Values& values) {
  if (step.ofSubkey || step.key != key) return;
  if (step.deletes) {
    values.erase(step.value);
  } else {
    values[step.value] = step.text;
  }
}

AnsiText KeyPath(int key) { return AnsiText("Software\\Nerio\\K" + std::to_string(key)); }

// Changes the registry until it is killed. @return when a call fails.
void Write(RegistryApi& registry, Log& log) {
  platform::KeyHandle keys[kKeys] = {};
  for (int key = 0; key < kKeys; ++key) {
    if (registry.OpenKey(platform::kHkeyLocalMachine, KeyPath(key), 0, testing::kLayerAccess, keys[key]) !=
        platform::kSuccess)
      return;
  }
  for (int number = 1;; ++number) {
    log.begun = number;
    const Step step(number);
    platform::Status status = platform::kSuccess;
    if (step.ofSubkey) {
      const AnsiText path(KeyPath(step.key).bytes() + "\\" + step.subkey);
      platform::KeyHandle made = 0;
      std::uint32_t disposition = 0;
      status =
          registry.CreateKey(platform::kHkeyLocalMachine, path, 0, {}, 0, testing::kLayerAccess, {}, made, disposition);
      registry.CloseKey(made);
      if (status == platform::kSuccess && disposition == platform::kRegOpenedExistingKey)
        status = registry.DeleteKey(platform::kHkeyLocalMachine, path);
    } else if (step.deletes) {
      status = registry.DeleteValue(keys[step.key], AnsiText(step.value));
      if (status == platform::kFileNotFound) status = platform::kSuccess;
    } else {
      status = registry.SetValue(keys[step.key], AnsiText(step.value), 0, platform::kRegSz,
                                 std::span<const char>(step.text));
    }
    if (status != platform::kSuccess) return;
    log.done = number;
  }
}

class RunningWriter : public ::testing::Test {
 protected:
  RunningWriter() : host_(platform::OpenHost({.registryFolder = folder_.path()})) {
    for (int key = 0; key < kKeys; ++key) {
      testing::MakeKey(Registry(), platform::kHkeyLocalMachine, AnsiText(KeyPath(key).bytes() + "\\Stays"));
    }
    void* const shared = ::mmap(nullptr, sizeof(Log), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    log_ = shared == MAP_FAILED ? nullptr : new (shared) Log;
  }
  ~RunningWriter() override {
    if (writer_ > 0) {
      ::kill(writer_, SIGKILL);
      int status = 0;
      ::waitpid(writer_, &status, 0);
      EXPECT_TRUE(WIFSIGNALED(status)) << "the writer met a failure";
    }
    ::munmap(log_, sizeof(Log));
  }

  RegistryApi& Registry() { return host_->Services().registry; }

  void StartWriter() {
    writer_ = ::fork();
    if (writer_ != 0) return;
    Write(Registry(), *log_);
    ::_exit(1);
  }

  Json Run(const std::vector<std::string>& arguments) {
    std::istringstream input;
    std::ostringstream out;
    std::ostringstream err;
    const int exit = CommandLine("9.8.7").Run(arguments, host_->Services(), input, out, err, false);
    EXPECT_EQ(exit, 0) << err.str() << out.str();
    EXPECT_EQ(err.str(), "");
    return Json::parse(out.str(), nullptr, false);
  }

  // Tells whether a key had exactly these values after one of the steps from `first` to `last`.
  bool IsLogged(int key, const Values& seen, int first, int last) {
    for (Values& values = known_[key]; steps_[key] < first; Apply(Step(++steps_[key]), key, values)) {
    }
    Values values = known_[key];
    for (int number = first; values != seen; Apply(Step(++number), key, values)) {
      if (number >= last) return false;
    }
    return true;
  }

  // Checks a list of values that was begun after step `first`.
  void CheckValues(int key, const Json& listed, int first) {
    Values seen;
    for (const Json& value : listed) {
      ASSERT_TRUE(seen.emplace(value["name"], value["data"]).second) << "listed twice: " << value["name"];
    }
    lists_ += seen.empty() ? 0 : 1;
    ASSERT_TRUE(IsLogged(key, seen, first, log_->begun)) << "key " << key << " never held " << listed.dump();
  }

  static void CheckNames(const std::vector<std::string>& names) {
    std::set<std::string> allowed{"Stays"};
    for (int i = 0; i < kSubkeys; ++i) allowed.insert("Sub" + std::to_string(i));
    const std::set<std::string> seen(names.begin(), names.end());
    ASSERT_EQ(seen.size(), names.size()) << "none twice";
    ASSERT_TRUE(seen.contains("Stays")) << ::testing::PrintToString(names);
    for (const std::string& name : names) ASSERT_TRUE(allowed.contains(name)) << name;
  }

  testing::TemporaryFolder folder_{testing::MemoryFolder()};
  std::unique_ptr<platform::HostInstance> host_;
  Log* log_ = nullptr;
  pid_t writer_ = -1;
  Values known_[kKeys];
  int steps_[kKeys] = {};
  int lists_ = 0;
};

std::chrono::seconds Duration() {
  const char* const wanted = std::getenv("NERIO_WRITER_SECONDS");
  return std::chrono::seconds(wanted == nullptr ? 3 : std::max(1, std::atoi(wanted)));
}

std::string LastLevel(const std::string& key) { return key.substr(key.rfind('\\') + 1); }

TEST_F(RunningWriter, EveryListIsAStateThatTheWriterLogged) {
  ASSERT_NE(log_, nullptr);
  StartWriter();
  ASSERT_GT(writer_, 0);
  const std::string top = "HKLM\\Software\\Nerio";
  const auto end = std::chrono::steady_clock::now() + Duration();
  for (int round = 0; std::chrono::steady_clock::now() < end && !HasFailure(); ++round) {
    const int key = round % kKeys;
    int first = log_->done;
    const Json list = Run({"reg", "list", top + "\\K" + std::to_string(key), "--json"});
    CheckValues(key, list["values"], first);
    CheckNames(list["keys"].get<std::vector<std::string>>());
    if (round % 4 != 0) continue;
    first = log_->done;
    std::vector<std::string> below;
    const Json tree = Run({"reg", "tree", top, "--values", "--json"});
    for (const Json& each : tree["keys"]) {
      const std::string name = LastLevel(each["key"]);
      if (name.starts_with("K")) {
        if (!below.empty()) CheckNames(below);
        below.clear();
        CheckValues(name[1] - '0', each.value("values", Json::array()), first);
      } else if (name != "Nerio") {
        below.push_back(name);
      }
    }
    CheckNames(below);
    const Json exported = Run({"reg", "export", top, "--json"});
    EXPECT_GE(exported["keys"], 2 * kKeys + 1) << "the keys that stay";
  }
  EXPECT_GT(log_->done, 200) << "the writer was at work";
  EXPECT_GT(lists_, 20);
  RecordProperty("steps", log_->done);
  RecordProperty("lists", lists_);
}

}  // namespace
}  // namespace nerio::tool
