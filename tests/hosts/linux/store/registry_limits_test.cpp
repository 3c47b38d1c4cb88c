#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::AnswerOfChild;
using testing::Calls;
using testing::InOrder;
using ::testing::IsEmpty;
using testing::StoredRegistry;

void SetLimit(int resource, rlim_t limit) {
  rlimit both{};
  ::getrlimit(static_cast<__rlimit_resource>(resource), &both);
  both.rlim_cur = limit;
  ::setrlimit(static_cast<__rlimit_resource>(resource), &both);
}

TEST(RegistryLimits, FileSizeLimit_LeavesTheOldValueAndEndsWithIt) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "old"), kSuccess);
  const std::string answer = AnswerOfChild([&] {
    // The default for a file that grows too large is to kill.
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    std::string answers;
    // None of a new file; the first page; a file that ends within a sector.
    for (const rlim_t limit : {0u, 4096u, 9000u}) {
      SetLimit(RLIMIT_FSIZE, limit);
      answers += InOrder({calls.Set("k"_ansi, "v"_ansi, std::string(20000, 'x')), calls.Get("k"_ansi, "v"_ansi),
                          calls.Create("new"_ansi), ""});
    }
    SetLimit(RLIMIT_FSIZE, RLIM_INFINITY);
    return answers + std::to_string(NumberOf(calls.Set("k"_ansi, "v"_ansi, std::string(20000, 'x'))));
  });
  EXPECT_EQ(answer, "112 old 112 112 old 0 112 old 0 0");
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), std::string(20000, 'x'));
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

