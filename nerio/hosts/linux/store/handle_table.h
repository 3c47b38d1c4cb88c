#pragma once

#include <cstdint>
#include <unordered_map>

#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// What an open handle stands for. There is no descriptor in it: a handle that is never closed costs this entry only.
struct HandleTarget {
  KeyFolder folder;
  /// The key that was opened. Another id in its place means that it was deleted; a root has none.
  KeyId id{};
  /// The rights that were granted.
  std::uint32_t access = 0;
  /// The predefined root that this is; 0 for every other key. Where it is kept is looked up with each call.
  KeyHandle root = 0;
};

/// Keeps the open handles of one registry. Any thread may call it.
class HandleTable {
 public:
  /// Returns a new handle. Its number is below the predefined roots', never 0, and not used again before all others
  /// were.
  KeyHandle Add(HandleTarget key);

  /// @return false when there is no such handle.
  bool Find(KeyHandle handle, HandleTarget& key) const;

  /// @return false when there is no such handle.
  bool Remove(KeyHandle handle);

 private:
  std::unordered_map<KeyHandle, HandleTarget> keys_;
  KeyHandle last_ = 0;
};

}  // namespace nerio::platform
