#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nerio/hosts/linux/store/file_stamp.h"
#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/hosts/linux/store/values_file.h"
#include "nerio/hosts/linux/store/values_format.h"

namespace nerio::platform {

/// A key's values as they were read from its values file.
struct CachedKey {
  CachedKey() = default;
  CachedKey(const CachedKey&) = delete;
  CachedKey& operator=(const CachedKey&) = delete;

  /// Finds the value called `name`, whatever its case, in a time that hardly grows with their number.
  /// @return false when there is none.
  bool Find(std::string_view name, ValueRecord& value) const;

  /// Returns a value by its place in the order of the folded names, less than `slots.size()`.
  ValueRecord At(std::size_t index) const;

  /// Tells whether the values are still those of the file, and the kernel lets this user read them, by one `lstat`.
  bool IsCurrent() const;

  /// Takes copies of values that are in the order of their folded names; only into one that has none.
  void TakeValues(const std::vector<ValueRecord>& values);

  /// Returns how much memory the key takes, all in all.
  std::size_t Memory() const;

  /// Of the values file. As long as it is unchanged, so are the values.
  FileStamp stamp;
  /// The path of the values file.
  std::string file;
  KeyId id{};
  /// Where a value's name begins in `content`; its data follow the name.
  struct Slot {
    std::uint32_t start;
    std::uint32_t dataLength;
    std::uint32_t type;
    std::uint16_t nameLength;
  };
  /// In the order of the folded names.
  std::vector<Slot> slots;
  std::string content;

 private:
  std::string_view NameOf(const Slot& slot) const {
    return std::string_view(content).substr(slot.start, slot.nameLength);
  }
};

/// How much is read at most to be kept: bytes of the file, and bytes of memory for the values.
struct ReadLimits {
  std::int64_t file = std::numeric_limits<std::int64_t>::max();
  std::size_t values = std::numeric_limits<std::size_t>::max();
};

/// Reads a key's values with the stamp that shows when they are no longer current. Null where no stamp would show every
/// later change, where opening the key has to sync, and where the values are not in order.
/// @param[out] isTooLarge set to true when there were more than `limits` allow.
std::shared_ptr<const CachedKey> ReadWithStamp(const KeyFolder& source, const ReadLimits& limits, bool& isTooLarge);

/// Caches the values of keys that are read again and again, so that the next read of one needs one `lstat` of its
/// values file instead of the content. It never changes an answer: a cached key counts only as long as the stamp of
/// its file shows that nothing was changed, neither by a writer nor by hand, and the kernel lets this user read it.
///
/// A key is cached only when it is whole, its file's last change is old enough for the next one to show
/// (`IsOldEnough`), and its file system's times are reliable. A writer at work does no harm: the byte that completes a
/// change is written after all others, so the time that it leaves is not the one of the bytes before. The cache takes
/// at most 4 MiB of memory, one key at most half of them; it holds no descriptor, and any thread may call it.
class KeyCache {
 public:
  /// What is known of the key whose values were changed last, so that the next change of the same key checks again only
  /// what is not the same any more.
  struct LastChange {
    ValuesFile values;
    /// Of the key's folder, when it was last found to hold nothing that a killed writer left. Only one that shows every
    /// later change.
    FileStamp swept;
  };
  /// Finds a cached key whose values file is unchanged and may be read by this process now; null for any other.
  std::shared_ptr<const CachedKey> Find(const KeyFolder& key);

  /// Records that a key had to be read from its file. The third time it is cached: reading one value, once, reads the
  /// file twice.
  void RecordRead(const KeyFolder& key) noexcept;

  /// Lends what is known of the last change; an empty one when there was none, or another thread has it. Never null.
  std::unique_ptr<LastChange> TakeLastChange();

  /// Gives it back. What takes too much memory is not kept.
  void KeepLastChange(std::unique_ptr<LastChange> change);

 private:
  struct Entry {
    std::string folder;
    /// Null until the key is cached.
    std::shared_ptr<const CachedKey> key;
    int reads = 0;
    /// When caching the key was last tried.
    FileStamp lastTried;
  };
  using Entries = std::list<Entry>;

  std::shared_ptr<const CachedKey> Lookup(const std::string& folder);
  bool ShouldStore(const std::string& folder);
  void Store(const std::string& folder, std::shared_ptr<const CachedKey> key, bool isTooLarge);
  // These are called with the mutex held.
  Entries::iterator Touch(const std::string& folder);
  static std::size_t Memory(const Entry& entry);
  void Shrink();

  /// The most recently used come first.
  Entries entries_;
  /// Views of the folders in `entries_`.
  std::unordered_map<std::string_view, Entries::iterator> byFolder_;
  /// The `Memory` of all entries.
  std::size_t bytes_ = 0;
  std::unique_ptr<LastChange> lastChange_;
};

}  // namespace nerio::platform