TEST(RegistryLimits, FullDisk_LeavesTheOldValuesAndEndsWithSpace) {
  const testing::TemporaryFolder folder;
  if (::mount("nerio", folder.path().c_str(), "tmpfs", 0, "size=256k") != 0) {
    GTEST_SKIP() << "no right to mount a small file system: the limit of file sizes stands in for it";
  }
  {
    StoredRegistry stored(folder.path());
    const Calls calls = stored.calls();
    ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
    // Value after value, until the disk is full.
    int values = 0;
    Status status = kSuccess;
    while (status == kSuccess && values < 1000) {
      status = calls.Set("k"_ansi, AnsiText(std::to_string(values)), std::string(1000, 'x'));
      if (status == kSuccess) ++values;
    }
    EXPECT_EQ(status, kDiskFull);
    EXPECT_GT(values, 20);
    const int filler = ::open((folder.path() / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string page(4096, 'x');
    while (::write(filler, page.data(), page.size()) > 0) {
    }
    ::close(filler);
    EXPECT_EQ(calls.Create("new"_ansi), kDiskFull);
    EXPECT_EQ(calls.Create("k\\new"_ansi), kDiskFull);
    EXPECT_EQ(calls.Set("k"_ansi, "0"_ansi, std::string(200000, 'y')), kDiskFull);
    for (int i = 0; i < values; ++i)
      ASSERT_EQ(calls.Get("k"_ansi, AnsiText(std::to_string(i))), std::string(1000, 'x')) << i;
    EXPECT_THAT(stored.Findings(), IsEmpty());
    fs::remove(folder.path() / "filler");
    EXPECT_EQ(calls.Create("k\\new"_ansi), kSuccess);
    EXPECT_EQ(calls.DeleteValue("k"_ansi, "0"_ansi), kSuccess);
    EXPECT_THAT(stored.Findings(), IsEmpty());
  }
  EXPECT_EQ(::umount(folder.path().c_str()), 0);
}

// Each call with 0, 1, 2, ... descriptors to spare: it fails for want of one, or it does everything.
// Values can be deleted from a disk that is full, so that it need not stay so.
TEST(RegistryLimits, FullDisk_TakesTheDeletionOfValues) {
  const testing::TemporaryFolder place;
  if (::mount("nerio", place.path().c_str(), "tmpfs", 0, "size=4m") != 0) {
    GTEST_SKIP() << "no right to mount a small file system";
  }
  std::size_t refused = 0;
  {
    LinuxRegistry registry(place.path());
    const Calls calls(registry);
    constexpr int kKeys = 40;
    const std::string kept(6000, 'k');
    // It fills the file to its end: there is no room for a record of its deletion.
    const std::string filling(9794, 'x');
    const auto key = [](int number) { return AnsiText("k" + std::to_string(number)); };
    for (int i = 0; i < kKeys; ++i) {
      ASSERT_EQ(calls.Create(key(i)), kSuccess);
      ASSERT_EQ(calls.Set(key(i), "k"_ansi, kept), kSuccess);
      ASSERT_EQ(calls.Set(key(i), "x"_ansi, filling), kSuccess);
      ASSERT_EQ(fs::file_size(place.path() / "HKEY_LOCAL_MACHINE" / key(i).bytes() / "%values"), 16'384u);
    }
    const fs::path filler = place.path() / "filler";
    std::ofstream(filler) << std::string(std::size_t{8} << 20, 'f');
    // What a file without room needs, and less than one with room.
    fs::resize_file(filler, fs::file_size(filler) - 12 * 1024);
    for (int i = 0; i < kKeys; ++i) {
      const Status status = calls.DeleteValue(key(i), "x"_ansi);
      if (status != kSuccess) ++refused;
      ASSERT_EQ(calls.Get(key(i), "x"_ansi), status == kSuccess ? "[2]" : filling);
      ASSERT_EQ(calls.Get(key(i), "k"_ansi), kept);
    }
    EXPECT_TRUE(CheckRegistry({place.path()}).empty());
  }
  EXPECT_EQ(refused, 0u);
  EXPECT_EQ(::umount(place.path().c_str()), 0);
}

TEST(RegistryLimits, FileOfDeletedValues_ShrinksAgain) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "kept"_ansi, "x"), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "large"_ansi, std::string(10'000'000, 'x')), kSuccess);
  ASSERT_EQ(calls.DeleteValue("k"_ansi, "large"_ansi), kSuccess);
  EXPECT_LE(fs::file_size(stored.ValuesFile("k")), 4 * 4096u);
  // Five pages, of which one is left, are more than four times as much.
  ASSERT_EQ(calls.Create("pages"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("pages"_ansi, "v"_ansi, std::string(9000, 'x')), kSuccess);
  ASSERT_EQ(fs::file_size(stored.ValuesFile("pages")), 5 * 4096u);
  ASSERT_EQ(calls.DeleteValue("pages"_ansi, "v"_ansi), kSuccess);
  EXPECT_EQ(fs::file_size(stored.ValuesFile("pages")), 4096u);
  constexpr int kValues = 1000;
  const auto name = [](int number) { return AnsiText("v" + std::to_string(number)); };
  for (int i = 0; i < kValues; ++i) ASSERT_EQ(calls.Set("k"_ansi, name(i), std::string(1000, 'x')), kSuccess);
  for (int i = 0; i < kValues; ++i) {
    ASSERT_EQ(calls.DeleteValue("k"_ansi, name(i)), kSuccess);
    // Up to one eighth of the records that were added may go unnoticed.
    const auto noticed = static_cast<std::uintmax_t>(kValues - 1 - i + (kValues + i) / 8);
    ASSERT_LE(fs::file_size(stored.ValuesFile("k")), 4 * (2 * noticed * 1056 + 8192)) << i;
  }
  EXPECT_LE(fs::file_size(stored.ValuesFile("k")), 4 * 4096u);
  EXPECT_EQ(calls.Get("k"_ansi, "kept"_ansi), "x");
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

// A file that takes 4 KiB on the disk and says to be 1 GiB long.
// The most memory that this process has had so far, in KiB; a forked child begins with what it was forked with.
long PeakMemory() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(RegistryLimits, FileOfHoles_CostsAReaderNoMemory) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "x"), kSuccess);
  const std::string written = testing::FileContent(stored.ValuesFile("k"));
  ValuesHeader header;
  Damage damage;
  ASSERT_TRUE(ParseHeader(written, header, damage));
  // The holes follow the records; something lies at their end; the header counts them among the first records.
  enum class Holes { AtTheEnd, BeforeSomething, SettledZeros };
  for (const Holes holes : {Holes::AtTheEnd, Holes::BeforeSomething, Holes::SettledZeros}) {
    SCOPED_TRACE(static_cast<int>(holes));
    header.fileSize = kMaxFileSize;
    header.settledEnd = holes == Holes::SettledZeros ? kMaxFileSize : kSectorSize;
    std::string content = written;
    content.replace(0, kSectorSize, EncodeHeader(header));
    testing::WriteFile(stored.ValuesFile("k"), content);
    fs::resize_file(stored.ValuesFile("k"), kMaxFileSize);
    if (holes == Holes::BeforeSomething) {
      std::fstream file(stored.ValuesFile("k"), std::ios::in | std::ios::out | std::ios::binary);
      file.seekp(static_cast<std::streamoff>(kMaxFileSize) - 1);
      file.put('x');
    }
    const std::string answer = AnswerOfChild([&] {
      LinuxRegistry registry(stored.folder());
      const long before = PeakMemory();
      std::string value = Calls(registry).Get("k"_ansi, "v"_ansi);
      const long risen = PeakMemory() - before;
      return value + (risen < 256L * 1024 ? " little" : " " + std::to_string(risen) + " KiB");
    });
    EXPECT_EQ(answer, holes == Holes::AtTheEnd ? "x little" : "[1015] little");
  }
}

