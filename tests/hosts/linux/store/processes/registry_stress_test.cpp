#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

using testing::Calls;
using testing::kFullAccess;

constexpr int kOperations = 2000;
constexpr int kKeys = 4;
constexpr int kNames = 5;

// Every value tells whether it is whole: a letter as often as the number before it says.
std::string Whole(std::uint32_t random) {
  const std::size_t length = random % 37 == 0 ? 3000 : random % 200;
  std::string text = std::to_string(length) + ":";
  text.resize(text.size() + length, static_cast<char>('a' + random % 26));
  return text;
}

bool IsWhole(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || text.find_first_not_of("0123456789") != colon) return false;
  const std::size_t length = std::stoul(text);
  return text.size() == colon + 1 + length &&
         (length == 0 || text.find_first_not_of(text.back(), colon + 1) == std::string::npos);
}

// Makes mixed calls on keys that others work on too, and on one that is its own. Each answer is one that the work of
// others can explain; on its own key everything is exactly as it left it.
class Worker {
 public:
  Worker(RegistryApi& registry, int number) : registry_(registry), calls_(registry), number_(number) {}

  // Returns what was wrong; empty when nothing was.
  std::string Run() {
    std::mt19937 random(static_cast<unsigned>(number_) * 7919 + 1);
    if (const Status status = calls_.Create(OwnKey()); status != kSuccess)
      return "own key: " + std::to_string(NumberOf(status));
    for (int i = 0; i < kOperations; ++i) {
      Step(random);
      if (!wrong_.empty()) return std::to_string(i) + ": " + wrong_;
    }
    for (const KeyHandle handle : handles_) registry_.CloseKey(handle);
    return "";
  }

 private:
  AnsiText OwnKey() const { return AnsiText("shared\\own" + std::to_string(number_)); }

  void Expect(const char* what, Status status, std::initializer_list<Status> explained) {
    for (const Status one : explained) {
      if (status == one) return;
    }
    wrong_ = what + (": " + std::to_string(NumberOf(status)));
  }

  void Step(std::mt19937& random) {
    const AnsiText key("shared\\k" + std::to_string(random() % kKeys));
    const AnsiText subkey(key.bytes() + "\\sub" + std::to_string(random() % 2));
    const AnsiText name('n' + std::to_string(random() % kNames));
    switch (random() % 14) {
      case 0:
        return Expect("create", calls_.Create(key), {kSuccess});
      case 1:
        return Expect("create below", calls_.Create(subkey), {kSuccess});
      case 2:
        return Expect("delete", calls_.Delete(key), {kSuccess, kFileNotFound, kAccessDenied});
      case 3:
        return Expect("delete below", calls_.Delete(subkey), {kSuccess, kFileNotFound});
      case 4:
      case 5:
      case 6:
        return Expect("set", calls_.Set(key, name, Whole(static_cast<std::uint32_t>(random()))),
                      {kSuccess, kFileNotFound, kKeyDeleted});
      case 7:
        return Expect("delete value", calls_.DeleteValue(key, name), {kSuccess, kFileNotFound, kKeyDeleted});
      case 8:
      case 9:
      case 10: {
        const std::string value = calls_.Get(key, name);
        if (value != "[2]" && value != "[1018]" && !IsWhole(value)) wrong_ = "get: " + value.substr(0, 80);
        return;
      }
      case 11:
        return KeepHandle(key, random);
      case 12:
        return List(key);
      default:
        return OwnWork(name, random);
    }
  }

  // A handle stays valid as long as its key, whatever happens to the name.
  void KeepHandle(const AnsiText& key, std::mt19937& random) {
    KeyHandle handle = 0;
    const Status opening = registry_.OpenKey(kHkeyLocalMachine, key, 0, kFullAccess, handle);
    Expect("open", opening, {kSuccess, kFileNotFound});
    if (opening == kSuccess) handles_.push_back(handle);
    if (handles_.empty()) return;
    const std::size_t which = random() % handles_.size();
    Expect("set by handle", registry_.SetValue(handles_[which], "h"_ansi, 0, kRegSz, Whole(5)),
           {kSuccess, kKeyDeleted});
    if (handles_.size() < 8) return;
    Expect("close", registry_.CloseKey(handles_[which]), {kSuccess});
    handles_.erase(handles_.begin() + static_cast<std::ptrdiff_t>(which));
  }

