// A host that starts and ends COM, or loads and frees the library, again and again. An entry of its own, since the
// library stays loaded from the first time on. The environment's NERIO_CYCLES says how often.
#include <gtest/gtest.h>

#include <cstdlib>

#include "nerio/hosts/windows/automation/bstr.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/long_runs/taken.h"

namespace nerio::component {
namespace {

using platform::Bstr;
using platform::ComPointer;
using testing::LoadedComponent;
using testing::Measure;
using testing::Taken;

int Cycles() {
  constexpr int kShort = 300;
  const char* const wanted = std::getenv("NERIO_CYCLES");
  return wanted != nullptr ? std::atoi(wanted) : kShort;
}

// Runs a cycle until everything that is made once is made, then as often as wanted, and looks at what was taken
// meanwhile.
template <typename Cycle>
void ExpectFlat(Cycle&& cycle) {
  constexpr int kFirst = 10;
  for (int i = 0; i < kFirst; ++i) cycle();
  const Taken before = Measure();
  for (int i = 0; i < Cycles(); ++i) cycle();
  const Taken after = Measure();
  EXPECT_GT(before.slots, 0);
  EXPECT_GT(before.handles, 0u);
  EXPECT_GT(before.heapBytes, 0u);
  EXPECT_EQ(after.slots, before.slots);
  EXPECT_EQ(after.handles, before.handles);
  // A heap's blocks come and go a little; what a cycle keeps adds up.
  EXPECT_LT(after.heapBytes, before.heapBytes + static_cast<std::size_t>(Cycles())) << before.heapBytes;
}

TEST(Cycles, LibraryLoadedAndFreed_TakesNothingMore) {
  ExpectFlat([] { const LoadedComponent loaded; });
}

TEST(Cycles, ApartmentWithCallAndError_TakesNothingMore) {
  ASSERT_EQ(LoadedComponent().registerServer(), S_OK);
  ::CoUninitialize();  // the runner's own, so that each of the cycles is the first and the last of its kind
  int answered = 0;
  ExpectFlat([&] {
    ASSERT_EQ(::CoInitialize(nullptr), S_OK);
    {
      ComPointer<INerioComponent> object;
      if (::CoCreateInstance(CLSID_Component, nullptr, CLSCTX_INPROC_SERVER, IID_INerioComponent, object.putVoid()) ==
          S_OK) {
        Bstr guid;
        const bool called = object->GetGuid(guid.put()) == S_OK;
        const bool raised = object->ValidateParam(nullptr, nullptr) == static_cast<HRESULT>(0x80040001);
        if (called && raised) ++answered;
      }
    }
    ::CoUninitialize();
  });
  EXPECT_GT(answered, Cycles());
  ASSERT_EQ(::CoInitialize(nullptr), S_OK);
  EXPECT_EQ(LoadedComponent().unregisterServer(), S_OK);
}

}  // namespace
}  // namespace nerio::component
