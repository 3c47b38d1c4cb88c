// Reading one setting, from nothing: a fresh CRegistry that reads one text value of a store of 1,000 branches with 10
// values each, beside what else keeps settings, on the same branches and values in the same order. Then the same in
// stores of fewer and more branches: a read costs what is in its own branch, never what is beside it. And the same by two
// threads, and by two processes, at once.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/fsuid.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QSettings>
#include <QString>
#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/settings.h"
#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/registry/cregistry.h"

namespace {

using namespace nerio::bench;  // NOLINT(google-build-using-namespace)
namespace fs = std::filesystem;

constexpr std::size_t kBranches = 1000;
constexpr std::size_t kValues = 10;

// Names and contents are made once: no contender pays for them.
struct Names {
  Names() {
    for (std::size_t branch = 0; branch < kBranches; ++branch) {
      branches.push_back(Numbered(u"Ramo", branch));
      texts.push_back(Numbered(u"valore ", branch));
      bytes.push_back(Bytes(texts.back()));
    }
    for (std::size_t value = 0; value < kValues; ++value) {
      values.push_back(Numbered(u"Valore", value));
      valueBytes.push_back(Bytes(values.back()));
    }
    for (const nerio::Text& branch : branches) {
      for (const nerio::Text& value : values) keys.push_back("Software\\Nerio\\" + Bytes(branch) + '\\' + Bytes(value));
    }
  }

  std::vector<nerio::Text> branches;
  std::vector<nerio::Text> values;
  std::vector<std::string> valueBytes;  // the same
  std::vector<nerio::Text> texts;       // of each branch's values
  std::vector<std::string> bytes;       // the same
  std::vector<std::string> keys;        // branch and value in one, branch by branch
};

// A registry whose branches hold ten values each. The first one is written by the layer, the others are copies of its
// folder, which are keys like any other (their own texts are the first one's).
class Store {
 public:
  Store(const Folder& disk, const Names& names, std::size_t branches)
      : folder_(disk.path() / ("registry" + std::to_string(branches))),
        host_(nerio::platform::OpenHost({.registryFolder = folder_})) {
    nerio::CRegistry registry(Host());
    for (std::size_t branch = 0; branch < std::min(branches, kBranches); ++branch) {
      registry.RamoPredefinito(names.branches[branch]);
      for (const nerio::Text& value : names.values) {
        if (registry.ScriviRegistroEx(value, names.texts[branch]) != u"True") Fail("cannot fill " + folder_.string());
      }
    }
    // Without their locks, which nobody who reads looks at: a file system in memory has only so many entries.
    for (std::size_t branch = kBranches; branch < branches; ++branch) {
      fs::create_directory(Branch(branch));
      fs::copy(Branch(0) / "%values", Branch(branch) / "%values");
    }
  }

  nerio::platform::Host Host() const { return host_->Services(); }
  /// Opens the same registry as a process does that has read nothing of it.
  std::unique_ptr<nerio::platform::HostInstance> Fresh() const {
    return nerio::platform::OpenHost({.registryFolder = folder_});
  }
  fs::path Branch(std::size_t number) const {
    return folder_ / "HKEY_LOCAL_MACHINE/software/nerio" / ("ramo" + std::to_string(number));
  }

 private:
  fs::path folder_;
  std::unique_ptr<nerio::platform::HostInstance> host_;
};

void ReadSetting(benchmark::State& state, const Store& store, const Names& names) {
  const nerio::platform::Host host = store.Host();
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    nerio::CRegistry registry(host);
    registry.RamoPredefinito(names.branches[branch]);
    const nerio::Text value = registry.LeggiRegistro(names.values[turn % kValues]);
    if (value != names.texts[branch]) return state.SkipWithError("read another value");
  }
}