// The sanitizers take memory of their own, and end a program that gets none.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(RegistryLimits, FileThatDoesNotFitIntoMemory_AnswersNotEnoughMemory) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, std::string(40'000'000, 'x')), kSuccess);
  const std::string answer = AnswerOfChild([&] {
    LinuxRegistry registry(stored.folder());
    ::malloc_trim(0);  // what earlier tests freed would be enough for the file
    std::ifstream memory("/proc/self/statm");
    rlim_t pages = 0;
    memory >> pages;
    SetLimit(RLIMIT_AS, pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + (rlim_t{16} << 20));
    std::string value = Calls(registry).Get("k"_ansi, "v"_ansi).substr(0, 4);
    SetLimit(RLIMIT_AS, RLIM_INFINITY);
    return value + " " + Calls(registry).Get("k"_ansi, "v"_ansi).substr(0, 4);
  });
  EXPECT_EQ(answer, "[8] xxxx");
}
#endif

TEST(RegistryLimits, NoMoreDescriptors_FailsWithoutATrace) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "old"), kSuccess);
  const std::string answer = AnswerOfChild([&]() -> std::string {
    const int lowest = ::dup(0);
    ::close(lowest);
    KeyHandle key = 0;
    if (stored.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key) != kSuccess)
      return "no key";
    bool allDone = false;
    for (unsigned spare = 0; !allDone; ++spare) {
      if (spare == 20) return "never enough";
      const auto limited = [&](auto call) {
        SetLimit(RLIMIT_NOFILE, static_cast<rlim_t>(lowest) + spare);
        const Status status = call();
        SetLimit(RLIMIT_NOFILE, 1024);
        return status;
      };
      allDone = true;
      const AnsiText name("v" + std::to_string(spare));
      const auto check = [&](const char* what, Status status, bool done) -> std::string {
        allDone = allDone && status == kSuccess;
        if (status == kSuccess ? done : status == kNotEnoughMemory && !done) return "";
        return std::string(what) + " with " + std::to_string(spare) + ": " + std::to_string(NumberOf(status));
      };
      std::string wrong;
      const Status opening = limited([&] { return calls.Open("k"_ansi); });
      wrong += check("open", opening, opening == kSuccess);
      const Status setting =
          limited([&] { return stored.registry().SetValue(key, name, 0, kRegSz, std::string("x")); });
      wrong += check("set", setting, calls.Get("k"_ansi, name) == "x");
      const std::string large(10000 + spare, 'y');
      const Status rewriting = limited([&] { return stored.registry().SetValue(key, "large"_ansi, 0, kRegSz, large); });
      wrong += check("rewrite", rewriting, calls.Get("k"_ansi, "large"_ansi) == large);
      const Status removal = limited([&] { return stored.registry().DeleteValue(key, "v"_ansi); });
      wrong += check("delete value", removal, calls.Get("k"_ansi, "v"_ansi) == "[2]");
      const AnsiText subkey("k\\sub" + std::to_string(spare));
      const Status creation = limited([&] { return calls.Create(subkey); });
      wrong += check("create", creation, calls.Open(subkey) == kSuccess);
      if (calls.Create(subkey) != kSuccess) return "create again";
      const Status deletion = limited([&] { return calls.Delete(subkey); });
      wrong += check("delete", deletion, calls.Open(subkey) == kFileNotFound);
      const Status listing = limited([&] {
        AnsiText subkeyName;
        const Status status = stored.registry().EnumKey(key, 0, subkeyName);
        return status == kNoMoreItems ? kSuccess : status;
      });
      wrong += check("list", listing, listing == kSuccess);
      if (!wrong.empty()) return wrong;
      if (calls.Open(subkey) == kSuccess && calls.Delete(subkey) != kSuccess) return "delete again";
      if (calls.Set("k"_ansi, "v"_ansi, "old") != kSuccess) return "set again";
      if (const auto findings = stored.Findings(); !findings.empty()) return findings.front();
    }
    return "done";
  });
  EXPECT_EQ(answer, "done");
}

