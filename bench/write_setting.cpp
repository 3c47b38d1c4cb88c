// Overwriting one setting, durable when the call returns: with a fresh CRegistry, and with what else keeps settings on
// a disk. Then the same for keys that hold more and more values: a write costs what is in the key, never what is beside
// it.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/settings.h"
#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/platform/whole_keys.h"
#include "nerio/registry/cregistry.h"

namespace {

using namespace nerio::bench;  // NOLINT(google-build-using-namespace)

// Two texts that take turns, so that each write changes something.
const std::array<nerio::Text, 2> kTexts = {u"un valore", u"un altro valore"};

// A registry of one branch with some values.
class BranchOfValues {
 public:
  BranchOfValues(const Folder& disk, std::size_t values)
      : folder_(disk.path() / ("registry" + std::to_string(values))),
        host_(nerio::platform::OpenHost({.registryFolder = folder_})) {
    if (!Write(u"Valore0", kTexts[0])) Fail("cannot fill the branch");
    nerio::platform::RegistryApi& registry = host_->Services().registry;
    nerio::platform::KeyHandle key = 0;
    const nerio::AnsiText path("Software\\Nerio\\Ramo");
    if (registry.OpenKey(nerio::platform::kHkeyLocalMachine, path, 0, 0x2003F, key) != nerio::platform::kSuccess) {
      Fail("cannot open the branch");
    }
    std::vector<std::string> names;
    for (std::size_t i = 1; i < values; ++i) names.push_back("Valore" + std::to_string(i));
    const std::string text = Bytes(kTexts[0]);
    std::vector<nerio::platform::WholeKeys::ValueChange> changes;
    for (const std::string& name : names) changes.push_back({name, false, nerio::platform::kRegSz, text, {}});
    const auto status = dynamic_cast<nerio::platform::WholeKeys&>(registry).ChangeValues(key, changes);
    if (status != nerio::platform::kSuccess) Fail("cannot fill the branch");
    registry.CloseKey(key);
  }

  nerio::platform::Host Services() const { return host_->Services(); }
  std::string Key() const { return folder_ / "HKEY_LOCAL_MACHINE/software/nerio/ramo"; }

  bool Write(const nerio::Text& name, const nerio::Text& value) { return Write(u"Ramo", name, value); }
  bool Write(const nerio::Text& branch, const nerio::Text& name, const nerio::Text& value) {
    nerio::CRegistry registry(host_->Services());
    registry.RamoPredefinito(branch);
    return registry.ScriviRegistroEx(name, value) == u"True";
  }
  nerio::Text Read(const nerio::Text& name) {
    nerio::CRegistry registry(host_->Services());
    registry.RamoPredefinito(u"Ramo");
    return registry.LeggiRegistro(name);
  }

 private:
  std::filesystem::path folder_;
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

// The bare calls of a change, with nothing around them, on a file that is as long as a branch's: opening the two levels
// above, and the branch twice, as `CRegistry` does; then the lock, a look at the whole file, the record and its last byte,
// the sync. All of them are promises: see docs/registry-format.md.
class BareChange {
 public:
  explicit BareChange(std::string key) : key_(std::move(key)) {
    content_.resize(std::filesystem::file_size(key_ + "/%values") + 1);
    const std::filesystem::path above = std::filesystem::path(key_).parent_path();
    above_ = {above.parent_path(), above};
  }

  bool Run() {
    bool done = true;
    for (const std::string& folder : above_) {
      struct stat entry {};
      done &= ::lstat((folder + "/%values").c_str(), &entry) == 0;
      ::setfsuid(static_cast<uid_t>(-1));
      done &= ::faccessat(AT_FDCWD, folder.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) == 0;
    }
    for (int opening = 0; opening < 2; ++opening) {
      const int file = Open(AT_FDCWD, (key_ + "/%values").c_str(), O_RDONLY | O_CLOEXEC);
      done &= ::pread(file, content_.data(), 512, 0) == 512;
      ::close(file);
      done &= ::faccessat(AT_FDCWD, key_.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) == 0;
    }
    return Change() && done;
  }

 private:
  static int Open(int folder, const char* path, unsigned flags) {
    open_how how{};
    how.flags = flags;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return static_cast<int>(::syscall(SYS_openat2, folder, path, &how, sizeof how));
  }

