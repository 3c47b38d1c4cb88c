// Keeps the exceptions of this library apart from another run-time library of its compiler.
//
// Where the process has loaded that library, the start-up code that is linked in hands it the tables that exceptions
// are unwound with, while the unwinder that is linked in looks into its own: the first exception would end the process.
// The start-up code asks for the library by its name through the import that is defined here, and learns that it is not
// there.
#include <windows.h>

#include <cstring>

namespace nerio::component {
namespace {

HMODULE WINAPI FindModule(const char* name) {
  if (name != nullptr && std::strcmp(name, "libgcc_s_dw2-1.dll") == 0) return nullptr;
  HMODULE module = nullptr;
  ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, name, &module);
  return module;
}

}  // namespace

// What the linker takes for the imported function's address, instead of that of the system's library.
extern HMODULE(WINAPI* const kGetModuleHandle)(const char*) __asm__("__imp__GetModuleHandleA@4");
HMODULE(WINAPI* const kGetModuleHandle)(const char*) = FindModule;

}  // namespace nerio::component