std::atomic<int> signals{0};

// Signals that interrupt system calls, every few microseconds, for as long as this lives.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    ::sigaction(SIGALRM, &action, &before_);
    Every(137);
  }
  ~Interruptions() {
    Every(0);
    ::sigaction(SIGALRM, &before_, nullptr);
  }

 private:
  static void Every(suseconds_t microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    ::setitimer(ITIMER_REAL, &timer, nullptr);
  }
  struct sigaction before_ {};
};

TEST(RegistryLimits, Signals_InterruptNothing) {
  // On the disk, where calls take long enough to be interrupted.
  StoredRegistry stored{fs::path()};
  const Calls calls = stored.calls();
  signals = 0;
  {
    const Interruptions interruptions;
    for (int i = 0; i < 20; ++i) {
      ASSERT_EQ(calls.Create("k\\sub"_ansi), kSuccess);
      for (int j = 0; j < 10; ++j) ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, std::string(600, 'x')), kSuccess);
      ASSERT_EQ(calls.Delete("k\\sub"_ansi), kSuccess);
    }
  }
  EXPECT_GT(signals.load(), 100);
  EXPECT_THAT(stored.Findings(), IsEmpty());
}

TEST(RegistryLimits, Signals_DoNotEndTheWaitForALock) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  const int lock = ::open((stored.Key("k") / "%lock").c_str(), O_RDWR | O_CLOEXEC);
  struct flock hold {};
  hold.l_type = F_WRLCK;
  ASSERT_EQ(::fcntl(lock, F_OFD_SETLKW, &hold), 0);
  std::atomic<bool> released{false};
  std::thread holder([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    released = true;
    ::close(lock);
  });
  signals = 0;
  bool waited = false;
  {
    const Interruptions interruptions;
    EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "x"), kSuccess);
    waited = released;
  }
  holder.join();
  EXPECT_TRUE(waited);
  EXPECT_GT(signals.load(), 10);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "x");
}

// A reader whose key is being written waits for the writer only when what it sees is not in order.
TEST(RegistryLimits, Readers_DoNotWaitForALock) {
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k\\sub"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "x"), kSuccess);
  const int lock = ::open((stored.Key("k") / "%lock").c_str(), O_RDWR | O_CLOEXEC);
  struct flock hold {};
  hold.l_type = F_WRLCK;
  ASSERT_EQ(::fcntl(lock, F_OFD_SETLKW, &hold), 0);
  EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "x");
  EXPECT_EQ(calls.Open("k"_ansi), kSuccess);
  EXPECT_EQ(calls.SubKeys("k"_ansi).size(), 1u);
  ::close(lock);
}

TEST(RegistryLimits, ChildForkedDuringACall_KeepsNoLock) {
  // The child of a fork holds copies of all descriptors, also of a lock that another thread holds at that moment.
  StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k"_ansi), kSuccess);
  std::atomic<bool> stop{false};
  std::thread writer([&] {
    while (!stop) EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "x"), kSuccess);
  });
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  std::vector<pid_t> children;
  for (int i = 0; i < 100; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      // Nothing but waiting for the end of the test.
      char byte = 0;
      ::close(ends[1]);
      static_cast<void>(!::read(ends[0], &byte, 1));
      ::_exit(0);
    }
    children.push_back(child);
    EXPECT_EQ(calls.Set("k"_ansi, "w"_ansi, "y"), kSuccess);
  }
  stop = true;
  writer.join();
  EXPECT_EQ(calls.Set("k"_ansi, "w"_ansi, "z"), kSuccess);
  ::close(ends[1]);
  ::close(ends[0]);
  for (const pid_t child : children) EXPECT_EQ(::waitpid(child, nullptr, 0), child);
}

