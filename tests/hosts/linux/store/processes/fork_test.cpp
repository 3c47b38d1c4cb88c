#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
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

// Waits for a child. @return its exit status, -1 when a signal ended it.
int Ended(pid_t child) {
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Fork, ChildOfAProgramWithThreadsInTheRegistry_CanUseIt) {
  testing::StoredRegistry stored;
  ASSERT_EQ(stored.calls().Create("k"_ansi), kSuccess);
  ASSERT_EQ(stored.calls().Set("k"_ansi, "v"_ansi, "x"), kSuccess);
  std::this_thread::sleep_for(std::chrono::milliseconds(40));
  std::atomic<bool> done = false;
  std::vector<std::jthread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      const Calls calls = stored.calls();
      while (!done) {
        calls.Get("k"_ansi, "v"_ansi);
        if (i == 0) calls.Open("missing"_ansi);
      }
    });
  }
  int unable = 0;
  for (int i = 0; i < 300; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(5);
      ::_exit(stored.calls().Get("k"_ansi, "v"_ansi) == "x" ? 0 : 1);
    }
    unable += Ended(child) == 0 ? 0 : 1;
    if (unable > 2) break;
  }
  done = true;
  EXPECT_EQ(unable, 0);
}

TEST(Fork, ChildOfAWriterThatIsKilled_DoesNotKeepItsLock) {
  testing::StoredRegistry stored;
  ASSERT_EQ(stored.calls().Create("k"_ansi), kSuccess);
  std::array<int, 2> gate{};
  ASSERT_EQ(::pipe(gate.data()), 0);
  const pid_t writer = ::fork();
  if (writer == 0) {
    Descriptor folder;
    KeyLock lock;
    if (OpenByPath(stored.Key("k"), O_PATH | O_DIRECTORY, folder) != kSuccess ||
        lock.Take(folder.get(), false, Deadline(kChangeLimit)) != kSuccess) {
      ::_exit(1);
    }
    if (::fork() == 0) {
      // Lives on until the test is over.
      char byte = 0;
      ::close(gate[1]);
      static_cast<void>(!::read(gate[0], &byte, 1));
      ::_exit(0);
    }
    ::kill(::getpid(), SIGKILL);
  }
  EXPECT_EQ(Ended(writer), -1);
  Descriptor folder;
  ASSERT_EQ(OpenByPath(stored.Key("k"), O_PATH | O_DIRECTORY, folder), kSuccess);
  KeyLock lock;
  EXPECT_EQ(lock.Take(folder.get(), false, Deadline(std::chrono::seconds(1))), kSuccess);
  ::close(gate[1]);
  ::close(gate[0]);
}

}  // namespace
}  // namespace nerio::platform
