#pragma once

#include <unistd.h>

#include <filesystem>

namespace nerio::testing {

/// Returns the parent for folders of tests that write much and lose nothing with the power: in memory where the system
/// has a place for that, else empty, which stands for the usual one.
inline std::filesystem::path MemoryFolder() {
  constexpr char kSharedMemory[] = "/dev/shm";
  return ::access(kSharedMemory, W_OK | X_OK) == 0 ? kSharedMemory : std::filesystem::path();
}

}  // namespace nerio::testing
