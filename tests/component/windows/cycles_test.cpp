// A host that starts and ends COM, or loads and frees the library, again and again. An entry of its own, since the
// library stays loaded from the first time on. The environment's NERIO_CYCLES says how often.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>
#include <stdexcept>
#include <vector>

#include "nerio/hosts/windows/automation/bstr.h"
#include "tests/component/windows/loaded_component.h"

namespace nerio::component {
namespace {

using platform::Bstr;
using platform::ComPointer;
using testing::LoadedComponent;

int Cycles() {
  constexpr int kShort = 300;
  const char* const wanted = std::getenv("NERIO_CYCLES");
  return wanted != nullptr ? std::atoi(wanted) : kShort;
}

// What this process has taken of the system.
struct Taken {
  int slots = 0;  // of thread-local storage
  std::size_t handles = 0;
  std::size_t heapBytes = 0;
};

// One handle of the system, as its list has it.
struct HandleEntry {
  void* object;
  ULONG_PTR process;
  ULONG_PTR value;
  ULONG rest[4];
};

// Counted in the system's list of all handles: the call that counts those of a process answers 0 under Wine.
std::size_t CountHandles() {
  using QueryFunction = LONG(WINAPI*)(int what, void* answer, ULONG size, ULONG* needed);
  constexpr int kExtendedHandles = 64;
  constexpr std::size_t kHeader = 2 * sizeof(ULONG_PTR);  // the count, and one that is reserved
  const auto query = reinterpret_cast<QueryFunction>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<std::byte> buffer(1 << 20);
  if (query(kExtendedHandles, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr) < 0) {
    throw std::runtime_error("no list of handles");
  }
  ULONG_PTR count = 0;
  std::memcpy(&count, buffer.data(), sizeof count);
  const std::span entries(reinterpret_cast<const HandleEntry*>(buffer.data() + kHeader), count);
  return static_cast<std::size_t>(std::ranges::count(entries, ::GetCurrentProcessId(), &HandleEntry::process));
}

Taken Measure() {
  Taken taken;
  std::vector<DWORD> free;
  for (DWORD slot = ::TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = ::TlsAlloc()) free.push_back(slot);
  for (const DWORD slot : free) ::TlsFree(slot);
  constexpr int kAllSlots = 1088;
  taken.slots = kAllSlots - static_cast<int>(free.size());
  free = {};
  taken.handles = CountHandles();
  HANDLE heaps[64];
  const DWORD count = ::GetProcessHeaps(64, heaps);
  for (DWORD i = 0; i < count; ++i) {
    PROCESS_HEAP_ENTRY entry{};
    while (::HeapWalk(heaps[i], &entry) != 0) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) taken.heapBytes += entry.cbData;
    }
  }
  return taken;
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
