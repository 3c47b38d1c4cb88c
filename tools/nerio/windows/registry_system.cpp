#include "tools/nerio/registry_system.h"

#include <windows.h>

#include "tools/nerio/output.h"

namespace nerio::tool {

const char* const kReadOnlyDiskAdvice = "take the write protection off the drive that Windows is on";
const char* const kBusyAdvice = "try again when that program is done";

const std::uint32_t kDeletionRightsAbove = 0;

// The system's own roots are always there.
platform::Status CheckRootCreation(platform::KeyHandle) { return platform::kSuccess; }

// Windows of 64 bits keeps what programs of 32 bits have below HKEY_LOCAL_MACHINE\Software apart.
RegistryView ViewOfRegistry() noexcept {
  BOOL on64Bits = FALSE;
  ::IsWow64Process(::GetCurrentProcess(), &on64Bits);
  return {32, on64Bits == FALSE};
}

std::vector<RegistryPlace> RegistryPlaces() {
  return {{platform::kHkeyClassesRoot, "HKEY_CLASSES_ROOT", true},
          {platform::kHkeyCurrentUser, "HKEY_CURRENT_USER", true},
          {platform::kHkeyLocalMachine, "HKEY_LOCAL_MACHINE", true},
          {platform::kHkeyUsers, "HKEY_USERS", true},
          {platform::kHkeyCurrentConfig, "HKEY_CURRENT_CONFIG", true}};
}

MachineRoots ChosenMachineRoots() { return {MachineRoots::Place::System, "the system keeps its registry itself", {}}; }

platform::Status CheckDisk(platform::KeyHandle) { return platform::kSuccess; }

platform::Status ShareRegistry(const std::string&, SharedRegistry&) {
  throw Failure(Exit::kRefused, "the system keeps its registry itself",
                "give the rights on HKEY_LOCAL_MACHINE\\Software\\Nerio to the group in regedit");
}

const char* const kNothingToRepair = "the system keeps its registry itself, there is nothing to repair";

platform::Status RepairKey(platform::KeyHandle, const AnsiText&, RepairedKey&) { return platform::kSuccess; }

std::vector<RegistryFinding> CheckRegistry(const std::function<void(double)>&) { return {}; }

}  // namespace nerio::tool
