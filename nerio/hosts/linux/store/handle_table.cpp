#include "nerio/hosts/linux/store/handle_table.h"

#include <utility>

#include "nerio/hosts/linux/store/fork_safety.h"
namespace nerio::platform {
namespace {

// Multiples of four, as the platform's handles are: an invented small number is then rarely one.
constexpr KeyHandle kStep = 4;
constexpr KeyHandle kLargest = 0x7FFFFFFC;

}  // namespace

KeyHandle HandleTable::Add(HandleTarget key) {
  const std::scoped_lock hold(MemoryMutex());
  do {
    last_ = last_ >= kLargest ? kStep : last_ + kStep;
  } while (keys_.contains(last_));
  keys_.emplace(last_, std::move(key));
  return last_;
}

bool HandleTable::Find(KeyHandle handle, HandleTarget& key) const {
  const std::scoped_lock hold(MemoryMutex());
  const auto found = keys_.find(handle);
  if (found == keys_.end()) return false;
  key = found->second;
  return true;
}

bool HandleTable::Remove(KeyHandle handle) {
  const std::scoped_lock hold(MemoryMutex());
  return keys_.erase(handle) != 0;
}

}  // namespace nerio::platform