  static bool Lock(int file, short kind) {
    struct flock lock {};
    lock.l_type = kind;
    return ::fcntl(file, F_OFD_SETLK, &lock) == 0;
  }

  bool Change() {
    struct stat entry {};
    struct statx links {};
    const int folder = Open(AT_FDCWD, key_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    bool done = ::fstat(folder, &entry) == 0;
    const int lock = ::openat(folder, "%lock", O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    done &= ::fstat(lock, &entry) == 0 && Lock(lock, F_WRLCK) && ::lstat(key_.c_str(), &entry) == 0;
    const int file = ::openat(folder, "%values", O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    const auto size = static_cast<std::size_t>(::pread(file, content_.data(), content_.size(), 0));
    done &= size + 1 == content_.size() && ::statx(file, "", AT_EMPTY_PATH, STATX_NLINK, &links) == 0;
    // The last bytes of the file, which are zeros before and after it.
    const std::array<char, 64> record{};
    const auto place = static_cast<off_t>(size - record.size());
    done &= ::pwrite(file, record.data(), record.size(), place) == static_cast<ssize_t>(record.size());
    done &= ::pwrite(file, record.data(), 1, place + 50) == 1 && ::fdatasync(file) == 0;
    ::close(file);
    done &= Lock(lock, F_UNLCK);
    ::close(lock);
    ::close(folder);
    return done;
  }

  std::string key_;
  std::vector<std::string> above_;
  std::string content_;
};

void ChangeBare(benchmark::State& state, BareChange change) {
  for (auto _ : state) {
    if (!change.Run()) return state.SkipWithError("cannot write");
  }
}

// The branches of a registry beside each other, in random order: the disk has another page to write each time.
constexpr std::size_t kBranches = 1000;

nerio::Text BranchOf(std::size_t turn) { return Numbered(u"Ramo", turn * kStride % kBranches); }

void OverwriteAnywhere(benchmark::State& state, BranchOfValues& registry) {
  std::size_t turn = 0;
  for (auto _ : state) {
    const nerio::Text& text = kTexts[++turn / kBranches % 2];
    if (!registry.Write(BranchOf(turn), u"Valore0", text)) return state.SkipWithError("cannot write");
  }
}

void ChangeBareAnywhere(benchmark::State& state, std::vector<BareChange>& branches) {
  std::size_t turn = 0;
  for (auto _ : state) {
    if (!branches[++turn * kStride % kBranches].Run()) return state.SkipWithError("cannot write");
  }
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
  const Folder memory(kInMemory);
  std::map<std::size_t, BranchOfValues> inMemory;
  std::map<std::size_t, BranchOfValues> untouched;  // by the layer: their files stay as they are
  const Folder apart(kInMemory);
  for (const int number : {10, 100, 1000, 2000, 10000, 100000, 1000000}) {
    const auto values = static_cast<std::size_t>(number);
    BranchOfValues& branch = inMemory.try_emplace(values, memory, values).first->second;
    const std::string key = untouched.try_emplace(values, apart, values).first->second.Key();
    const std::string size = '/' + std::to_string(values);
    // No disk is waited for.
    Contender("write_memory/nerio" + size, [&branch](benchmark::State& state) { Overwrite(state, branch); });
    Contender("write_memory/calls" + size, [key](benchmark::State& state) { ChangeBare(state, BareChange(key)); });
  }

  BranchOfValues many(disk, 1);
  const Folder bareDisk;
  BranchOfValues bareMany(bareDisk, 1);
  std::vector<BareChange> bareBranches;
  for (std::size_t branch = 0; branch < kBranches; ++branch) {
    const nerio::Text name = Numbered(u"Ramo", branch);
    if (!many.Write(name, u"Valore0", kTexts[0]) || !bareMany.Write(name, u"Valore0", kTexts[0])) Fail("cannot fill");
    bareBranches.emplace_back(bareMany.Key() + std::to_string(branch));
  }
  add("write_random/nerio", [&](benchmark::State& state) { OverwriteAnywhere(state, many); });
  add("write_random/calls", [&](benchmark::State& state) { ChangeBareAnywhere(state, bareBranches); });
  return RunSideBySide(argc, argv);
}
