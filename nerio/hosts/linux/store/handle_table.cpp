#include "nerio/hosts/linux/store/handle_table.h"

#include <utility>

#include "nerio/hosts/linux/store/fork_safety.h"
#include "nerio/hosts/linux/store/key_cache.h"
#include "nerio/hosts/linux/store/key_tree.h"

namespace nerio::platform {
namespace {

// Multiples of four, as the platform's handles are: an invented small number is then rarely one.
constexpr KeyHandle kStep = 4;
constexpr KeyHandle kLargest = 0x7FFFFFFC;

}  // namespace

KeyHandle HandleTable::Add(HandleTarget key) {
  auto target = std::make_shared<const HandleTarget>(std::move(key));
  const std::scoped_lock hold(MemoryMutex());
  do {
    last_ = last_ >= kLargest ? kStep : last_ + kStep;
  } while (keys_.contains(last_));
  keys_.emplace(last_, std::move(target));
  return last_;
}

std::shared_ptr<const HandleTarget> HandleTable::Find(KeyHandle handle) const {
  const std::scoped_lock hold(MemoryMutex());
  const auto found = keys_.find(handle);
  return found == keys_.end() ? nullptr : found->second;
}

bool HandleTable::Remove(KeyHandle handle) {
  // What was remembered is freed once the mutex is free: it may be much.
  std::unordered_map<KeyHandle, Listings>::node_type freed;
  const std::scoped_lock hold(MemoryMutex());
  if (!listings_.empty()) freed = listings_.extract(handle);
  return keys_.erase(handle) != 0;
}

std::shared_ptr<const CachedKey> HandleTable::Values(KeyHandle handle) const {
  const std::scoped_lock hold(MemoryMutex());
  const auto found = listings_.find(handle);
  return found == listings_.end() ? nullptr : found->second.values;
}

std::shared_ptr<SubkeyList> HandleTable::Subkeys(KeyHandle handle) const {
  const std::scoped_lock hold(MemoryMutex());
  const auto found = listings_.find(handle);
  return found == listings_.end() ? nullptr : found->second.subkeys;
}

void HandleTable::RememberValues(KeyHandle handle, std::shared_ptr<const CachedKey> values) {
  const std::scoped_lock hold(MemoryMutex());
  // What was there is freed with the argument, once the mutex is free.
  if (Listings* const listings = ListingsOf(handle, values != nullptr)) listings->values.swap(values);
}

void HandleTable::RememberSubkeys(KeyHandle handle, std::shared_ptr<SubkeyList> subkeys) {
  const std::scoped_lock hold(MemoryMutex());
  if (Listings* const listings = ListingsOf(handle, subkeys != nullptr)) listings->subkeys.swap(subkeys);
}

// Called with the mutex held. @return null when there are none and none are to be made, or the handle is closed.
HandleTable::Listings* HandleTable::ListingsOf(KeyHandle handle, bool make) {
  const auto found = listings_.find(handle);
  if (found != listings_.end()) return &found->second;
  const bool isOpen = handle >= kHkeyClassesRoot || keys_.contains(handle);
  return make && isOpen ? &listings_[handle] : nullptr;
}

}  // namespace nerio::platform
