// A host that has another run-time loaded calls every member of the component, and loads and frees the library, again
// and again. An entry of its own, since that run-time stays loaded. The environment's NERIO_CYCLES says how often.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "tests/component/windows/every_member.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/long_runs/taken.h"

namespace nerio::component {
namespace {

namespace fs = std::filesystem;
using testing::LoadedComponent;
using testing::Measure;
using testing::Taken;

int Cycles() {
  constexpr int kShort = 20;
  const char* const wanted = std::getenv("NERIO_CYCLES");
  return wanted != nullptr ? std::atoi(wanted) : kShort;
}

class Soak : public ::testing::Test {
 protected:
  // What the second and third need comes first.
  static void SetUpTestSuite() {
    for (const char* const library : {NERIO_SHARED_THREADS, NERIO_SHARED_RUNTIME, NERIO_SHARED_LIBRARY}) {
      ASSERT_NE(::LoadLibraryW(fs::absolute(library).c_str()), nullptr) << library << ": " << ::GetLastError();
    }
  }

  // Runs a cycle until everything that is made once is made, then as often as wanted. Returns what it left taken, in
  // words; empty when nothing.
  template <typename Cycle>
  static std::string WhatIsLeftOf(int cycles, Cycle&& cycle) {
    constexpr int kFirst = 10;
    for (int i = 0; i < kFirst; ++i) cycle();
    const Taken before = Measure();
    for (int i = 0; i < cycles && !HasFailure(); ++i) cycle();
    const Taken after = Measure();
    std::string left;
    if (after.slots != before.slots) left += std::to_string(after.slots - before.slots) + " slots; ";
    if (after.handles != before.handles) left += std::to_string(after.handles - before.handles) + " handles; ";
    // A heap's blocks come and go a little; what a cycle keeps adds up.
    constexpr std::size_t kLittle = 4096;
    if (after.heapBytes > before.heapBytes + kLittle + static_cast<std::size_t>(cycles)) {
      left += std::to_string(after.heapBytes - before.heapBytes) + " bytes; ";
    }
    return left;
  }

  const std::wstring folder_ = fs::path(testing::ComponentPath()).parent_path().wstring();
};

TEST_F(Soak, EveryMember_CalledAgainAndAgain_TakesNothingMore) {
  const LoadedComponent component;
  const auto object = component.Create();
  const std::vector<std::string> right = testing::EveryAnswer();
  EXPECT_EQ(WhatIsLeftOf(Cycles(), [&] { ASSERT_EQ(testing::CallEveryMember(object.get(), folder_), right); }), "");
  std::cout << Cycles() << " calls of each member, in a host with another run-time\n";
}

TEST_F(Soak, Library_LoadedAndFreedAgainAndAgain_TakesNothingMore) {
  const int loads = Cycles() < 20 * 5000 ? Cycles() / 20 + 1 : 5000;
  EXPECT_EQ(WhatIsLeftOf(loads,
                         [] {
                           const LoadedComponent component;
                           ASSERT_NE(component.Create().get(), nullptr);
                         }),
            "");
  std::cout << loads << " loads, in a host with another run-time\n";
}

TEST_F(Soak, HostThatLeaks_IsSeen) {
  const LoadedComponent component;
  const auto object = component.Create();
  constexpr int kCycles = 300;
  const std::string handles = WhatIsLeftOf(kCycles, [&] {
    BSTR guid = nullptr;
    object->GetGuid(&guid);
    ::SysFreeString(guid);
    ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  });
  EXPECT_NE(handles.find("handles"), std::string::npos) << handles;
  const std::string texts = WhatIsLeftOf(kCycles, [&] {
    BSTR guid = nullptr;
    object->GetGuid(&guid);
  });
  EXPECT_NE(texts.find("bytes"), std::string::npos) << texts;
  std::cout << "planted leak of a handle with each call: " << handles << "seen\n"
            << "planted leak of a text with each call: " << texts << "seen\n";
}

}  // namespace
}  // namespace nerio::component
