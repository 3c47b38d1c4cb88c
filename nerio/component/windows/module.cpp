#include "nerio/component/windows/module.h"

#include <windows.h>

#include <atomic>

namespace nerio::component {
namespace {

std::atomic<long> references = 0;

}  // namespace

void AddModuleReference() noexcept { ++references; }
void ReleaseModuleReference() noexcept { --references; }
bool HasModuleReferences() noexcept { return references != 0; }

}  // namespace nerio::component

// The library stays in a process that has loaded it, deliberately. What its run-time library takes when it is loaded, a
// slot of thread-local storage, handles and memory, it does not release when it is unloaded, and a process has about
// a thousand slots. Should the system refuse, the library works all the same.
extern "C" BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    HMODULE pinned = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                         reinterpret_cast<const wchar_t*>(self), &pinned);
  }
  return TRUE;
}
