#pragma once

#include "nerio/platform/file_system.h"

namespace nerio::platform {

/// Serves files through Win32. Numbers are those of GetLastError. Other programs may read and write a file while it is
/// open here.
class WindowsFileSystem final : public FileSystem {
 public:
  /// A directory search for exactly this path: wildcards match nothing, and neither does a name that the system would
  /// find after cutting blanks or dots off its end.
  SystemStatus FindOrdinaryFile(const Text& path, bool& found) override;
  SystemStatus OpenForAppend(const Text& path, FileHandle& opened) override;
  SystemStatus Append(FileHandle file, std::span<const char> bytes) override;
  SystemStatus Close(FileHandle file) override;
  Text Describe(SystemStatus status) override;
};

}  // namespace nerio::platform