// The kernel takes paths up to PATH_MAX at once; where a longer one is cut, each piece has to be one that it takes.
TEST(RegistryLimits, PathsAroundTheLongestOfTheKernel_AreOpenedAndChecked) {
  for (std::size_t lastSeparator = PATH_MAX - 4; lastSeparator < PATH_MAX + 4; ++lastSeparator) {
    const testing::TemporaryFolder place(testing::MemoryFolder());
    std::string path = place.path();
    Descriptor folder;
    ASSERT_EQ(OpenByPath(path, O_PATH | O_DIRECTORY, folder), kSuccess);
    while (path.size() < lastSeparator) {
      const std::size_t left = lastSeparator - path.size() - 1;
      // No rest is left that would be a name of no length.
      const std::string name(left > 200 ? 100 : left > 100 ? left / 2 : left, 'd');
      Descriptor next;
      ASSERT_EQ(::mkdirat(folder.get(), name.c_str(), 0700), 0);
      ASSERT_EQ(OpenInside(folder.get(), name.c_str(), O_PATH | O_DIRECTORY, next), kSuccess);
      folder = std::move(next);
      path += '/' + name;
    }
    ASSERT_EQ(path.size(), lastSeparator);
    Descriptor file;
    ASSERT_EQ(OpenInside(folder.get(), "f", O_RDWR | O_CREAT, file), kSuccess);
    path += "/f";
    EXPECT_EQ(OpenByPath(path, O_RDONLY, file), kSuccess) << lastSeparator;
    EXPECT_EQ(CheckRights(path, R_OK), kSuccess) << lastSeparator;
    EXPECT_EQ(CheckRights(path, X_OK), kAccessDenied) << lastSeparator << ": nobody may run it, not even root";
  }
}

TEST(RegistryLimits, FileThatIsMade_IsItsUsersAloneAtFirst) {
  const testing::TemporaryFolder place(testing::MemoryFolder());
  const std::string mode = AnswerOfChild([&]() -> std::string {
    ::umask(0);
    Descriptor folder;
    Descriptor file;
    struct stat entry {};
    if (OpenByPath(place.path(), O_PATH | O_DIRECTORY, folder) != kSuccess ||
        OpenInside(folder.get(), "f", O_RDWR | O_CREAT, file) != kSuccess || ::fstat(file.get(), &entry) != 0) {
      return "not made";
    }
    return std::to_string(entry.st_mode & 07777);
  });
  EXPECT_EQ(mode, std::to_string(0600));
}

// A process without a standard input, whatever the call before has left in errno.
TEST(RegistryLimits, DescriptorZero_IsOneLikeAnyOther) {
  const testing::TemporaryFolder place(testing::MemoryFolder());
  for (const int left : {ENOENT, EPERM, EAGAIN, ENOSYS}) {
    const std::string answer = AnswerOfChild([&]() -> std::string {
      ::close(0);
      Descriptor folder;
      errno = left;
      const Status status = OpenByPath(place.path(), O_PATH | O_DIRECTORY, folder);
      const std::string opened = std::to_string(folder.get());
      folder = Descriptor();
      return InOrder({status, opened, ::fcntl(0, F_GETFD) < 0 ? "closed" : "left open"});
    });
    EXPECT_EQ(answer, "0 0 closed") << left;
  }
}

TEST(RegistryLimits, PiecesOfAFileWithHoles_AreItsContentWhereItLies) {
  const testing::TemporaryFolder place(testing::MemoryFolder());
  constexpr std::size_t kHole = std::size_t{128} << 10;
  std::string content(kHole, '\0');
  for (int i = 0; i < 200'000; ++i) content += static_cast<char>('a' + i % 23);
  content.resize(content.size() + kHole);
  content += "end";
  const fs::path path = place.path() / "f";
  {
    std::ofstream file(path, std::ios::binary);
    file.seekp(static_cast<std::streamoff>(kHole)).write(content.data() + kHole, 200'000);
    file.seekp(static_cast<std::streamoff>(content.size() - 3)).write("end", 3);
  }
  Descriptor file;
  ASSERT_EQ(OpenByPath(path, O_RDONLY, file), kSuccess);
  std::string seen(content.size(), '\0');
  std::size_t bytes = 0;
  EXPECT_EQ(ForEachPiece(file.get(), 0, content.size(),
                         [&](std::uint64_t offset, std::string_view piece) {
                           seen.replace(offset, piece.size(), piece);
                           bytes += piece.size();
                         }),
            kSuccess);
  EXPECT_TRUE(seen == content);
  EXPECT_LT(bytes, content.size() - kHole) << "holes are left out";
}

}  // namespace
}  // namespace nerio::platform
