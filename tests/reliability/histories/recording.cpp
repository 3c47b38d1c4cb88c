#include "tests/reliability/histories/recording.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <charconv>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "nerio/hosts/linux/store/registry.h"
#include "tests/testing/forwarding_registry.h"

namespace nerio::reliability {
namespace {

using namespace platform;  // NOLINT(google-build-using-namespace): the calls and codes

constexpr int kProcesses = 16;
constexpr int kThreads = 8;
constexpr std::uint32_t kFullAccess = 0x2003F;
constexpr std::size_t kMostHandles = 6;
constexpr std::array<const char*, kNames> kNameTexts{"a", "Value", "another one"};

// Memory that all processes have: where the calls are counted, and a place for each.
class SharedHistory {
 public:
  explicit SharedHistory(std::uint32_t operations)
      : size_(sizeof(std::atomic<std::uint32_t>) * 2 + (operations + 1) * sizeof(Operation)), operations_(operations) {
    void* const memory = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no memory for the history");
    counter_ = new (memory) std::atomic<std::uint32_t>(0);
    calls_ = reinterpret_cast<Operation*>(counter_ + 2);
  }
  SharedHistory(const SharedHistory&) = delete;
  SharedHistory& operator=(const SharedHistory&) = delete;
  ~SharedHistory() { ::munmap(counter_, size_); }

  /// Returns the place of the next call, null when there have been enough.
  Operation* Next() {
    const std::uint32_t id = ++*counter_;
    if (id > operations_) return nullptr;
    calls_[id].id = id;
    return &calls_[id];
  }

  std::vector<std::vector<Operation>> ByKey() const {
    std::vector<std::vector<Operation>> keys(kKeys);
    for (std::uint32_t id = 1; id <= operations_; ++id) {
      if (calls_[id].answered != 0) keys[calls_[id].key].push_back(calls_[id]);
    }
    return keys;
  }

 private:
  std::size_t size_;
  std::uint32_t operations_;
  std::atomic<std::uint32_t>* counter_;
  Operation* calls_;
};

// The registry with a planted fault.
class FaultyRegistry final : public testing::ForwardingRegistry {
 public:
  FaultyRegistry(RegistryApi& registry, Fault fault) : ForwardingRegistry(registry), fault_(fault) {}

  Status QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                    std::uint32_t& size) override {
    const Status status = ForwardingRegistry::QueryValue(key, name, type, data, size);
    if (fault_ != Fault::kStaleRead || status != kSuccess) return status;
    const std::lock_guard lock(mutex_);
    std::string& before = read_[{key, name.bytes()}];
    if (!before.empty() && ++calls_ % 50 == 0) {
      size = static_cast<std::uint32_t>(before.copy(data.data(), data.size()));
      return kSuccess;
    }
    before.assign(data.data(), size);
    return status;
  }

  Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                  std::span<const char> data) override {
    if (fault_ == Fault::kLostWrite && ++calls_ % 50 == 0) return kSuccess;
    return ForwardingRegistry::SetValue(key, name, reserved, type, data);
  }

 private:
  Fault fault_;
  std::atomic<std::uint32_t> calls_ = 0;
  std::mutex mutex_;
  std::map<std::pair<KeyHandle, std::string>, std::string> read_;
};

std::int64_t Now() { return std::chrono::steady_clock::now().time_since_epoch().count(); }

// What is stored: the number of the call, and behind it padding, which makes the file grow and be rewritten.
std::string DataOf(std::uint32_t id) {
  std::string data = std::to_string(id) + ":";
  data.append(id % 41 == 0 ? 2000 : id % 90, static_cast<char>('a' + id % 26));
  return data;
}

std::uint32_t IdOf(std::string_view data) {
  std::uint32_t id = 0;
  std::from_chars(data.data(), data.data() + data.size(), id);
  return DataOf(id) == data ? id : Operation::kDamaged;
}

class Worker {
 public:
  Worker(RegistryApi& registry, WholeKeys& wholeKeys, const Workload& workload, SharedHistory& history,
         std::uint32_t seed)
      : registry_(registry), wholeKeys_(wholeKeys), workload_(workload), history_(history), random_(seed) {}

  // Works until there have been enough calls, or `most` of its own.
  void Run(std::uint32_t most) {
    for (std::uint32_t i = 0; i < most && std::chrono::steady_clock::now() < workload_.end; ++i) {
      Operation* const call = history_.Next();
      if (call == nullptr) break;
      if (handles_.empty() || random_() % 10 < 2) {
        ByPath(*call);
      } else {
        ByHandle(*call);
      }
      if (most == kUnlimited && random_() % 4000 == 0) Fork();
    }
    for (const pid_t child : children_) WaitFor(child);
  }

