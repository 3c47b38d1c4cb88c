#pragma once

#include "nerio/platform/status.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// Tells where the component's own library file lies: not the host process's folder and not the current folder.
class NERIO_PUBLIC ModuleLocation {
 public:
  virtual ~ModuleLocation() = default;

  /// Gives the absolute folder of the library file that holds this code, with "\" as separator and none at its end
  /// (save for the root folder itself). Code that is linked into a program lies where the program's file lies.
  /// @param[out] folder the folder; untouched on failure.
  /// @return 0, or the system's own error number.
  virtual SystemStatus Folder(Text& folder) = 0;
};

}  // namespace nerio::platform
