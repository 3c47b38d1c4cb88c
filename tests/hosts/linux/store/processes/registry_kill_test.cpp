#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;

constexpr int kWriters = 2;
constexpr int kRounds = 170;  // each kills both writers

// What the loop needs of a store: named texts, and named marks that are there or not.
class Store {
 public:
  virtual ~Store() = default;
  virtual bool Set(const std::string& name, const std::string& data) = 0;
  /// Answers "" for a name that was never set, and "[N]" for a failure.
  virtual std::string Get(const std::string& name) = 0;
  virtual bool MakeMark(const std::string& name) = 0;
  virtual bool RemoveMark(const std::string& name) = 0;
  virtual bool HasMark(const std::string& name) = 0;
};

class RegistryStore final : public Store {
 public:
  explicit RegistryStore(const fs::path& folder) : registry_(folder) {}

  bool Set(const std::string& name, const std::string& data) override {
    return Calls(registry_).Set("k"_ansi, AnsiText(name), data) == kSuccess;
  }
  std::string Get(const std::string& name) override {
    std::string data = Calls(registry_).Get("k"_ansi, AnsiText(name));
    return data == "[2]" ? "" : data;
  }
  bool MakeMark(const std::string& name) override {
    return Calls(registry_).Create(AnsiText("k\\" + name)) == kSuccess;
  }
  bool RemoveMark(const std::string& name) override {
    return Calls(registry_).Delete(AnsiText("k\\" + name)) == kSuccess;
  }
  bool HasMark(const std::string& name) override { return Calls(registry_).Open(AnsiText("k\\" + name)) == kSuccess; }

 private:
  LinuxRegistry registry_;
};

// Writes over what is there, as a program does that opens its file and saves into it. It must not pass.
class InPlaceStore final : public Store {
 public:
  explicit InPlaceStore(fs::path folder) : folder_(std::move(folder)) {}

