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

// One process keeps the locks of a key, and of the folder in which roots are made, and never lets them go.
TEST(Wait, ForALockThatIsNeverGranted_EndsForEachChangeAfterHalfAMinuteAndHoldsUpNobodyElse) {
  testing::StoredRegistry stored;
  const Calls calls = stored.calls();
  ASSERT_EQ(calls.Create("k\\sub"_ansi), kSuccess);
  ASSERT_EQ(calls.Create("other"_ansi), kSuccess);
  ASSERT_EQ(calls.Set("k"_ansi, "v"_ansi, "old"), kSuccess);
  std::vector<KeyLock> held(2);
  Descriptor folder;
  for (const auto& [path, lock] : {std::pair(stored.Key("k"), &held[0]), {stored.folder(), &held[1]}}) {
    ASSERT_EQ(OpenByPath(path, O_PATH | O_DIRECTORY, folder), kSuccess);
    ASSERT_EQ(lock->Take(folder.get(), true, Deadline(kChangeLimit)), kSuccess);
  }

  struct Change {
    std::function<Status()> make;
    Status status{};
    double seconds = 0;
  };
  RegistryApi& registry = stored.registry();
  const auto inAnotherRoot = [&registry] {
    KeyHandle key = 0;
    std::uint32_t disposition = 0;
    return registry.CreateKey(kHkeyUsers, "new"_ansi, 0, ""_ansi, 0, testing::kFullAccess, {}, key, disposition);
  };
  std::vector<Change> changes;
  for (const std::function<Status()>& make : std::initializer_list<std::function<Status()>>{
           [&] { return calls.Set("k"_ansi, "v"_ansi, "new"); }, [&] { return calls.DeleteValue("k"_ansi, "v"_ansi); },
           [&] { return calls.Create("k\\new\\below"_ansi); }, [&] { return calls.Delete("k\\sub"_ansi); },
           [&] { return calls.Delete("k"_ansi); }, inAnotherRoot}) {
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
      KeyHandle key = 0;
      EXPECT_EQ(registry.OpenKey(kHkeyClassesRoot, "missing"_ansi, 0, kKeyRead, key), kFileNotFound);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_LT(SecondsSince(start), 15);
  }
  for (const Change& change : changes) {
    EXPECT_EQ(change.status, kBusy);
    EXPECT_GE(change.seconds, 29);
    EXPECT_LT(change.seconds, 45);
  }
  held.clear();
  EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "new"), kSuccess);
  EXPECT_EQ(inAnotherRoot(), kSuccess);
}

}  // namespace
}  // namespace nerio::platform
