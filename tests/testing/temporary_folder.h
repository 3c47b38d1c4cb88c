#pragma once

#include <filesystem>

namespace nerio::testing {

/// A new empty folder below the system's folder for temporary files, deleted with all its content at the end.
class TemporaryFolder {
 public:
  /// @throws std::filesystem::filesystem_error when no folder can be made.
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace nerio::testing
