// histories FOLDER OPERATIONS SECONDS SEED [stale-read|lost-write]
//
// Records what many processes and threads do to one registry in FOLDER, which is made and must not be there, and looks for an
// order of all calls on each key that explains every answer. Exits 0 when there is one, 1 when an answer has none (it is
// shown, with the calls around it), 2 when the history could not be made or judged.
#include <atomic>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "tests/reliability/histories/recording.h"

namespace nerio::reliability {
namespace {

constexpr std::array kKindNames{"create",       "open",        "delete",       "set",          "get",
                                "delete value", "read values", "create child", "delete child", "list children"};

void Show(const Operation& call, std::int64_t zero) {
  std::cerr << (call.called - zero) / 1000 << ".." << (call.answered - zero) / 1000 << " us: #" << call.id << ' '
            << kKindNames[static_cast<std::size_t>(call.kind)] << " name " << int{call.name} << " handle "
            << call.handle << " -> " << call.status << " values";
  for (const std::uint32_t value : call.values) std::cerr << ' ' << value;
  std::cerr << (call.isNew ? " new" : "") << (call.hasChild ? " child" : "") << '\n';
}

// Shows the calls on a key that had to do with one of them: what overlaps it, and some before.
void ShowAround(const std::vector<Operation>& calls, const Operation& unexplained) {
  const std::int64_t from = unexplained.called - 20'000'000;
  std::cerr << "no order explains #" << unexplained.id << " on key " << unexplained.key << ":\n";
  for (const Operation& call : calls) {
    if (call.answered >= from && call.called <= unexplained.answered) Show(call, from);
  }
}

struct Judgement {
  std::size_t unexplained = 0;
  std::size_t mostStates = 0;
};

Judgement Judge(std::vector<std::vector<Operation>>& keys) {
  Judgement judgement;
  std::mutex mutex;
  std::atomic<std::size_t> next = 0;
  std::vector<std::jthread> threads;
  for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
    threads.emplace_back([&] {
      for (std::size_t key = next++; key < keys.size(); key = next++) {
        std::size_t states = 0;
        const Operation* const unexplained = FindUnexplained(keys[key], states);
        const std::lock_guard lock(mutex);
        judgement.mostStates = std::max(judgement.mostStates, states);
        if (unexplained == nullptr) continue;
        if (judgement.unexplained++ == 0) ShowAround(keys[key], *unexplained);
      }
    });
  }
  threads.clear();
  return judgement;
}

Fault FaultOf(std::string_view name) {
  return name == "stale-read" ? Fault::kStaleRead : name == "lost-write" ? Fault::kLostWrite : Fault::kNone;
}

int Run(const std::vector<std::string>& arguments) {
  if (arguments.size() < 4 || arguments.size() > 5) {
    std::cerr << "usage: histories FOLDER OPERATIONS SECONDS SEED [stale-read|lost-write]\n";
    return 2;
  }
  const Workload workload{.folder = arguments[0],
                          .operations = static_cast<std::uint32_t>(std::stoul(arguments[1])),
                          .end = std::chrono::steady_clock::now() + std::chrono::seconds(std::stoi(arguments[2])),
                          .seed = static_cast<std::uint32_t>(std::stoul(arguments[3])),
                          .fault = arguments.size() == 5 ? FaultOf(arguments[4]) : Fault::kNone};
  std::vector<std::vector<Operation>> keys = Record(workload);
  std::size_t operations = 0;
  for (const auto& key : keys) operations += key.size();
  const Judgement judgement = Judge(keys);
  std::cout << operations << " calls of 16 processes with 8 threads each on " << kKeys << " keys, "
            << judgement.unexplained << " keys without an order, at most " << judgement.mostStates
            << " states at once, seed " << arguments[3] << '\n';
  return judgement.unexplained == 0 ? 0 : 1;
}

}  // namespace
}  // namespace nerio::reliability

int main(int count, char** arguments) {
  try {
    return nerio::reliability::Run({arguments + 1, arguments + count});
  } catch (const std::exception& error) {
    std::cerr << "histories: " << error.what() << '\n';
    return 2;
  }
}
