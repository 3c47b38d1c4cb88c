// Creating a branch of three levels and writing one value into it, each call durable on its own when it returns: with a
// fresh CRegistry, and with a database that has one entry for each level and for the value.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <string>

#include "bench/settings.h"
#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/registry/cregistry.h"

namespace {

using namespace nerio::bench;  // NOLINT(google-build-using-namespace)

// Numbers that no benchmark has used yet: each branch is a new one, in all its levels.
std::size_t next = 0;

void CreateBranch(benchmark::State& state, const nerio::platform::Host& host) {
  for (auto _ : state) {
    nerio::CRegistry registry(host);
    registry.RamoPrincipale(Numbered(u"Ditta", ++next) + u"\\Prodotto");
    registry.RamoPredefinito(u"Ramo");
    if (registry.ScriviRegistroEx(u"Valore", u"un valore") != u"True") return state.SkipWithError("cannot write");
    state.PauseTiming();
    if (registry.LeggiRegistro(u"Valore") != u"un valore") return state.SkipWithError("read another value");
    state.ResumeTiming();
  }
}

template <typename Database>
void CreateEntries(benchmark::State& state, Database& database) {
  for (auto _ : state) {
    std::string key = "Ditta" + std::to_string(++next);
    for (const char* level : {"", "\\Prodotto", "\\Ramo"}) {
      if (!database.Put(key += level, "")) return state.SkipWithError("cannot write");
    }
    if (!database.Put(key += "\\Valore", "un valore")) return state.SkipWithError("cannot write");
    state.PauseTiming();
    std::string value;
    if (!database.Get(key, value) || value != "un valore") return state.SkipWithError("read another value");
    state.ResumeTiming();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Folder disk;
  Lmdb lmdb(disk.Make("lmdb"));
  Sqlite sqlite(disk.path() / "sqlite");
  const auto host = nerio::platform::OpenHost({.registryFolder = disk.path() / "registry"});

  const auto add = [](const std::string& name, auto work) { Contender(name, work)->UseRealTime(); };
  add("create_branch/nerio", [&](benchmark::State& state) { CreateBranch(state, host->Services()); });
  add("create_branch/lmdb", [&](benchmark::State& state) { CreateEntries(state, lmdb); });
  add("create_branch/sqlite", [&](benchmark::State& state) { CreateEntries(state, sqlite); });
  return RunSideBySide(argc, argv);
}
