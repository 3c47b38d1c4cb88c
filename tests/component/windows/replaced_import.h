#pragma once

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace nerio::testing {

/// Finds the place in a loaded library that holds the address of a function that it imports.
inline void** ImportOf(HMODULE module, const char* name) {
  auto* const base = reinterpret_cast<std::byte*>(module);
  const auto at = [&]<typename Part>(DWORD relative, Part*) { return reinterpret_cast<Part*>(base + relative); };
  const auto* headers = at(static_cast<DWORD>(at(0, static_cast<IMAGE_DOS_HEADER*>(nullptr))->e_lfanew),
                           static_cast<IMAGE_NT_HEADERS32*>(nullptr));
  const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (const auto* library = at(imports, static_cast<IMAGE_IMPORT_DESCRIPTOR*>(nullptr)); library->Name != 0;
       ++library) {
    const auto* names = at(library->OriginalFirstThunk, static_cast<DWORD*>(nullptr));
    auto* addresses = at(library->FirstThunk, static_cast<void**>(nullptr));
    for (; *names != 0; ++names, ++addresses) {
      if ((*names & IMAGE_ORDINAL_FLAG32) != 0) continue;
      const auto* imported = at(*names, static_cast<IMAGE_IMPORT_BY_NAME*>(nullptr));
      if (std::strcmp(reinterpret_cast<const char*>(imported->Name), name) == 0) return addresses;
    }
  }
  throw std::runtime_error(std::string("no import ") + name);
}

/// Puts another function in the place of one that Nerio.dll imports, as long as this object lives.
template <typename Function>
class ReplacedImport {
 public:
  ReplacedImport(const char* name, Function replacement, Function& original)
      : place_(ImportOf(::GetModuleHandleW(L"Nerio.dll"), name)), original_(*place_) {
    original = reinterpret_cast<Function>(original_);
    Write(reinterpret_cast<void*>(replacement));
  }
  ~ReplacedImport() { Write(original_); }

 private:
  void Write(void* address) {
    DWORD protection = 0;
    ::VirtualProtect(place_, sizeof address, PAGE_READWRITE, &protection);
    *place_ = address;
    ::VirtualProtect(place_, sizeof address, protection, &protection);
  }

  void** place_;
  void* original_;
};

}  // namespace nerio::testing
