// Going through all values of a key, and through the names of all its subkeys, index by index: each iteration is one
// index, and each walk opens the key anew. Beside it the calls to the system that no such walk can do without.

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/settings.h"
#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/platform/whole_keys.h"

namespace {

using namespace nerio::bench;  // NOLINT(google-build-using-namespace)
namespace fs = std::filesystem;
using nerio::AnsiText;
using nerio::platform::KeyHandle;
using nerio::platform::kHkeyLocalMachine;
using nerio::platform::kKeyRead;
using nerio::platform::kNoMoreItems;
using nerio::platform::kSuccess;
using nerio::platform::RegistryApi;
using nerio::platform::Status;
using nerio::platform::WholeKeys;

constexpr std::array<std::size_t, 5> kSizes = {10, 100, 1000, 10000, 100000};

AnsiText ValuesKey(std::size_t size) { return AnsiText("Software\\Values" + std::to_string(size)); }
AnsiText SubkeysKey(std::size_t size) { return AnsiText("Software\\Subkeys" + std::to_string(size)); }

KeyHandle Create(RegistryApi& registry, const AnsiText& path) {
  KeyHandle key = 0;
  std::uint32_t disposition = 0;
  if (registry.CreateKey(kHkeyLocalMachine, path, 0, {}, 0, 0x2003F, {}, key, disposition) != kSuccess) {
    Fail("cannot create " + path.bytes());
  }
  return key;
}

void Fill(RegistryApi& registry) {
  for (const std::size_t size : kSizes) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < size; ++i) names.push_back("Valore" + std::to_string(i));
    std::vector<WholeKeys::ValueChange> changes;
    for (const std::string& name : names) changes.push_back({name, false, nerio::platform::kRegSz, name, {}});
    const KeyHandle key = Create(registry, ValuesKey(size));
    if (dynamic_cast<WholeKeys&>(registry).ChangeValues(key, changes) != kSuccess) Fail("cannot fill a key");
    registry.CloseKey(key);
    registry.CloseKey(Create(registry, SubkeysKey(size)));
    for (std::size_t i = 0; i < size; ++i) {
      registry.CloseKey(Create(registry, AnsiText(SubkeysKey(size).bytes() + "\\Ramo" + std::to_string(i))));
    }
  }
}

// Goes on where the last turn stopped.
class Walk {
 public:
  Walk(RegistryApi& registry, AnsiText path, std::size_t size)
      : registry_(registry), path_(std::move(path)), size_(size) {}
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;
  ~Walk() { registry_.CloseKey(key_); }

  // @param list answers an index of the open key.
  template <typename List>
  void Run(benchmark::State& state, List list) {
    for (auto _ : state) {
      if (key_ == 0 && registry_.OpenKey(kHkeyLocalMachine, path_, 0, kKeyRead, key_) != kSuccess) {
        return state.SkipWithError("cannot open the key");
      }
      const Status status = list(registry_, key_, index_);
      if (status == kSuccess) {
        ++index_;
        continue;
      }
      if (status != kNoMoreItems || index_ != size_) return state.SkipWithError("listed another number of them");
      registry_.CloseKey(key_);
      key_ = 0;
      index_ = 0;
    }
  }

 private:
  RegistryApi& registry_;
  AnsiText path_;
  std::size_t size_;
  KeyHandle key_ = 0;
  std::uint32_t index_ = 0;
};

Status ListValue(RegistryApi& registry, KeyHandle key, std::uint32_t index) {
  AnsiText name;
  std::uint32_t type = 0;
  std::string data;
  const Status status = registry.EnumValue(key, index, name, type, data);
  return status == kSuccess && name.bytes() != data ? nerio::platform::kRegistryCorrupt : status;
}

Status ListSubkey(RegistryApi& registry, KeyHandle key, std::uint32_t index) {
  AnsiText name;
  const Status status = registry.EnumKey(key, index, name);
  return status == kSuccess && name.bytes()[0] != 'R' ? nerio::platform::kRegistryCorrupt : status;
}

