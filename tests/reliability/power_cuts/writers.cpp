// Writers that are killed, and who looks after a power cut what is left of their work.
//
//   nerio_power_cut_writers write MOUNTED DISKLOG JOURNAL SEED MILLISECONDS KIND [PLACE]
//       changes registries on the disk at MOUNTED. Each operation is killed after each of its system calls that change the
//       disk in turn, then something is acknowledged that builds on it; after that two processes work at random for
//       MILLISECONDS and are killed again and again. KIND is that of the file system, "journal" or "no-journal". With PLACE
//       the syncs at that place of the store are left out.
//   nerio_power_cut_writers places JOURNAL
//       prints the places of syncs that were reached, and fails when one has no name
//   nerio_power_cut_writers moments JOURNAL [PLACE]
//       prints how long the disk's log was when each operation had answered; only those that came to a sync at PLACE
//   nerio_power_cut_writers verify MOUNTED JOURNAL POSITION
//       compares the disk with what was acknowledged when the log was POSITION bytes long, writes on, and checks again

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "nerio/platform/status.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/reliability/power_cuts/expected_state.h"
#include "tests/reliability/power_cuts/operations.h"
#include "tests/reliability/power_cuts/sync_places.h"

namespace nerio::testing {
namespace {

using Kind = Operation::Kind;

// A process that has done its work and is ended before it can say so.
constexpr int kNotAcknowledged = 3;

struct Surroundings {
  std::filesystem::path mounted;
  std::string diskLog;
  std::string journal;
  /// Without a journal a file system may give the inode of a removed file to a new one before the removal is on the disk: then
  /// a power cut shows one file in two places, and a check of the file system takes away either. This is not promised, so
  /// there keys are only made and their values set for the first time, and nobody cleans up after a writer that was
  /// killed, unless a sync is left out to be missed.
  bool hasJournal;
  std::string placeLeftOut;

  bool OnlyMakesKeys() const { return !hasJournal && placeLeftOut.empty(); }
};

// What an operation may answer besides 0: another one of the same writer may have been killed before it.
bool IsExpected(Kind kind, platform::Status status) {
  const bool deletes = kind == Kind::Unset || kind == Kind::Delete || kind == Kind::DeleteOnFullDisk;
  if (status == platform::kSuccess) return true;
  if (status == platform::kFileNotFound) return deletes || kind == Kind::Repair;
  return status == platform::kAccessDenied && kind == Kind::Delete;  // a subkey is there still
}

// Does operations one after the other in this process. @param saysSo whether the last one is acknowledged.
void DoAll(const Surroundings& where, Journal& journal, const std::vector<Operation>& operations, bool saysSo = true) {
  for (const Operation& operation : operations) {
    journal.Begin(operation);
    const platform::Status status = Perform(operation, where.mounted);
    if (!IsExpected(operation.kind, status)) {
      throw std::runtime_error(operation.path + ": an operation of kind " +
                               std::to_string(static_cast<int>(operation.kind)) + " answers " +
                               std::to_string(NumberOf(status)));
    }
    if (saysSo || &operation != &operations.back()) journal.End(status);
  }
}

// Has the syncs of this process written down, but those at one place left out.
void WatchSyncs(const Surroundings& where, Journal& journal, const std::string& place) {
  LeaveOutSyncs([&journal, place, leftOut = where.placeLeftOut](const DiskEvent& sync, const auto& before) {
    const std::string name = SyncPlace(sync, before, place);
    journal.Reached(name);
    return name == leftOut;
  });
}

// Runs a piece of work in a process of its own. @return its status, as waitpid tells it.
pid_t Start(const std::function<void()>& work) {
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child != 0) return child;
  // Nobody writes on when the harness is ended.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    work();
    std::_Exit(0);
  } catch (const std::exception& error) {
    std::cerr << "nerio_power_cut_writers: " << error.what() << '\n';
    std::_Exit(2);
  }
}

int Wait(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, 0) != child) throw std::runtime_error("waitpid failed");
  if (WIFEXITED(status) && WEXITSTATUS(status) != 0 && WEXITSTATUS(status) != kNotAcknowledged) {
    throw std::runtime_error("a writer failed");
  }
  return status;
}

