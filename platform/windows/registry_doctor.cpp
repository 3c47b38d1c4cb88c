#include "platform/registry_doctor.h"

namespace nerio::platform {

std::vector<RegistryPlace> RegistryPlaces(const HostOptions&) {
  return {{kHkeyClassesRoot, "HKEY_CLASSES_ROOT", true},
          {kHkeyCurrentUser, "HKEY_CURRENT_USER", true},
          {kHkeyLocalMachine, "HKEY_LOCAL_MACHINE", true},
          {kHkeyUsers, "HKEY_USERS", true},
          {kHkeyCurrentConfig, "HKEY_CURRENT_CONFIG", true}};
}

std::vector<RegistryFinding> CheckRegistry(const HostOptions&) { return {}; }

}  // namespace nerio::platform
