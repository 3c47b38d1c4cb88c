#include "tests/testing/temporary_folder.h"

#include <random>
#include <string>
#include <system_error>

namespace nerio::testing {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(fs::path parent) {
  if (parent.empty()) parent = fs::temp_directory_path();
  std::random_device random;
  // False: a folder of that name is there already, somebody else's.
  do {
    path_ = fs::canonical(parent) / ("nerio-" + std::to_string(random()));
  } while (!fs::create_directory(path_));
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace nerio::testing
