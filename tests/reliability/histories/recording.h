#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "tests/reliability/histories/history.h"

namespace nerio::reliability {

/// What a registry under test is made to do wrong, to see that the history shows it.
enum class Fault {
  kNone,
  kStaleRead,  // now and then a read answers what the same handle read before
  kLostWrite,  // now and then a write answers success and does nothing
};

struct Workload {
  std::filesystem::path folder;  // of the registry, empty
  std::uint32_t operations = 0;
  std::chrono::steady_clock::time_point end;  // no call begins later
  std::uint32_t seed = 0;
  Fault fault = Fault::kNone;
};

constexpr std::size_t kKeys = 100;

/// Lets 16 processes of 8 threads each, and the children that they fork meanwhile, work on the same keys, and returns what
/// each call was and answered, by key.
/// @throws std::runtime_error when a process ended by a signal or could not be made.
std::vector<std::vector<Operation>> Record(const Workload& workload);

}  // namespace nerio::reliability
