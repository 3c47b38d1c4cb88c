#pragma once

#include "nerio/platform/guid_source.h"

namespace nerio::platform {

/// Makes GUIDs with CoCreateGuid. Needs no COM apartment.
class WindowsGuidSource final : public GuidSource {
 public:
  SystemStatus Create(GuidBytes& guid) override;
};

}  // namespace nerio::platform
