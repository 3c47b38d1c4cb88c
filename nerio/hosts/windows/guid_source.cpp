#include "nerio/hosts/windows/guid_source.h"

#include <windows.h>
// The order matters: the COM headers need the types above.
#include <objbase.h>

#include <bit>

namespace nerio::platform {

static_assert(sizeof(GUID) == sizeof(GuidBytes));

SystemStatus WindowsGuidSource::Create(GuidBytes& guid) {
  GUID made{};
  const HRESULT result = ::CoCreateGuid(&made);
  guid = std::bit_cast<GuidBytes>(made);
  return SystemStatus{result};
}

}  // namespace nerio::platform
