#pragma once

#include <array>
#include <cstdint>

#include "nerio/platform/status.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// The platform's 16-byte GUID structure as it lies in memory on a little-endian machine: Data1 in bytes 0-3 and Data2
/// and Data3 in bytes 4-5 and 6-7, each least significant byte first, then Data4 in bytes 8-15.
using GuidBytes = std::array<std::uint8_t, 16>;

/// Makes GUIDs (CoCreateGuid).
class NERIO_PUBLIC GuidSource {
 public:
  virtual ~GuidSource() = default;

  /// Fills `guid` with a new random GUID of version 4.
  /// @return success, or why not; `guid` is then worth nothing.
  virtual SystemStatus Create(GuidBytes& guid) = 0;
};

}  // namespace nerio::platform