  void List(const AnsiText& key) {
    KeyHandle handle = 0;
    if (registry_.OpenKey(kHkeyLocalMachine, key, 0, kKeyRead, handle) != kSuccess) return;
    AnsiText name;
    std::uint32_t type = 0;
    std::string data;
    Status status = kSuccess;
    for (std::uint32_t i = 0; status == kSuccess; ++i) {
      status = registry_.EnumValue(handle, i, name, type, data);
      if (status == kSuccess && !IsWhole(data)) wrong_ = "list: " + data.substr(0, 80);
    }
    Expect("list values", status, {kNoMoreItems, kKeyDeleted});
    status = kSuccess;
    for (std::uint32_t i = 0; status == kSuccess; ++i) status = registry_.EnumKey(handle, i, name);
    Expect("list keys", status, {kNoMoreItems, kKeyDeleted});
    registry_.CloseKey(handle);
  }

  void OwnWork(const AnsiText& name, std::mt19937& random) {
    const std::string expected = own_.contains(name) ? own_[name] : "[2]";
    if (calls_.Get(OwnKey(), name) != expected) {
      wrong_ = "own value is not what it was";
      return;
    }
    if (random() % 4 == 0) {
      Expect("own delete", calls_.DeleteValue(OwnKey(), name), {expected == "[2]" ? kFileNotFound : kSuccess});
      own_.erase(name);
    } else {
      const std::string value = Whole(static_cast<std::uint32_t>(random()));
      Expect("own set", calls_.Set(OwnKey(), name, value), {kSuccess});
      own_[name] = value;
    }
  }

  RegistryApi& registry_;
  Calls calls_;
  int number_;
  std::vector<KeyHandle> handles_;
  std::map<AnsiText, std::string> own_;
  std::string wrong_;
};

