#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/platform/registry_api.h"

namespace nerio::platform {

struct CachedKey;
struct SubkeyList;

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

/// Keeps the open handles of one registry, and what each, or a predefined root, remembers of what it listed last, so that
/// the next index costs no reading. That takes as much memory as the values, or as the names of the subkeys, do. Any
/// thread may call it.
class HandleTable {
 public:
  /// Returns a new handle. Its number is below the predefined roots', never 0, and not used again before all others
  /// were.
  KeyHandle Add(HandleTarget key);

  /// Returns what a handle stands for, which outlasts its closing for whoever holds it; null when there is no such handle.
  std::shared_ptr<const HandleTarget> Find(KeyHandle handle) const;

  /// Frees what the handle remembers, too; of a predefined root that is all. @return false when there is no such handle.
  bool Remove(KeyHandle handle);

  /// Returns what was remembered last; null for nothing. Whether it is still current is not known here.
  std::shared_ptr<const CachedKey> Values(KeyHandle handle) const;
  std::shared_ptr<SubkeyList> Subkeys(KeyHandle handle) const;

  /// Remembers a listing in place of the one before; null forgets that. Nothing for a handle that was closed meanwhile.
  void RememberValues(KeyHandle handle, std::shared_ptr<const CachedKey> values);
  void RememberSubkeys(KeyHandle handle, std::shared_ptr<SubkeyList> subkeys);

 private:
  struct Listings {
    std::shared_ptr<const CachedKey> values;
    std::shared_ptr<SubkeyList> subkeys;
  };
  Listings* ListingsOf(KeyHandle handle, bool make);

  std::unordered_map<KeyHandle, std::shared_ptr<const HandleTarget>> keys_;
  std::unordered_map<KeyHandle, Listings> listings_;
  KeyHandle last_ = 0;
};

}  // namespace nerio::platform
