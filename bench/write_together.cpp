// Eight writers on one branch: each overwrites a value of its own, durable when the call returns. What is measured is how
// many writes come through together, and how long the unluckiest of them waits for its turn.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "bench/settings.h"
#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/registry/cregistry.h"

namespace {

using namespace nerio::bench;  // NOLINT(google-build-using-namespace)

constexpr int kWriters = 8;

// Two texts that take turns, so that each write changes something.
const std::array<nerio::Text, 2> kTexts = {u"un valore", u"un altro valore"};

// Writes in turn with the others, and tells the longest that one write took.
template <typename Write>
void Overwrite(benchmark::State& state, Write write) {
  using Clock = std::chrono::steady_clock;
  const auto writer = static_cast<std::size_t>(state.thread_index());
  std::size_t turn = 0;
  Clock::duration longest{};
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    if (!write(writer, kTexts[++turn % 2])) return state.SkipWithError("cannot write");
    longest = std::max(longest, Clock::now() - start);
  }
  const double milliseconds = std::chrono::duration<double, std::milli>(longest).count();
  state.counters["longest_ms"] = benchmark::Counter(milliseconds, benchmark::Counter::kAvgThreads);
}

}  // namespace

int main(int argc, char** argv) {
  const Folder disk;
  Lmdb lmdb(disk.Make("lmdb"));
  // Each writer has a registry of its own, as a process has.
  std::array<std::unique_ptr<nerio::platform::HostInstance>, kWriters> hosts;
  for (auto& host : hosts) host = nerio::platform::OpenHost({.registryFolder = disk.path() / "registry"});
  const auto add = [](const char* name, auto write) {
    Contender(name, [write](benchmark::State& state) { Overwrite(state, write); })->Threads(kWriters)->UseRealTime();
  };
  add("write_together/nerio", [&](std::size_t writer, const nerio::Text& text) {
    nerio::CRegistry registry(hosts.at(writer)->Services());
    registry.RamoPredefinito(u"Ramo");
    return registry.ScriviRegistroEx(Numbered(u"Valore", writer), text) == u"True";
  });
  add("write_together/lmdb", [&](std::size_t writer, const nerio::Text& text) {
    return lmdb.Put("Software\\Nerio\\Ramo\\Valore" + std::to_string(writer), Bytes(text));
  });
  return RunSideBySide(argc, argv);
}
