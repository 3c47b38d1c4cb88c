// Reading one setting, from nothing: a fresh CRegistry that reads one text value of a store of 1,000 branches with 10
// values each, beside a bare openat + read + close of the same values file by its full path.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "platform/host.h"
#include "registry/cregistry.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBranches = 1000;
constexpr std::size_t kValues = 10;
// Walks through all branches and values in an order that repeats late: no factor in common with their numbers.
constexpr std::size_t kStride = 7919;

nerio::Text Numbered(nerio::TextView name, std::size_t number) {
  const std::string digits = std::to_string(number);
  return nerio::Text(name) + nerio::Text(digits.begin(), digits.end());
}

// A store in a temporary folder, and the full paths of its branches' values files.
class Store {
 public:
  Store() {
    std::string pattern = (fs::temp_directory_path() / "nerio-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a folder like " + pattern);
    folder_ = pattern;
    host_ = nerio::platform::OpenHost({.registryFolder = folder_});
    nerio::CRegistry registry(Host());
    for (std::size_t branch = 0; branch < kBranches; ++branch) {
      registry.RamoPredefinito(Branch(branch));
      for (std::size_t value = 0; value < kValues; ++value) {
        if (registry.ScriviRegistroEx(Name(value), Numbered(u"valore ", branch)) != u"True") {
          throw std::runtime_error("cannot fill the store in " + folder_.string());
        }
      }
    }
    for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
      const bool ofBranch = entry.path().parent_path().filename().string().find("ramo") == 0;
      if (ofBranch && entry.is_regular_file() && entry.file_size() > 0) files_.push_back(entry.path().string());
    }
    std::sort(files_.begin(), files_.end());
    if (files_.size() != kBranches) throw std::runtime_error("not one values file for each branch");
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { fs::remove_all(folder_); }

  nerio::platform::Host Host() const { return host_->Services(); }
  const std::string& File(std::size_t branch) const { return files_[branch]; }

  // Four digits each, so that the files come in the order of the branches.
  static nerio::Text Branch(std::size_t number) { return Numbered(u"Ramo", 1000 + number); }
  static nerio::Text Name(std::size_t number) { return Numbered(u"Valore", number); }

 private:
  fs::path folder_;
  std::unique_ptr<nerio::platform::HostInstance> host_;
  std::vector<std::string> files_;
};

void ReadSetting(benchmark::State& state, const Store& store) {
  const nerio::platform::Host host = store.Host();
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    nerio::CRegistry registry(host);
    registry.RamoPredefinito(Store::Branch(branch));
    const nerio::Text value = registry.LeggiRegistro(Store::Name(turn % kValues));
    if (value != Numbered(u"valore ", branch)) return state.SkipWithError("read another value");
  }
}

void ReadFile(benchmark::State& state, const Store& store) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    std::array<char, 65536> content;
    const int file = ::openat(AT_FDCWD, store.File(turn % kBranches).c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t size = ::read(file, content.data(), content.size());
    ::close(file);
    benchmark::DoNotOptimize(content);
    if (size <= 0) return state.SkipWithError("cannot read the file");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Store store;
  nerio::bench::Contender("read_setting/nerio", [&](benchmark::State& state) { ReadSetting(state, store); });
  nerio::bench::Contender("read_setting/file", [&](benchmark::State& state) { ReadFile(state, store); });
  return nerio::bench::RunSideBySide(argc, argv);
}
