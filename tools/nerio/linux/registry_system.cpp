#include "tools/nerio/registry_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/registry_doctor.h"
#include "nerio/hosts/linux/store/registry_roots.h"
#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

RegistryFinding::Kind KindOf(platform::RegistryFinding::Kind kind) {
  switch (kind) {
    case platform::RegistryFinding::Kind::Damage:
      return RegistryFinding::Kind::Damage;
    case platform::RegistryFinding::Kind::Refused:
      return RegistryFinding::Kind::Refused;
    case platform::RegistryFinding::Kind::Leftover:
      return RegistryFinding::Kind::Leftover;
    case platform::RegistryFinding::Kind::Exposed:
      break;
  }
  return RegistryFinding::Kind::Exposed;
}

// Tells whether a path is there, or whoever may make it: the first folder above it that is there decides.
bool IsThereOrMayBeMade(std::filesystem::path path) {
  struct stat entry {};
  if (::stat(path.c_str(), &entry) == 0) return true;
  while (errno == ENOENT && path.has_relative_path()) {
    path = path.parent_path();
    if (::stat(path.c_str(), &entry) == 0) return ::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
  }
  return false;
}

bool IsFolder(const std::string& path) {
  struct stat entry {};
  return ::stat(path.c_str(), &entry) == 0 && S_ISDIR(entry.st_mode);
}

// Says why the machine's roots are where they are. @param folder that of HKEY_LOCAL_MACHINE in the machine's place.
std::string Why(platform::PlaceReason reason, const std::string& folder) {
  switch (reason) {
    case platform::PlaceReason::Named:
      return "NERIO_REGISTRY names the folder of all roots";
    case platform::PlaceReason::Superuser:
      return "you are root";
    case platform::PlaceReason::HasRights:
      return "you have the rights on " + folder;
    case platform::PlaceReason::MayMake:
      return folder + " is not there and you may make it";
    case platform::PlaceReason::LacksRights:
      return "you may not read, write and search " + folder;
    case platform::PlaceReason::MayNotMake:
      break;
  }
  return folder + " is not there and you may not make it";
}

}  // namespace

MachineRoots ChosenMachineRoots() {
  platform::RegistryRoots roots({});
  platform::PlaceReason reason{};
  std::string place;
  const bool isKnown = roots.Place(platform::kHkeyLocalMachine, place) == platform::kSuccess;
  if (roots.Reason(reason) != platform::kSuccess) return {MachineRoots::Place::None, "the current folder is gone", {}};
  const bool isMachines = platform::IsMachinesPlace(reason);
  MachineRoots chosen;
  chosen.place = reason == platform::PlaceReason::Named ? MachineRoots::Place::Named
                 : isMachines                           ? MachineRoots::Place::Machine
                 : isKnown                              ? MachineRoots::Place::User
                                                        : MachineRoots::Place::None;
  chosen.why = Why(reason, isMachines ? place : roots.UnusedPlace(platform::kHkeyLocalMachine));
  if (chosen.place == MachineRoots::Place::None)
    chosen.why += "; neither XDG_DATA_HOME nor HOME names a place of yours";
  for (const platform::KeyHandle root : platform::kRoots) {
    const std::string folder = roots.UnusedPlace(root);
    if (!folder.empty() && IsFolder(folder)) chosen.unused.push_back({root, ToUtf8(FromUtf8(folder)), true});
  }
  return chosen;
}

platform::Status CheckDisk(platform::KeyHandle root) {
  platform::RegistryRoots roots({});
  platform::KeyFolder folder;
  platform::Descriptor opened;
  if (roots.Find(root, folder) != platform::kSuccess) return platform::kSuccess;
  if (platform::OpenByPath(folder.path(), O_PATH | O_DIRECTORY, opened) != platform::kSuccess)
    return platform::kSuccess;
  return platform::IsReadOnly(opened.get()) ? platform::kWriteProtect : platform::kSuccess;
}

const char* const kReadOnlyDiskAdvice = "it is mounted read-only, or has been since an error; findmnt shows it";
const char* const kBusyAdvice = "try again; if that program hangs, lslocks shows which one holds the key's %lock";

// A key is a folder, and a folder is removed from the one above.
const std::uint32_t kDeletionRightsAbove = platform::kKeyCreateSubKey;

platform::Status CheckRootCreation(platform::KeyHandle root) {
  for (const RegistryPlace& place : RegistryPlaces()) {
    if (place.root == root) return IsThereOrMayBeMade(place.place) ? platform::kSuccess : platform::kAccessDenied;
  }
  return platform::kAccessDenied;
}

RegistryView ViewOfRegistry() noexcept { return {}; }

std::vector<RegistryPlace> RegistryPlaces() {
  std::vector<RegistryPlace> places;
  for (platform::RegistryPlace& each : platform::RegistryPlaces()) {
    places.push_back({each.root, std::move(each.place), each.present});
  }
  return places;
}

std::vector<RegistryFinding> CheckRegistry(const std::function<void(double)>& reached) {
  std::vector<RegistryFinding> findings;
  for (platform::RegistryFinding& each : platform::CheckRegistry({}, reached)) {
    findings.push_back({KindOf(each.kind), std::move(each.place), each.offset, std::move(each.what)});
  }
  return findings;
}

}  // namespace nerio::tool