// A change that is killed, and what is done before and after it.
struct Story {
  std::vector<Operation> before;
  Operation killed;
  std::vector<Operation> after;
};

// Stories whose names and data no other number has, one of each kind.
std::vector<std::function<Story(std::uint64_t)>> Stories() {
  const std::string r = "r";
  const auto onKey = [r](Operation killed, const std::string& key, std::vector<Operation> before = {}) {
    return [=](std::uint64_t n) {
      Operation change = killed;
      change.place = r;
      change.path = key;
      change.number = n;
      std::vector<Operation> first = {{Kind::Create, r, key}, {Kind::Set, r, key, "old", n, 40}};
      first.insert(first.end(), before.begin(), before.end());
      std::vector<Operation> after = {{Kind::Set, r, key, "after", n, 30}};
      if (killed.kind == Kind::Repair) after.insert(after.begin(), change);
      return Story{first, change, after};
    };
  };
  const auto named = [](const std::string& name, std::uint64_t n) { return name + std::to_string(n); };
  constexpr std::size_t kLarge = 9000;
  return {
      onKey({Kind::Set, "", "", "old", 0, 60}, "small"),
      onKey({Kind::Set, "", "", "old", 0, 1300}, "sectors"),
      onKey({Kind::Set, "", "", "old", 0, kLarge}, "replaced"),
      onKey({Kind::Unset, "", "", "old"}, "unset"),
      onKey({Kind::Unset, "", "", "long"}, "shortened", {{Kind::Set, r, "shortened", "long", 1, 60'000}}),
      onKey({Kind::ChangeThree, "", "", "", 0, 200}, "three"),
      onKey({Kind::Repair, "", ""}, "damaged",
            {{Kind::Set, r, "damaged", kBrokenName, 2, 100},
             {Kind::Set, r, "damaged", "last", 3, 100},
             {Kind::Damage, r, "damaged"}}),
      [=](std::uint64_t n) {
        const std::string key = named("made", n);
        return Story{{}, {Kind::Create, r, key}, {{Kind::Create, r, key}, {Kind::Set, r, key, "v", n, 50}}};
      },
      [=](std::uint64_t n) {
        const std::string key = named("chain", n) + "\\b\\c";
        return Story{{}, {Kind::Create, r, key}, {{Kind::Create, r, key}, {Kind::Set, r, key, "v", n, 50}}};
      },
      [=](std::uint64_t n) {
        const std::string key = named("found", n);
        return Story{{}, {Kind::Create, r, key}, {{Kind::Create, r, key + "\\below"}}};
      },
      [=](std::uint64_t n) {
        const std::string place = named("roots", n) + "/x/y";
        return Story{{}, {Kind::Create, place, "a"}, {{Kind::Create, place, "a"}, {Kind::Set, place, "a", "v", n, 50}}};
      },
      [=](std::uint64_t n) {
        const std::string key = named("gone", n);
        return Story{{{Kind::Create, r, key}, {Kind::Set, r, key, "v", n, 50}},
                     {Kind::Delete, r, key},
                     {{Kind::Delete, r, key}, {Kind::Create, r, key}, {Kind::Set, r, key, "w", n, 50}}};
      },
      [=](std::uint64_t n) {
        const std::string key = named("last", n);
        return Story{{{Kind::Create, r, key}, {Kind::Set, r, key, "v", n, 50}},
                     {Kind::Delete, r, key},
                     {{Kind::Delete, r, key}}};
      },
      [=](std::uint64_t n) {
        const std::string key = named("full", n);
        return Story{{{Kind::Create, r, key}, {Kind::Set, r, key, "v", n, 50}},
                     {Kind::DeleteOnFullDisk, r, key},
                     {{Kind::DeleteOnFullDisk, r, key}}};
      },
      [=](std::uint64_t n) {
        // What a repair keeps stays in the folder, so that only the note tells that the key is gone.
        const std::string key = named("kept", n);
        return Story{{{Kind::Create, r, key},
                      {Kind::Set, r, key, kBrokenName, n, 50},
                      {Kind::Set, r, key, "v", n, 50},
                      {Kind::Damage, r, key},
                      {Kind::Repair, r, key}},
                     {Kind::DeleteOnFullDisk, r, key},
                     {{Kind::DeleteOnFullDisk, r, key}}};
      },
  };
}

// Kills an operation after each of its events in turn, and once when it has done all of them.
class NamedPoints {
 public:
  NamedPoints(Surroundings where, std::mt19937_64& random) : where_(std::move(where)), random_(random) {}

  // @return how many points there were.
  std::size_t Kill(const std::function<Story(std::uint64_t)>& tell) {
    std::size_t points = 0;
    const Story whole = tell(++number_ * 10);
    Wait(Start([&] { Do(whole.before, std::nullopt); }));
    Wait(Start([&] { Do({whole.killed}, std::nullopt); }));
    // The folder of a key that was deleted where it lies and stays would show other files, see `hasJournal`.
    if (whole.killed.kind == Kind::DeleteOnFullDisk && !where_.hasJournal) return points;
    for (std::size_t point = 1;; ++point) {
      const Story story = tell(++number_ * 10);
      Wait(Start([&] { Do(story.before, std::nullopt); }));
      const bool wasKilled = WIFSIGNALED(Wait(Start([&] { Do({story.killed}, point); })));
      ++points;
      // Sometimes the next one is killed, too, before anybody can finish.
      if (random_() % 3 == 0) Wait(Start([&] { Do({story.killed}, 1 + random_() % point); }));
      Wait(Start([&] { Do(story.after, std::nullopt); }));
      if (!wasKilled) return points;
    }
  }

 private:
  void Do(const std::vector<Operation>& operations, std::optional<std::size_t> point) const {
    Journal journal(where_.journal, where_.diskLog);
    WatchSyncs(where_, journal, operations.empty() ? "" : where_.mounted / operations.front().place);
    RecordDisk();
    if (point) KillAfter(*point);
    DoAll(where_, journal, operations, !point);
    if (point) std::_Exit(kNotAcknowledged);
  }

  Surroundings where_;
  std::mt19937_64& random_;
  std::uint64_t number_ = 0;
};

void MakeKey(const Surroundings& where, const std::string& key) {
  Journal journal(where.journal, where.diskLog);
  DoAll(where, journal, {{Kind::Create, "r", key}});
}

// Changes keys of its own at random, and one beside those of the others, until it is killed.
[[noreturn]] void WorkAtRandom(const Surroundings& where, const std::string& own, std::uint64_t seed) {
  Journal journal(where.journal, where.diskLog);
  WatchSyncs(where, journal, where.mounted / "r");
  std::mt19937_64 random(seed);
  const std::string r = "r";
  DoAll(where, journal, {{Kind::Create, r, own}});
  for (std::uint64_t number = seed % 1'000'000'000 * 1000;; ++number) {
    RecordDisk();
    const std::string key = own + "\\c" + std::to_string(random() % 3);
    const std::string name = "v" + std::to_string(random() % 4);
    constexpr std::array<std::size_t, 8> kLengths = {5, 20, 60, 100, 400, 1300, 2500, 9000};
    if (where.OnlyMakesKeys()) {
      const std::string made = own + "\\n" + std::to_string(number);
      DoAll(where, journal, {{Kind::Create, r, made}, {Kind::Set, r, made, name, number, kLengths[random() % 4]}});
      continue;
    }
    switch (random() % 8) {
      case 0:
        DoAll(where, journal, {{Kind::Unset, r, own, name}});
        break;
      case 1:
        DoAll(where, journal, {{Kind::Create, r, key + "\\d"}, {Kind::Set, r, key + "\\d", name, number, 30}});
        break;
      case 2:
        DoAll(where, journal, {{Kind::Delete, r, key + "\\d"}, {Kind::Delete, r, key}});
        break;
      case 3:
        DoAll(where, journal, {{Kind::ChangeThree, r, own, "", number, 20 + random() % 300}});
        break;
      case 4:
        DoAll(where, journal, {{Kind::Create, r, own + "beside"}, {Kind::Set, r, own + "beside", name, number, 30}});
        break;
      case 5:
        DoAll(where, journal, {{Kind::Delete, r, own + "beside"}});
        break;
      default:
        DoAll(where, journal, {{Kind::Set, r, own, name, number, kLengths[random() % kLengths.size()]}});
    }
  }
}

void KillAtRandom(const Surroundings& where, std::mt19937_64& random, std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) {
    std::array<pid_t, 2> writers{};
    for (std::size_t i = 0; i < writers.size(); ++i) {
      const std::uint64_t seed = random();
      const std::string own = "p" + std::to_string(i) + (where.OnlyMakesKeys() ? std::to_string(seed) : "");
      if (where.OnlyMakesKeys()) Wait(Start([&] { MakeKey(where, own); }));
      writers[i] = Start([&] { WorkAtRandom(where, own, seed); });
    }
    std::this_thread::sleep_for(std::chrono::microseconds(3000 + random() % 40'000));
    // The system may write back whatever there is at any moment.
    if (where.placeLeftOut.empty() && random() % 4 == 0) ::sync();
    for (const pid_t writer : writers) ::kill(writer, SIGKILL);
    for (const pid_t writer : writers) Wait(writer);
  }
}

void Write(const Surroundings& where, std::uint64_t seed, std::chrono::milliseconds time) {
  std::mt19937_64 random(seed);
  NamedPoints points(where, random);
  std::size_t count = 0;
  if (!where.OnlyMakesKeys()) {
    for (const auto& story : Stories()) count += points.Kill(story);
  }
  std::cout << count << '\n';
  KillAtRandom(where, random, time);
}

int Tell(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) std::cout << line << '\n';
  return lines.empty() ? 0 : 1;
}

int Verify(const std::filesystem::path& mounted, const std::string& journal, std::uint64_t position) {
  const ExpectedState expected(ReadJournal(journal), position);
  std::vector<std::string> wrong = expected.Differences(mounted);
  if (wrong.empty()) wrong = expected.LaterWrites(mounted);
  return Tell(wrong);
}

int TellMoments(const std::string& journal, const std::string& place) {
  std::set<std::uint64_t> moments;
  for (const JournalEntry& entry : ReadJournal(journal)) {
    const bool isMeant = place.empty() || std::find(entry.syncs.begin(), entry.syncs.end(), place) != entry.syncs.end();
    if (isMeant && entry.ended != UINT64_MAX && entry.status == 0) moments.insert(entry.ended);
  }
  for (const std::uint64_t moment : moments) std::cout << moment << '\n';
  return 0;
}

int Run(const std::vector<std::string>& arguments) {
  const std::string verb = arguments.empty() ? "" : arguments[0];
  if (verb == "write" && (arguments.size() == 7 || arguments.size() == 8)) {
    const std::string left = arguments.size() == 8 ? arguments[7] : "";
    const bool hasJournal = arguments[6] == "journal";
    if (!left.empty() && !IsSyncPlace(left)) throw std::invalid_argument("no place of a sync is called " + left);
    Write({arguments[1], arguments[2], arguments[3], hasJournal, left}, std::stoull(arguments[4]),
          std::chrono::milliseconds(std::stoi(arguments[5])));
    return 0;
  }
  if (verb == "places" && arguments.size() == 2) return TellPlaces(arguments[1]);
  if (verb == "moments" && (arguments.size() == 2 || arguments.size() == 3)) {
    return TellMoments(arguments[1], arguments.size() == 3 ? arguments[2] : "");
  }
  if (verb == "verify" && arguments.size() == 4) return Verify(arguments[1], arguments[2], std::stoull(arguments[3]));
  throw std::invalid_argument("see the head of its source");
}

}  // namespace
}  // namespace nerio::testing

int main(int count, char** words) {
  try {
    return nerio::testing::Run({words + 1, words + count});
  } catch (const std::exception& error) {
    std::cerr << "nerio_power_cut_writers: " << error.what() << '\n';
    return 2;
  }
}