TEST(Stress, EightProcessesOnTheSameKeys) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  // Each process waits for the end of this pipe, so that they start together.
  std::array<int, 2> gate{};
  ASSERT_EQ(::pipe(gate.data()), 0);
  std::vector<pid_t> children;
  std::array<std::array<int, 2>, 8> answers{};
  for (int number = 0; number < 8; ++number) {
    auto& answer = answers[static_cast<std::size_t>(number)];
    ASSERT_EQ(::pipe(answer.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      char byte = 0;
      ::close(gate[1]);
      static_cast<void>(!::read(gate[0], &byte, 1));
      LinuxRegistry registry(folder.path());
      const std::string wrong = Worker(registry, number).Run();
      static_cast<void>(!::write(answer[1], wrong.data(), wrong.size()));
      ::_exit(wrong.empty() ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    children.push_back(child);
    ::close(answer[1]);
  }
  ::close(gate[1]);
  ::close(gate[0]);
  for (std::size_t i = 0; i < children.size(); ++i) {
    std::array<char, 200> text{};
    const ssize_t length = ::read(answers[i][0], text.data(), text.size());
    int status = 0;
    ASSERT_EQ(::waitpid(children[i], &status, 0), children[i]);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "process " << i << ": " << std::string(text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    ::close(answers[i][0]);
  }
  for (const RegistryFinding& finding : CheckRegistry({folder.path()}))
    ADD_FAILURE() << finding.place << ": " << finding.what;
}

TEST(Stress, FourThreadsOnTheSameKeysThroughOneRegistry) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  LinuxRegistry registry(folder.path());
  std::array<std::string, 4> wrong;
  {
    std::vector<std::jthread> threads;
    threads.reserve(wrong.size());
    for (int number = 0; number < 4; ++number) {
      threads.emplace_back([&, number] { wrong[static_cast<std::size_t>(number)] = Worker(registry, number).Run(); });
    }
  }
  EXPECT_THAT(wrong, ::testing::Each(""));
  for (const RegistryFinding& finding : CheckRegistry({folder.path()}))
    ADD_FAILURE() << finding.place << ": " << finding.what;
}

// The first to come makes the root; the others find it made between their look and their turn.
TEST(Stress, FourThreadsThatMakeTheRootTogether_AllSucceed) {
  for (int round = 0; round < 300; ++round) {
    const testing::TemporaryFolder folder(testing::MemoryFolder());
    LinuxRegistry registry(folder.path());
    std::array<Status, 4> made{};
    std::barrier start(static_cast<std::ptrdiff_t>(made.size()));
    {
      std::vector<std::jthread> threads;
      for (std::size_t i = 0; i < made.size(); ++i) {
        threads.emplace_back([&, i] {
          start.arrive_and_wait();
          made[i] = Calls(registry).Create(AnsiText("k" + std::to_string(i)));
        });
      }
    }
    ASSERT_THAT(made, ::testing::Each(kSuccess)) << round;
  }
}

// Two threads list while another one changes what is listed.
TEST(Stress, ThreadsThroughOneHandle_ListWhatIsThere) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  LinuxRegistry registry(folder.path());
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(Calls(registry).Create(AnsiText("k\\Sub" + std::to_string(i))), kSuccess);
    ASSERT_EQ(Calls(registry).Set("k"_ansi, AnsiText("v" + std::to_string(i)), Whole(50)), kSuccess);
  }
  KeyHandle handle = 0;
  ASSERT_EQ(registry.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeyRead, handle), kSuccess);
  std::atomic<bool> done = false;
  std::array<std::string, 2> wrong;
  {
    std::vector<std::jthread> threads;
    for (std::string& found : wrong) {
      threads.emplace_back([&] {
        AnsiText name;
        std::uint32_t type = 0;
        std::string data;
        for (std::uint32_t i = 0; found.empty() && !done; i = (i + 1) % 22) {
          const Status value = registry.EnumValue(handle, i, name, type, data);
          if (value == kSuccess ? !IsWhole(data) : value != kNoMoreItems) found = "value: " + data;
          const Status key = registry.EnumKey(handle, i, name);
          // A key that vanishes between its listing and the reading of its name has the folder's.
          const std::string start = name.bytes().substr(0, 3);
          if (key == kSuccess ? start != "Sub" && start != "sub" : key != kNoMoreItems) found = "key: " + name.bytes();
        }
      });
    }
    const Calls calls(registry);
    for (int i = 0; i < 200; ++i) {
      const AnsiText key("k\\Sub" + std::to_string(20 + i % 3));
      EXPECT_EQ(calls.Set("k"_ansi, AnsiText("v" + std::to_string(i % 25)), Whole(static_cast<std::uint32_t>(i))),
                kSuccess);
      EXPECT_EQ(calls.Create(key), kSuccess);
      EXPECT_EQ(calls.Delete(key), kSuccess);
      if (i % 10 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    done = true;
  }
  EXPECT_THAT(wrong, ::testing::Each(""));
  EXPECT_EQ(registry.CloseKey(handle), kSuccess);
}

// Readers keep a key that rests for a while.
TEST(Stress, FourThreadsReadingAKeyThatRestsBetweenWrites_NeverSeeLessThanWasAcknowledged) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  LinuxRegistry writer(folder.path());
  LinuxRegistry registry(folder.path());
  ASSERT_EQ(Calls(writer).Create("k"_ansi), kSuccess);
  ASSERT_EQ(Calls(writer).Set("k"_ansi, "v"_ansi, "1000"), kSuccess);
  std::atomic<int> acknowledged = 1000;
  std::atomic<bool> done = false;
  std::array<std::string, 4> wrong;
  {
    std::vector<std::jthread> threads;
    threads.reserve(wrong.size());
    for (std::string& found : wrong) {
      threads.emplace_back([&] {
        while (!done && found.empty()) {
          const std::string least = std::to_string(acknowledged);
          // All numbers have four digits, so they are ordered as texts are.
          const std::string value = Calls(registry).Get("k"_ansi, "v"_ansi);
          if (value < least || value.size() != least.size()) found = testing::InOrder({value, "after", least});
        }
      });
    }
    for (int number = 1001; number <= 1030; ++number) {
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
      EXPECT_EQ(Calls(writer).Set("k"_ansi, "v"_ansi, std::to_string(number)), kSuccess);
      acknowledged = number;
    }
    done = true;
  }
  EXPECT_THAT(wrong, ::testing::Each(""));
}

}  // namespace
}  // namespace nerio::platform