// Another process that reads settings of the same store all the time.
class OtherReader {
 public:
  OtherReader(const Store& store, const Names& names) {
    std::array<int, 2> ready{};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0 || (process_ = ::fork()) < 0) Fail("cannot start another process");
    if (process_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      Read(*store.Fresh(), names, ready[1]);
    }
    ::close(ready[1]);
    char byte = 0;
    const bool reads = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    if (!reads) Fail("another process cannot read");
  }
  OtherReader(const OtherReader&) = delete;
  OtherReader& operator=(const OtherReader&) = delete;
  ~OtherReader() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }

 private:
  // Ends with a wrong value only, or by a signal.
  [[noreturn]] static void Read(nerio::platform::HostInstance& host, const Names& names, int ready) {
    constexpr std::size_t kTurnsBeforeReady = 4 * kBranches;
    for (std::size_t turn = 1;; ++turn) {
      const std::size_t branch = turn * kStride % kBranches;
      nerio::CRegistry registry(host.Services());
      registry.RamoPredefinito(names.branches[branch]);
      if (registry.LeggiRegistro(names.values[turn % kValues]) != names.texts[branch]) ::_exit(1);
      if (turn == kTurnsBeforeReady && ::write(ready, "r", 1) != 1) ::_exit(1);
    }
  }

  pid_t process_ = -1;
};

// Walks through all branches of a store, whatever their number.
void ReadAnyBranch(benchmark::State& state, const Store& store, const Names& names, std::size_t branches) {
  const nerio::platform::Host host = store.Host();
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % branches;
    nerio::CRegistry registry(host);
    registry.RamoPredefinito(Numbered(u"Ramo", branch));
    const nerio::Text value = registry.LeggiRegistro(names.values[turn % kValues]);
    if (value != names.texts[branch < kBranches ? branch : 0]) return state.SkipWithError("read another value");
  }
}

// A branch takes a page of values and two entries of the file system.
bool FitsInMemory(std::size_t branches) {
  constexpr std::size_t kBytesOfBranch = 8192;
  const auto free = static_cast<std::size_t>(::sysconf(_SC_AVPHYS_PAGES)) * static_cast<std::size_t>(::getpagesize());
  return branches * kBytesOfBranch < free;
}

template <typename Database>
void ReadFrom(benchmark::State& state, Database& database, const Names& names) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    std::string value;
    if (!database.Get(names.keys[branch * kValues + turn % kValues], value) || value != names.bytes[branch]) {
      return state.SkipWithError("read another value");
    }
  }
}

// Reads whole files, one for each value or for each branch.
void ReadFiles(benchmark::State& state, const std::vector<std::string>& files, std::size_t perBranch,
               const Names& names) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    std::array<char, 8192> content;
    const int file = ::open(files[branch * perBranch + turn % perBranch].c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t size = ::read(file, content.data(), content.size());
    ::close(file);
    const std::string_view read(content.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    if (perBranch > 1 ? read != names.bytes[branch] : read.find(names.bytes[branch]) == std::string_view::npos) {
      return state.SkipWithError("read another value");
    }
  }
}

// Reads a branch from a file of its own in the form that desktop programs use, afresh each time.
void ReadKeyFile(benchmark::State& state, const std::vector<std::string>& files, const Names& names) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    GKeyFile* const file = g_key_file_new();
    g_key_file_load_from_file(file, files[branch].c_str(), G_KEY_FILE_NONE, nullptr);
    gchar* const value = g_key_file_get_string(file, "Valori", names.valueBytes[turn % kValues].c_str(), nullptr);
    const bool same = value != nullptr && value == names.bytes[branch];
    g_free(value);
    g_key_file_free(file);
    if (!same) return state.SkipWithError("read another value");
  }
}

void ReadSettingsFile(benchmark::State& state, const std::vector<std::string>& files, const Names& names) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    const QSettings settings(QString::fromStdString(files[branch]), QSettings::IniFormat);
    const QString value =
        settings.value("Valori/" + QString::fromStdString(names.valueBytes[turn % kValues])).toString();
    if (value.toStdU16String() != names.texts[branch]) return state.SkipWithError("read another value");
  }
}

// The one system call on the key's folder that every read needs, with nothing around it.
void StatFolder(benchmark::State& state, const std::vector<std::string>& folders) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    struct stat entry {};
    if (::lstat(folders[turn % kBranches].c_str(), &entry) != 0) return state.SkipWithError("no such folder");
    benchmark::DoNotOptimize(entry);
  }
}

