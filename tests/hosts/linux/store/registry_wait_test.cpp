#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

using testing::Calls;
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// One process keeps the lock of a key and never lets it go.
TEST(Wait, ForALockThatIsNeverGranted_EndsForEachChangeAfterHalfAMinuteAndHoldsUpNobodyElse) {
  testing::StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k\\sub"_ansi), kSuccess);
  ASSERT_EQ(calls.Create("other"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "old"), kSuccess);
  KeyLock held;
  Descriptor folder;
  ASSERT_EQ(OpenByPath(stored.Key("k"), O_PATH | O_DIRECTORY, folder), kSuccess);
  ASSERT_EQ(held.Take(folder.get(), false, Deadline(kChangeLimit)), kSuccess);

  struct Change {
    std::function<Status()> make;
    Status status{};
    double seconds = 0;
  };
  std::vector<Change> changes;
  for (const std::function<Status()>& make : std::initializer_list<std::function<Status()>>{
           [&] { return calls.Set("k"_ansi, "v"_ansi, "new"); }, [&] { return calls.DeleteValue("k"_ansi, "v"_ansi); },
           [&] { return calls.Create("k\\new\\below"_ansi); }, [&] { return calls.Delete("k\\sub"_ansi); },
           [&] { return calls.Delete("k"_ansi); }}) {
    changes.push_back({make});
  }
  {
    std::vector<std::jthread> threads;
    threads.reserve(changes.size());
    for (Change& change : changes) {
      threads.emplace_back([&change] {
        const Clock::time_point start = Clock::now();
        change.status = change.make();
        change.seconds = SecondsSince(start);
      });
    }
    // Meanwhile whoever needs none of these locks goes on.
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(calls.Get("k"_ansi, "v"_ansi), "old");
      EXPECT_EQ(calls.Set("other"_ansi, "v"_ansi, std::to_string(i)), kSuccess);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_LT(SecondsSince(start), 15);
  }
  for (const Change& change : changes) {
    EXPECT_EQ(change.status, kBusy);
    EXPECT_GE(change.seconds, 29);
    EXPECT_LT(change.seconds, 45);
  }
  held = KeyLock();
  EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "new"), kSuccess);
}

}  // namespace
}  // namespace nerio::platform
