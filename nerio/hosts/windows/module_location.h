#pragma once

#include "nerio/platform/module_location.h"

namespace nerio::platform {

/// Finds the DLL or program that this code is linked into, by an address inside it.
class WindowsModuleLocation final : public ModuleLocation {
 public:
  SystemStatus Folder(Text& folder) override;
};

/// Gives the absolute path of the file that holds this code.
/// @param[out] path untouched on failure.
/// @return 0, or the number of GetLastError.
SystemStatus ModulePath(Text& path) noexcept;

}  // namespace nerio::platform
