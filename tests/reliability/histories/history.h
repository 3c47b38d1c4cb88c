#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "nerio/platform/status.h"

namespace nerio::reliability {

/// How many names of values are used in each key.
constexpr std::size_t kNames = 3;

enum class Kind : std::uint8_t {
  kCreate,  // opens or makes the key; gives a handle
  kOpen,    // gives a handle
  kDelete,  // by path
  kSet,     // these by handle
  kGet,
  kDeleteValue,
  kReadValues,   // all of them at once
  kCreateChild,  // the one subkey that a key may have
  kDeleteChild,
  kListChildren,
};

/// One call, from before it was made until after it was answered. The key is the one object that it works on.
struct Operation {
  std::uint32_t id = 0;  // counts from 1; what a kSet writes, and the handle that a kCreate or kOpen gives
  std::uint16_t key = 0;
  Kind kind = Kind::kOpen;
  std::uint8_t name = 0;
  std::uint32_t handle = 0;  // the operation that gave it
  std::int32_t status = 0;
  std::int64_t called = 0;  // nanoseconds of one clock that all processes have
  std::int64_t answered = 0;
  /// What was read, 0 for no value; a kGet has only the first. kDamaged is no number that was ever written.
  std::array<std::uint32_t, kNames> values{};
  bool isNew = false;     // what a kCreate or kCreateChild said
  bool hasChild = false;  // what a kListChildren said

  static constexpr std::uint32_t kDamaged = 0xFFFFFFFF;
};

/// Returns the first operation whose answer no order of the calls explains (an order in which each call stands between
/// its beginning and its end), or null when there is such an order.
/// @param operations all calls on one key.
/// @param[out] configurations the most states that had to be kept at once.
const Operation* FindUnexplained(std::vector<Operation>& operations, std::size_t& configurations);

}  // namespace nerio::reliability
