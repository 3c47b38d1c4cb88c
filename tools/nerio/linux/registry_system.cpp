#include "tools/nerio/registry_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "nerio/hosts/linux/store/registry_doctor.h"

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

}  // namespace

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

std::vector<RegistryFinding> CheckRegistry() {
  std::vector<RegistryFinding> findings;
  for (platform::RegistryFinding& each : platform::CheckRegistry()) {
    findings.push_back({KindOf(each.kind), std::move(each.place), each.offset, std::move(each.what)});
  }
  return findings;
}

}  // namespace nerio::tool
