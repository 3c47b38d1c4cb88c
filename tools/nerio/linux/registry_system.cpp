#include "tools/nerio/registry_system.h"

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
      break;
  }
  return RegistryFinding::Kind::Leftover;
}

}  // namespace

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
