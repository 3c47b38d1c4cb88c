#pragma once

#include <windows.h>

#include <string>

#include "nerio/types/text.h"

namespace nerio::testing {

/// Another process that keeps a file open as long as this object lives.
class FileHolder {
 public:
  /// Returns when the other process has opened the file.
  /// @param share what others may do meanwhile: FILE_SHARE_READ and its like, 0 for nothing.
  /// @throws std::runtime_error when the process cannot be started or cannot open the file.
  FileHolder(const Text& path, DWORD share);
  FileHolder(const FileHolder&) = delete;
  FileHolder& operator=(const FileHolder&) = delete;
  ~FileHolder();

 private:
  HANDLE held_;
  HANDLE done_;
  HANDLE process_ = nullptr;
};

}  // namespace nerio::testing
