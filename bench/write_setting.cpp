// Overwriting one setting, durable when the call returns: with a fresh CRegistry, and with what else keeps settings on
// a disk. Then the same for keys that hold more and more values: a write costs what is in the key, never what is beside
// it.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "bench/settings.h"
#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/registry/cregistry.h"

namespace {

using namespace nerio::bench;  // NOLINT(google-build-using-namespace)

// Two texts that take turns, so that each write changes something.
const std::array<nerio::Text, 2> kTexts = {u"un valore", u"un altro valore"};

class BranchOfValues {
 public:
  BranchOfValues(const Folder& disk, std::size_t values)
      : host_(nerio::platform::OpenHost({.registryFolder = disk.path() / ("registry" + std::to_string(values))})) {
    for (std::size_t i = 0; i < values; ++i) {
      if (!Write(Numbered(u"Valore", i), kTexts[0])) Fail("cannot fill the branch");
    }
  }

  bool Write(const nerio::Text& name, const nerio::Text& value) {
    nerio::CRegistry registry(host_->Services());
    registry.RamoPredefinito(u"Ramo");
    return registry.ScriviRegistroEx(name, value) == u"True";
  }
  nerio::Text Read(const nerio::Text& name) {
    nerio::CRegistry registry(host_->Services());
    registry.RamoPredefinito(u"Ramo");
    return registry.LeggiRegistro(name);
  }

 private:
  std::unique_ptr<nerio::platform::HostInstance> host_;
};

void Overwrite(benchmark::State& state, BranchOfValues& branch) {
  const nerio::Text name = u"Valore0";
  std::size_t turn = 0;
  for (auto _ : state) {
    if (!branch.Write(name, kTexts[++turn % 2])) return state.SkipWithError("cannot write");
  }
  if (branch.Read(name) != kTexts[turn % 2]) state.SkipWithError("read another value");
}

template <typename Database>
void OverwriteIn(benchmark::State& state, Database& database) {
  const std::string key = "Software\\Nerio\\Ramo\\Valore0";
  const std::array<std::string, 2> texts = {Bytes(kTexts[0]), Bytes(kTexts[1])};
  std::size_t turn = 0;
  for (auto _ : state) {
    if (!database.Put(key, texts[++turn % 2])) return state.SkipWithError("cannot write");
  }
  std::string value;
  if (!database.Get(key, value) || value != texts[turn % 2]) state.SkipWithError("read another value");
}

// A file for each value: written beside, synced, renamed, the folder synced.
void OverwriteFile(benchmark::State& state, const std::string& folder) {
  const int place = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::string bytes = Bytes(kTexts[0]);
  for (auto _ : state) {
    const int file = ::openat(place, "new", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const bool written = ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const bool synced = ::fsync(file) == 0;
    ::close(file);
    if (!written || !synced || ::renameat(place, "new", place, "value") != 0 || ::fsync(place) != 0) {
      state.SkipWithError("cannot write");
      break;
    }
  }
  ::close(place);
}

// What the disk needs for a page that is there already.
void OverwritePage(benchmark::State& state, const std::string& path) {
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  std::array<char, 4096> page{};
  for (auto _ : state) {
    ++page[0];
    if (::pwrite(file, page.data(), page.size(), 0) != static_cast<ssize_t>(page.size()) || ::fdatasync(file) != 0) {
      state.SkipWithError("cannot write");
      break;
    }
  }
  ::close(file);
}

}  // namespace

int main(int argc, char** argv) {
  const Folder disk;
  Lmdb lmdb(disk.Make("lmdb"));
  Sqlite sqlite(disk.path() / "sqlite");
  const std::string folder = disk.Make("file");

  std::map<std::size_t, BranchOfValues> branches;
  for (const std::size_t values : {std::size_t{10}, std::size_t{100}, std::size_t{1000}}) {
    branches.try_emplace(values, disk, values);
  }
  const auto add = [](const std::string& name, auto work) { Contender(name, work)->UseRealTime(); };
  add("write_setting/nerio", [&](benchmark::State& state) { Overwrite(state, branches.at(10)); });
  add("write_setting/lmdb", [&](benchmark::State& state) { OverwriteIn(state, lmdb); });
  add("write_setting/sqlite", [&](benchmark::State& state) { OverwriteIn(state, sqlite); });
  add("write_setting/rename", [&](benchmark::State& state) { OverwriteFile(state, folder); });
  add("write_setting/limit", [&](benchmark::State& state) { OverwritePage(state, disk.path() / "page"); });
  for (auto& [values, branch] : branches) {
    add("write_growth/nerio/" + std::to_string(values),
        [&branch = branch](benchmark::State& state) { Overwrite(state, branch); });
  }
  return RunSideBySide(argc, argv);
}