  // Waits for a process. @throws std::runtime_error when it did not end as it should.
  static void WaitFor(pid_t process) {
    int status = 0;
    if (::waitpid(process, &status, 0) != process || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
      throw std::runtime_error("a process ended with " + std::to_string(status));
  }

  static constexpr std::uint32_t kUnlimited = 0xFFFFFFFF;

 private:
  struct Handle {
    KeyHandle handle;
    std::uint32_t id;
    std::uint16_t key;
  };

  template <typename Call>
  void Make(Operation& call, Kind kind, Call make) {
    call.kind = kind;
    call.called = Now();
    call.status = NumberOf(make());
    call.answered = Now();
  }

  void ByPath(Operation& call) {
    call.key = static_cast<std::uint16_t>(random_() % kKeys);
    const AnsiText path("keys\\k" + std::to_string(call.key));
    KeyHandle handle = 0;
    const auto what = random_() % 10;
    if (what == 0) {
      Make(call, Kind::kDelete, [&] { return registry_.DeleteKey(kHkeyLocalMachine, path); });
    } else if (what < 6) {
      std::uint32_t disposition = 0;
      Make(call, Kind::kCreate, [&] {
        return registry_.CreateKey(kHkeyLocalMachine, path, 0, AnsiText(), 0, kFullAccess, {}, handle, disposition);
      });
      call.isNew = disposition == kRegCreatedNewKey;
    } else {
      Make(call, Kind::kOpen, [&] { return registry_.OpenKey(kHkeyLocalMachine, path, 0, kFullAccess, handle); });
    }
    if (handle == 0) return;
    handles_.push_back({handle, call.id, call.key});
    if (handles_.size() <= kMostHandles) return;
    const auto closed = handles_.begin() + static_cast<std::ptrdiff_t>(random_() % handles_.size());
    registry_.CloseKey(closed->handle);
    handles_.erase(closed);
  }

  void ByHandle(Operation& call) {
    const auto& [opened, id, key] = handles_[random_() % handles_.size()];
    const KeyHandle handle = opened;
    call.key = key;
    call.handle = id;
    call.name = static_cast<std::uint8_t>(random_() % kNames);
    const AnsiText name(kNameTexts[call.name]);
    switch (random_() % 16) {
      case 0:
      case 1:
      case 2:
      case 3: {
        const std::string data = DataOf(call.id);
        return Make(call, Kind::kSet, [&] { return registry_.SetValue(handle, name, 0, kRegSz, data); });
      }
      case 4:
        return Make(call, Kind::kDeleteValue, [&] { return registry_.DeleteValue(handle, name); });
      case 5:
      case 6:
        return ReadValues(call, handle);
      case 7:
        return CreateChild(call, handle);
      case 8:
        return Make(call, Kind::kDeleteChild, [&] { return registry_.DeleteKey(handle, AnsiText("c")); });
      case 9: {
        std::vector<AnsiText> names;
        Make(call, Kind::kListChildren, [&] { return wholeKeys_.ReadSubkeys(handle, names); });
        call.hasChild = !names.empty();
        return;
      }
      default:
        return Get(call, handle, name);
    }
  }

  void Get(Operation& call, KeyHandle handle, const AnsiText& name) {
    std::uint32_t type = 0;
    std::array<char, 4000> data{};
    std::uint32_t size = data.size();
    Make(call, Kind::kGet, [&] { return registry_.QueryValue(handle, name, type, data, size); });
    if (call.status == NumberOf(kSuccess)) call.values[0] = IdOf({data.data(), size});
  }

  void ReadValues(Operation& call, KeyHandle handle) {
    std::array<std::uint32_t, kNames> values{};
    Make(call, Kind::kReadValues, [&] {
      return wholeKeys_.ReadValues(handle, [&](const WholeKeys::Value& value) {
        for (std::size_t i = 0; i < kNames; ++i) {
          if (value.name == kNameTexts[i]) values[i] = IdOf(value.data);
        }
      });
    });
    call.values = values;
  }

  void CreateChild(Operation& call, KeyHandle handle) {
    KeyHandle child = 0;
    std::uint32_t disposition = 0;
    Make(call, Kind::kCreateChild, [&] {
      return registry_.CreateKey(handle, AnsiText("c"), 0, AnsiText(), 0, kFullAccess, {}, child, disposition);
    });
    call.isNew = disposition == kRegCreatedNewKey;
    if (child != 0) registry_.CloseKey(child);
  }

  // The child goes on with the handles that it has from this process.
  void Fork() {
    const auto seed = static_cast<std::uint32_t>(random_());
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error("no process could be made");
    if (child > 0) {
      children_.push_back(child);
      return;
    }
    children_.clear();
    random_.seed(seed);
    Run(100);
    ::_exit(0);
  }

  RegistryApi& registry_;
  WholeKeys& wholeKeys_;
  const Workload& workload_;
  SharedHistory& history_;
  std::mt19937 random_;
  std::vector<Handle> handles_;
  std::vector<pid_t> children_;
};

void RunProcess(const Workload& workload, SharedHistory& history, int number) {
  LinuxRegistry registry(workload.folder);
  FaultyRegistry faulty(registry, workload.fault);
  RegistryApi& used = workload.fault == Fault::kNone ? static_cast<RegistryApi&>(registry) : faulty;
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, seed = workload.seed + static_cast<std::uint32_t>(number * kThreads + i) * 7919] {
      Worker(used, registry, workload, history, seed).Run(Worker::kUnlimited);
    });
  }
}

}  // namespace

std::vector<std::vector<Operation>> Record(const Workload& workload) {
  SharedHistory history(workload.operations);
  std::vector<pid_t> processes;
  for (int number = 0; number < kProcesses; ++number) {
    const pid_t process = ::fork();
    if (process < 0) throw std::runtime_error("no process could be made");
    if (process == 0) {
      RunProcess(workload, history, number);
      ::_exit(0);
    }
    processes.push_back(process);
  }
  for (const pid_t process : processes) Worker::WaitFor(process);
  return history.ByKey();
}

}  // namespace nerio::reliability
