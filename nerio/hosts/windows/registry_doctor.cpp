#include "nerio/platform/registry_doctor.h"

#include <windows.h>

namespace nerio::platform {

// Windows of 64 bits keeps what programs of 32 bits have below HKEY_LOCAL_MACHINE\Software apart.
RegistryView ViewOfRegistry() noexcept {
  BOOL on64Bits = FALSE;
  ::IsWow64Process(::GetCurrentProcess(), &on64Bits);
  return {32, on64Bits == FALSE};
}

std::vector<RegistryPlace> RegistryPlaces(const HostOptions&) {
  return {{kHkeyClassesRoot, "HKEY_CLASSES_ROOT", true},
          {kHkeyCurrentUser, "HKEY_CURRENT_USER", true},
          {kHkeyLocalMachine, "HKEY_LOCAL_MACHINE", true},
          {kHkeyUsers, "HKEY_USERS", true},
          {kHkeyCurrentConfig, "HKEY_CURRENT_CONFIG", true}};
}

std::vector<RegistryFinding> CheckRegistry(const HostOptions&) { return {}; }

}  // namespace nerio::platform