  bool Set(const std::string& name, const std::string& data) override {
    const int file = ::open((folder_ / name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    bool done = file >= 0;
    for (std::size_t at = 0; done && at < data.size(); at += 512) {
      const std::size_t length = std::min<std::size_t>(512, data.size() - at);
      done = ::write(file, data.data() + at, length) == static_cast<ssize_t>(length);
    }
    ::close(file);
    return done;
  }
  std::string Get(const std::string& name) override {
    return fs::exists(folder_ / name) ? testing::FileContent(folder_ / name) : "";
  }
  bool MakeMark(const std::string& name) override { return Set(name, ""); }
  bool RemoveMark(const std::string& name) override { return ::unlink((folder_ / name).c_str()) == 0; }
  bool HasMark(const std::string& name) override { return fs::exists(folder_ / name); }

 private:
  fs::path folder_;
};

// A text that tells its number and whether it is whole: the number, then letters of it up to a length that it gives.
std::string Numbered(std::uint64_t number) {
  std::string text = std::to_string(number) + ":";
  // Most fit into a sector, some need several, and few cause the file to be replaced.
  const std::size_t length = number % 31 == 0 ? 9000 : number % 5 == 0 ? 1300 : 20 + number % 100;
  text.resize(text.size() + length, static_cast<char>('a' + number % 26));
  return text;
}

bool IsWhole(const std::string& text, std::uint64_t& number) {
  number = 0;
  if (text.empty()) return true;
  if (text[0] < '0' || text[0] > '9' || text.find(':') == std::string::npos) return false;
  number = std::stoull(text);
  return text == Numbered(number);
}

// What the writers report, in memory that all processes share and that outlives them.
struct Reported {
  struct Writer {
    std::atomic<std::uint64_t> begun;
    std::atomic<std::uint64_t> acknowledged;
    std::atomic<std::uint64_t> markBegun;
    std::atomic<std::uint64_t> markAcknowledged;  // odd: the mark is there, even: it is not
    std::atomic<bool> failed;
  };
  std::array<Writer, kWriters> writers;
  std::atomic<std::uint64_t> tornReads;
  std::atomic<std::uint64_t> goneBack;
  std::atomic<std::uint64_t> reads;
  std::atomic<bool> stop;
};

std::string OwnName(int writer) { return 'w' + std::to_string(writer); }

// Changes its own value, one that all share, and its mark, over and over until it is killed. Every number is used once.
[[noreturn]] void Write(Store& store, Reported::Writer& reported, int writer) {
  for (;;) {
    const std::uint64_t number = ++reported.begun;
    if (!store.Set(OwnName(writer), Numbered(number))) reported.failed = true;
    reported.acknowledged = number;
    if (!store.Set("shared", Numbered(number))) reported.failed = true;
    if (number % 4 != 0) continue;
    const std::uint64_t mark = ++reported.markBegun;
    const std::string name = "mark" + std::to_string(writer);
    const bool done = mark % 2 == 1 ? store.MakeMark(name) : store.RemoveMark(name);
    if (!done) reported.failed = true;
    reported.markAcknowledged = mark;
  }
}

[[noreturn]] void Read(Store& store, Reported& reported) {
  std::array<std::uint64_t, kWriters> last{};
  while (!reported.stop) {
    for (int writer = 0; writer < kWriters; ++writer) {
      std::uint64_t number = 0;
      const std::uint64_t acknowledged = reported.writers[static_cast<std::size_t>(writer)].acknowledged;
      if (!IsWhole(store.Get(OwnName(writer)), number)) {
        ++reported.tornReads;
        continue;
      }
      std::uint64_t& previous = last[static_cast<std::size_t>(writer)];
      if (number < acknowledged || number < previous) ++reported.goneBack;
      previous = number;
      ++reported.reads;
    }
    std::uint64_t number = 0;
    if (!IsWhole(store.Get("shared"), number)) ++reported.tornReads;
  }
  ::_exit(0);
}

template <typename Body>
pid_t Fork(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    body();
    ::_exit(0);
  }
  EXPECT_GT(child, 0);
  return child;
}

struct Outcome {
  std::uint64_t kills = 0;
  std::uint64_t torn = 0;
  std::uint64_t lost = 0;
  std::uint64_t failed = 0;
  std::uint64_t reads = 0;
  std::uint64_t writes = 0;
};

// Kills two writers again and again in the middle of their work, while a reader looks on, and looks itself each time.
Outcome KillAgainAndAgain(Store& store) {
  void* const memory = ::mmap(nullptr, sizeof(Reported), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  auto* const reported = new (memory) Reported{};
  Outcome outcome;
  const unsigned seed = std::random_device()();
  std::cout << "seed " << seed << '\n';
  std::mt19937 random(seed);
  const pid_t reader = Fork([&] { Read(store, *reported); });
  for (int round = 0; round < kRounds; ++round) {
    std::array<pid_t, kWriters> writers{};
    for (int i = 0; i < kWriters; ++i) {
      const auto index = static_cast<std::size_t>(i);
      writers[index] = Fork([&] { Write(store, reported->writers[index], i); });
    }
    std::this_thread::sleep_for(std::chrono::microseconds(2000 + random() % 25000));
    for (const pid_t writer : writers) {
      ::kill(writer, SIGKILL);
      int status = 0;
      ::waitpid(writer, &status, 0);
      if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) ++outcome.kills;
    }
    for (int i = 0; i < kWriters; ++i) {
      Reported::Writer& writer = reported->writers[static_cast<std::size_t>(i)];
      std::uint64_t number = 0;
      if (!IsWhole(store.Get(OwnName(i)), number)) {
        ++outcome.torn;
      } else if (number < writer.acknowledged || number > writer.begun) {
        ++outcome.lost;
      }
      const bool there = store.HasMark("mark" + std::to_string(i));
      if (writer.markBegun == writer.markAcknowledged && there != (writer.markAcknowledged % 2 == 1)) ++outcome.lost;
      // A change of the mark that was cut off is made good, or the next writer's report would not fit it.
      writer.markBegun = writer.markAcknowledged = there ? 1 : 0;
      if (writer.failed) ++outcome.failed;
    }
    std::uint64_t number = 0;
    if (!IsWhole(store.Get("shared"), number)) ++outcome.torn;
  }
  reported->stop = true;
  ::waitpid(reader, nullptr, 0);
  outcome.torn += reported->tornReads;
  outcome.lost += reported->goneBack;
  outcome.reads = reported->reads;
  for (const Reported::Writer& writer : reported->writers) outcome.writes += writer.acknowledged;
  ::munmap(memory, sizeof(Reported));
  std::cout << outcome.kills << " kills, " << outcome.writes << " acknowledged writes, " << outcome.reads << " reads, "
            << outcome.torn << " torn, " << outcome.lost << " lost, " << outcome.failed << " failed\n";
  return outcome;
}

TEST(Kill, RegistryKeepsEveryAcknowledgedWriteWhole) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  RegistryStore store(folder.path());
  {
    LinuxRegistry registry(folder.path());
    ASSERT_EQ(Calls(registry).Create("k"_ansi), kSuccess);
  }
  const Outcome outcome = KillAgainAndAgain(store);
  EXPECT_GE(outcome.kills, 300u);
  EXPECT_EQ(outcome.torn, 0u);
  EXPECT_EQ(outcome.lost, 0u);
  EXPECT_EQ(outcome.failed, 0u);
  EXPECT_GT(outcome.reads, 1000u);
  EXPECT_GT(outcome.writes, 1000u);
  // Nothing is damaged, and a writer that is not killed leaves nothing behind.
  ASSERT_TRUE(store.Set("last", "x"));
  EXPECT_TRUE(CheckRegistry({folder.path()}).empty());
}

TEST(Kill, StoreThatWritesInPlace_DoesNotPass) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  InPlaceStore store(folder.path());
  const Outcome outcome = KillAgainAndAgain(store);
  EXPECT_GE(outcome.kills, 300u);
  EXPECT_GT(outcome.torn, 0u) << "the loop would not see a torn value";
}

}  // namespace
}  // namespace nerio::platform