// The bare system calls of a read of a cached key: opening asks for the state of the values file and for the rights on the
// key's folder, reading asks for that state again; each time the file's owner is compared with the user of the thread.
void Walk(benchmark::State& state, const std::vector<std::string>& folders,
          const std::vector<std::string>& valuesFiles) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    struct stat opened {};
    struct stat read {};
    bool done = ::lstat(valuesFiles[branch].c_str(), &opened) == 0;
    benchmark::DoNotOptimize(::setfsuid(static_cast<uid_t>(-1)));
    done &= ::faccessat(AT_FDCWD, folders[branch].c_str(), R_OK | W_OK | X_OK, AT_EACCESS) == 0;
    done &= ::lstat(valuesFiles[branch].c_str(), &read) == 0 && read.st_ino == opened.st_ino;
    benchmark::DoNotOptimize(::setfsuid(static_cast<uid_t>(-1)));
    if (!done) return state.SkipWithError("cannot walk to the key");
  }
}

// The least calls of a first read that answers as the layer does: opening reads the values file, takes its stamp and asks
// for the rights on the key's folder; reading makes sure that the file has not changed since.
void WalkFirst(benchmark::State& state, const std::vector<std::string>& folders,
               const std::vector<std::string>& valuesFiles) {
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    std::array<char, 4097> content;
    struct stat opened {};
    struct stat read {};
    const int file = ::open(valuesFiles[branch].c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    bool done = ::pread(file, content.data(), content.size(), 0) == 4096 && ::fstat(file, &opened) == 0;
    ::close(file);
    done &= ::faccessat(AT_FDCWD, folders[branch].c_str(), R_OK | W_OK | X_OK, AT_EACCESS) == 0;
    done &= ::lstat(valuesFiles[branch].c_str(), &read) == 0 && read.st_ino == opened.st_ino;
    if (!done) return state.SkipWithError("cannot walk to the key");
  }
}

// Reads the first value that a process reads of each branch: a registry of its own for each walk through all of them.
void ReadFirst(benchmark::State& state, const Store& store, const Names& names) {
  std::unique_ptr<nerio::platform::HostInstance> host;
  std::size_t turn = 0;
  for (auto _ : state) {
    if (turn % kBranches == 0) host = store.Fresh();
    const std::size_t branch = ++turn * kStride % kBranches;
    nerio::CRegistry registry(host->Services());
    registry.RamoPredefinito(names.branches[branch]);
    const nerio::Text value = registry.LeggiRegistro(names.values[turn % kValues]);
    if (value != names.texts[branch]) return state.SkipWithError("read another value");
  }
}

