#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "nerio/platform/file_system.h"

namespace nerio::testing {

/// One implementation of `FileSystem` with an empty folder to try it in. The suite arranges and inspects files through
/// this, never through the implementation itself. Names are those of entries in the folder.
class FileSystemUnderTest {
 public:
  virtual ~FileSystemUnderTest() = default;
  virtual platform::FileSystem& Files() = 0;
  /// Returns the path of an entry in the form that `FileSystem` takes.
  virtual Text Path(TextView name) = 0;
  virtual void MakeFile(TextView name, const std::string& content) = 0;
  virtual void MakeReadOnlyFile(TextView name) = 0;
  virtual void MakeFolder(TextView name) = 0;
  virtual bool Exists(TextView name) = 0;
  virtual std::string Content(TextView name) = 0;
};

/// Wraps an implementation whose files are the system's own: a temporary folder, arranged by the standard library.
std::unique_ptr<FileSystemUnderTest> FilesOnDisk(std::unique_ptr<platform::FileSystem> files);

using FileSystemFactory = std::unique_ptr<FileSystemUnderTest> (*)();

/// What every implementation of `FileSystem` must do. Instantiate it with a factory for each one.
class FileSystemConformance : public ::testing::TestWithParam<FileSystemFactory> {
 protected:
  platform::FileHandle Open(TextView name);
  bool Find(TextView name);

  std::unique_ptr<FileSystemUnderTest> subject_ = GetParam()();
  platform::FileSystem& files_ = subject_->Files();
};

}  // namespace nerio::testing
