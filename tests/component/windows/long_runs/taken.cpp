#include "tests/component/windows/long_runs/taken.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <stdexcept>
#include <vector>

namespace nerio::testing {
namespace {

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
  constexpr std::size_t kListHeader = 2 * sizeof(ULONG_PTR);  // the count, and one that is reserved
  const auto query = reinterpret_cast<QueryFunction>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<std::byte> buffer(1 << 20);
  if (query(kExtendedHandles, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr) < 0) {
    throw std::runtime_error("no list of handles");
  }
  ULONG_PTR count = 0;
  std::memcpy(&count, buffer.data(), sizeof count);
  const std::span entries(reinterpret_cast<const HandleEntry*>(buffer.data() + kListHeader), count);
  return static_cast<std::size_t>(std::ranges::count(entries, ::GetCurrentProcessId(), &HandleEntry::process));
}

}  // namespace

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

}  // namespace nerio::testing
