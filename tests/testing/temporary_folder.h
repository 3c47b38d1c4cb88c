#pragma once

#include <filesystem>

namespace nerio::testing {

/// A new empty folder, deleted with all its content at the end.
class TemporaryFolder {
 public:
  /// @param parent where it is made; empty: in the system's folder for temporary files.
  /// @throws std::filesystem::filesystem_error when no folder can be made.
  explicit TemporaryFolder(std::filesystem::path parent = {});
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace nerio::testing
