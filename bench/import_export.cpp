// `nerio reg import` and `nerio reg export` of many values, on tmpfs: in 100 keys, and in one. Each iteration is one run of
// the program.

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/settings.h"
#include "bench/side_by_side.h"

namespace {

using namespace nerio::bench;  // NOLINT(google-build-using-namespace)
namespace fs = std::filesystem;

constexpr std::array<std::size_t, 4> kSizes = {1000, 10000, 100000, 1000000};
constexpr std::size_t kKeys = 100;

// Runs the tool on a registry of its own. @return false unless it ends well.
bool RunTool(const fs::path& registry, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {NERIO_TOOL, "reg"});
  std::vector<char*> raw;
  for (std::string& argument : arguments) raw.push_back(argument.data());
  raw.push_back(nullptr);
  std::string place = "NERIO_REGISTRY=" + registry.string();
  std::array<char*, 2> environment = {place.data(), nullptr};
  pid_t child = 0;
  int status = -1;
  return ::posix_spawn(&child, NERIO_TOOL, nullptr, nullptr, raw.data(), environment.data()) == 0 &&
         ::waitpid(child, &status, 0) == child && status == 0;
}

// A .reg file of many values, and a registry that holds them.
class Work {
 public:
  Work(const Folder& memory, std::size_t values, std::size_t keys)
      : folder_(memory.Make((std::to_string(values) + "in" + std::to_string(keys)).c_str())) {
    std::ofstream file(File());
    file << "Windows Registry Editor Version 5.00\r\n";
    for (std::size_t key = 0; key < keys; ++key) {
      file << "\r\n[HKEY_LOCAL_MACHINE\\Software\\Chiave" << key << "]\r\n";
      for (std::size_t i = 0; i < values / keys; ++i) file << "\"Valore" << i << "\"=\"testo " << i << "\"\r\n";
    }
    file.close();
    if (!RunTool(folder_ / "full", {"import", File()})) Fail("cannot import " + File());
  }

  void Import(benchmark::State& state) const {
    for (auto _ : state) {
      const bool done = RunTool(folder_ / "new", {"import", File()});
      state.PauseTiming();
      const bool isThere = fs::exists(folder_ / "new/HKEY_LOCAL_MACHINE/software/chiave0/%values");
      fs::remove_all(folder_ / "new");
      state.ResumeTiming();
      if (!done || !isThere) return state.SkipWithError("cannot import");
    }
  }

  void Export(benchmark::State& state) const {
    const std::string written = folder_ / "written.reg";
    for (auto _ : state) {
      if (!RunTool(folder_ / "full", {"export", "HKLM\\Software", "-o", written})) {
        return state.SkipWithError("cannot export");
      }
      state.PauseTiming();
      const bool isWhole = fs::file_size(written) > fs::file_size(File());
      fs::remove(written);
      state.ResumeTiming();
      if (!isWhole) return state.SkipWithError("exported less");
    }
  }

 private:
  std::string File() const { return folder_ / "values.reg"; }

  fs::path folder_;
};

}  // namespace

int main(int argc, char** argv) {
  const Folder memory(kInMemory);
  std::vector<std::unique_ptr<Work>> all;
  // The largest take seconds: fewer repetitions do.
  const auto add = [](const std::string& name, auto work) {
    Contender(name, work)->UseRealTime()->Unit(benchmark::kMillisecond)->Repetitions(3);
  };
  for (const std::size_t size : kSizes) {
    const Work& spread = *all.emplace_back(std::make_unique<Work>(memory, size, kKeys));
    const Work& together = *all.emplace_back(std::make_unique<Work>(memory, size, 1));
    const std::string number = '/' + std::to_string(size);
    const auto import = [](const Work& work) { return [&](benchmark::State& state) { work.Import(state); }; };
    const auto write = [](const Work& work) { return [&](benchmark::State& state) { work.Export(state); }; };
    add("import/nerio" + number, import(spread));
    add("import_one_key/nerio" + number, import(together));
    add("import_one_key/hundred_keys" + number, import(spread));
    add("export/nerio" + number, write(spread));
    add("export_one_key/nerio" + number, write(together));
    add("export_one_key/hundred_keys" + number, write(spread));
  }
  return RunSideBySide(argc, argv);
}
