#pragma once

#include <cstdint>
#include <span>

#include "nerio/platform/status.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// Names an open file: a descriptor on Linux, a handle's value on 32-bit Windows.
using FileHandle = std::intptr_t;

/// Gives the file services that a line of the trace log needs, one native call each. Paths use "\" as separator on
/// every host. Nothing raises; a failure is the system's own error number (errno on Linux, GetLastError on Windows).
class NERIO_PUBLIC FileSystem {
 public:
  virtual ~FileSystem() = default;

  /// Searches for exactly this path among ordinary files: a folder, a device, a hidden or a system file does not count;
  /// a read-only or archived one does. A path of which nothing exists is no failure.
  /// @param[out] found whether there is such a file; false on failure.
  virtual SystemStatus FindOrdinaryFile(const Text& path, bool& found) = 0;

  /// Opens an existing file so that each write lands at its end. Never creates and never truncates.
  /// @param[out] opened the file's handle, to be closed by the caller; untouched on failure.
  virtual SystemStatus OpenForAppend(const Text& path, FileHandle& opened) = 0;

  /// Writes all bytes at the end of the file as one operation.
  virtual SystemStatus Append(FileHandle file, std::span<const char> bytes) = 0;

  /// Closes the file. The handle is gone afterwards, whatever the answer.
  virtual SystemStatus Close(FileHandle file) = 0;

  /// Returns the system's own text for one of its error numbers, without a line end.
  virtual Text Describe(SystemStatus status) = 0;
};

}  // namespace nerio::platform
