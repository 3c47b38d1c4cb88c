#pragma once

#include "nerio/platform/guid_source.h"

namespace nerio::platform {

/// Makes GUIDs of version 4 from the kernel's random source.
class LinuxGuidSource final : public GuidSource {
 public:
  SystemStatus Create(GuidBytes& guid) override;
};

}  // namespace nerio::platform
