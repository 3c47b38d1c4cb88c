#pragma once

#include "nerio/platform/module_location.h"

namespace nerio::platform {

/// Answers the folder of the shared library, or of the program, that this code was linked into. It is found out once,
/// when that file is loaded, so a later change of the current folder does not matter. Links are followed: the folder is
/// the one in which the file itself lies, not that of a link it was loaded by.
///
/// The folder takes the form of `nerio/hosts/linux/native_path.h`; any name of the file system is possible. Where the
/// system did not tell the file's path, every call answers the `errno` of that failure.
class LinuxModuleLocation final : public ModuleLocation {
 public:
  SystemStatus Folder(Text& folder) override;
};

}  // namespace nerio::platform