void Stat(benchmark::State& state, const std::string& file) {
  struct stat entry {};
  for (auto _ : state) {
    if (::lstat(file.c_str(), &entry) != 0) return state.SkipWithError("no such file");
  }
}

// One entry of the folder for each iteration. @param act on an entry.
template <typename Act>
void ReadFolder(benchmark::State& state, const fs::path& path, Act act) {
  DIR* const folder = ::opendir(path.c_str());
  if (folder == nullptr) return state.SkipWithError("no such folder");
  for (auto _ : state) {
    const dirent* entry = ::readdir(folder);
    if (entry == nullptr) {
      ::rewinddir(folder);
      entry = ::readdir(folder);
    }
    if (entry == nullptr || !act(::dirfd(folder), *entry)) {
      state.SkipWithError("cannot read the folder");
      break;
    }
  }
  ::closedir(folder);
}

bool StatEntry(int folder, const dirent& entry) {
  struct stat found {};
  return ::fstatat(folder, entry.d_name, &found, AT_SYMLINK_NOFOLLOW) == 0;
}

// The name of a key, as it was spelt, is in its file.
bool ReadEntry(int folder, const dirent& entry) {
  const int file = ::openat(folder, (std::string(entry.d_name) + "/%values").c_str(), O_RDONLY | O_CLOEXEC);
  // Beside the subkeys there are the key's own files.
  if (file < 0) return entry.d_type != DT_DIR || entry.d_name[0] == '.';
  std::array<char, 512> start;
  const bool isRead = ::read(file, start.data(), start.size()) == static_cast<ssize_t>(start.size());
  ::close(file);
  return isRead;
}

// What each index needs: a look at the folder of the key, for whether the list is current, and the name of one subkey.
// @param key the folder.
bool LookAndRead(const std::string& key, int folder, const dirent& entry) {
  struct stat found {};
  if (::lstat(key.c_str(), &found) != 0) return false;
  benchmark::DoNotOptimize(::setfsuid(static_cast<uid_t>(-1)));
  return ReadEntry(folder, entry);
}

}  // namespace

int main(int argc, char** argv) {
  const Folder memory(kInMemory);
  const auto host = nerio::platform::OpenHost({.registryFolder = memory.path()});
  RegistryApi& registry = host->Services().registry;
  Fill(registry);
  const fs::path software = memory.path() / "HKEY_LOCAL_MACHINE/software";
  std::vector<std::unique_ptr<Walk>> walks;
  for (const std::size_t size : kSizes) {
    const std::string number = std::to_string(size);
    Walk& values = *walks.emplace_back(std::make_unique<Walk>(registry, ValuesKey(size), size));
    Walk& subkeys = *walks.emplace_back(std::make_unique<Walk>(registry, SubkeysKey(size), size));
    const fs::path folder = software / ("subkeys" + number);
    // A turn is a whole walk or more, so that each has its share of opening and reading the key.
    const auto turn = static_cast<benchmark::IterationCount>(std::max<std::size_t>(size, 10000));
    const auto add = [turn](const std::string& name, auto work) { Contender(name, work)->Iterations(turn); };
    add("list_values/nerio/" + number, [&](benchmark::State& state) { values.Run(state, ListValue); });
    add("list_values/lstat/" + number,
        [=](benchmark::State& state) { Stat(state, software / ("values" + number) / "%values"); });
    add("list_subkeys/nerio/" + number, [&](benchmark::State& state) { subkeys.Run(state, ListSubkey); });
    add("list_subkeys/readdir_fstatat/" + number,
        [=](benchmark::State& state) { ReadFolder(state, folder, StatEntry); });
    add("list_subkeys/readdir_open_read/" + number,
        [=](benchmark::State& state) { ReadFolder(state, folder, ReadEntry); });
    add("list_subkeys/calls/" + number, [=](benchmark::State& state) {
      const std::string key = folder;
      ReadFolder(state, folder, [&](int open, const dirent& entry) { return LookAndRead(key, open, entry); });
    });
  }
  return RunSideBySide(argc, argv);
}
