#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nerio/hosts/linux/store/entry_look.h"
#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/hosts/linux/store/values_format.h"

namespace nerio::platform {

/// A key's values as they were read while its values file stood still.
struct KeptKey {
  KeptKey() = default;
  KeptKey(const KeptKey&) = delete;
  KeptKey& operator=(const KeptKey&) = delete;

  /// Finds the value called `name`, whatever its case. @return false when there is none.
  bool Find(std::string_view name, ValueRecord& value) const;

  /// Of the values file. As long as it looks the same, this is what is in it.
  EntryLook look;
  std::string file;
  KeyId id{};
  /// The values are views of `content`.
  std::vector<ValueRecord> values;
  std::string content;
};

/// Keeps the values of keys that are read again and again, so that the next read of one needs one look at its values
/// file instead of its content. It never changes an answer: what is kept counts only as long as the look shows that
/// nothing was changed, neither by a writer nor by hand, and the kernel lets this user at it.
///
/// Only what stood still is kept, read under the key's lock, on file systems whose times can be relied on. It is
/// bounded, holds no descriptor, and any thread may call it.
class KeyCache {
 public:
  /// Gives a key whose values file still is what was read, and may be read by this process now; nothing for any other.
  std::shared_ptr<const KeptKey> FindStanding(const KeyFolder& key);

  /// Learns that a key had to be read from its file. The third time it is kept: reading one value, once, reads the file
  /// twice.
  void Learn(const KeyFolder& key) noexcept;

 private:
  struct Place {
    std::string folder;
    std::shared_ptr<const KeptKey> key;
    int reads = 0;
    /// When it was tried to keep it the last time.
    EntryLook tried;
  };
  using Places = std::list<Place>;

  std::shared_ptr<const KeptKey> Find(const std::string& folder);
  bool IsWorthKeeping(const std::string& folder);
  void Keep(const std::string& folder, std::shared_ptr<const KeptKey> key);
  // These are called with the mutex held.
  Places::iterator Touch(const std::string& folder);
  void Shrink();

  std::mutex mutex_;
  /// The ones used last come first.
  Places places_;
  /// Views of the folders in `places_`.
  std::unordered_map<std::string_view, Places::iterator> byFolder_;
  std::size_t bytes_ = 0;
};

}  // namespace nerio::platform