// The least that a value within the reach of another process costs: memory that is shared, with a counter read before
// and behind it.
void ReadShared(benchmark::State& state, const Names& names) {
  struct Slot {
    std::atomic<std::uint64_t> counter;
    std::size_t size;
    std::array<char, 48> text;
  };
  const std::size_t bytes = sizeof(Slot) * names.keys.size();
  auto* const shared =
      static_cast<Slot*>(::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  for (std::size_t i = 0; i < names.keys.size(); ++i) {
    const std::string& text = names.bytes[i / kValues];
    shared[i].size = text.size();
    std::memcpy(shared[i].text.data(), text.data(), text.size());
  }
  std::size_t turn = 0;
  for (auto _ : state) {
    turn += kStride;
    const std::size_t branch = turn % kBranches;
    const Slot& slot = shared[branch * kValues + turn % kValues];
    const std::uint64_t before = slot.counter.load(std::memory_order_acquire);
    const std::string value(slot.text.data(), slot.size);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (value != names.bytes[branch] || slot.counter.load(std::memory_order_relaxed) != before) {
      state.SkipWithError("read another value");
      break;
    }
  }
  ::munmap(shared, bytes);
}

template <typename Database>
void Fill(Database& database, const Names& names) {
  for (std::size_t i = 0; i < names.keys.size(); ++i) {
    if (!database.Put(names.keys[i], names.bytes[i / kValues])) Fail("cannot fill a database");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Names names;
  const Folder disk;

  Lmdb lmdb(disk.Make("lmdb"));
  lmdb.SetSynced(false);
  Fill(lmdb, names);
  Sqlite sqlite(disk.path() / "sqlite");
  sqlite.Run("BEGIN");
  Fill(sqlite, names);
  sqlite.Run("COMMIT");

  const Store store(disk, names, kBranches);
  // The number of branches is what counts here, and a disk would be busy with them long after they are removed.
  const Folder memory(kInMemory);
  std::map<std::size_t, Store> stores;
  for (const std::size_t branches :
       {std::size_t{10}, std::size_t{100}, kBranches, std::size_t{10000}, std::size_t{100000}, std::size_t{1000000}}) {
    if (FitsInMemory(branches)) {
      stores.try_emplace(branches, memory, names, branches);
    } else {
      std::fprintf(stderr, "read_growth: no memory for %zu branches\n", branches);
    }
  }

  std::vector<std::string> folders;
  std::vector<std::string> valuesFiles;
  std::vector<std::string> oneForEach;
  std::vector<std::string> keyFiles;
  for (std::size_t branch = 0; branch < kBranches; ++branch) {
    folders.push_back(store.Branch(branch));
    valuesFiles.push_back(folders.back() + "/%values");
    const fs::path folder = disk.path() / "files/software/nerio" / store.Branch(branch).filename();
    fs::create_directories(folder);
    keyFiles.push_back(folder.string() + ".ini");
    std::ofstream keyFile(keyFiles.back());
    keyFile << "[Valori]\n";
    for (const std::string& value : names.valueBytes) keyFile << value << '=' << names.bytes[branch] << '\n';
    for (const nerio::Text& value : names.values) {
      oneForEach.push_back(folder / Bytes(value));
      const int file = ::open(oneForEach.back().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
      if (::write(file, names.bytes[branch].data(), names.bytes[branch].size()) < 0) Fail("cannot write a file");
      ::close(file);
    }
  }

  Contender("read_setting/nerio", [&](benchmark::State& state) { ReadSetting(state, store, names); });
  Contender("read_setting/lmdb", [&](benchmark::State& state) { ReadFrom(state, lmdb, names); });
  Contender("read_setting/sqlite", [&](benchmark::State& state) { ReadFrom(state, sqlite, names); });
  Contender("read_setting/file_per_value",
            [&](benchmark::State& state) { ReadFiles(state, oneForEach, kValues, names); });
  Contender("read_setting/gkeyfile", [&](benchmark::State& state) { ReadKeyFile(state, keyFiles, names); });
  Contender("read_setting/qsettings", [&](benchmark::State& state) { ReadSettingsFile(state, keyFiles, names); });
  Contender("read_setting/values_file", [&](benchmark::State& state) { ReadFiles(state, valuesFiles, 1, names); });
  Contender("read_setting/lstat", [&](benchmark::State& state) { StatFolder(state, folders); });
  Contender("read_setting/walks", [&](benchmark::State& state) { Walk(state, folders, valuesFiles); });
  Contender("read_first/nerio", [&](benchmark::State& state) { ReadFirst(state, store, names); });
  Contender("read_first/calls", [&](benchmark::State& state) { WalkFirst(state, folders, valuesFiles); });
  Contender("read_first/file_per_value",
            [&](benchmark::State& state) { ReadFiles(state, oneForEach, kValues, names); });
  Contender("read_setting/limit", [&](benchmark::State& state) { ReadShared(state, names); });
  const auto together = [&](benchmark::State& state) { ReadSetting(state, store, names); };
  Contender("read_together/nerio", together)->Threads(2)->UseRealTime();
  Contender("read_together/one_reader", together)->UseRealTime();
  const auto besideAnother = [&](benchmark::State& state) {
    const OtherReader other(store, names);
    ReadSetting(state, store, names);
  };
  Contender("read_processes/nerio", besideAnother);
  Contender("read_processes/one_reader", together);
  for (const auto& [branches, grown] : stores) {
    Contender("read_growth/nerio/" + std::to_string(branches),
              [&, &grown = grown, branches = branches](benchmark::State& state) {
                ReadAnyBranch(state, grown, names, branches);
              });
  }
  return RunSideBySide(argc, argv);
}
