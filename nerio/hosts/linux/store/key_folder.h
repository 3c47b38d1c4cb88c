#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nerio/hosts/linux/store/file_stamp.h"
#include "nerio/hosts/linux/store/key_lock.h"
#include "nerio/hosts/linux/store/system_call.h"
#include "nerio/hosts/linux/store/values_format.h"
#include "nerio/platform/status.h"

namespace nerio::platform {

/// The folder that a key is kept in: its absolute path.
class KeyFolder {
 public:
  KeyFolder() = default;
  /// @param root folder of a root.
  explicit KeyFolder(std::string root) : path_(std::move(root)), rootLength_(path_.size()) {}

  const std::string& path() const { return path_; }
  /// Returns the path of a file in the folder.
  std::string File(const char* name) const { return path_ + '/' + name; }

  /// A root cannot be deleted and may have been made by hand: it needs neither an id nor files of its own yet.
  bool isRoot() const { return path_.size() == rootLength_; }

  /// Makes room for a path of this length, so that assigning and going down allocate nothing.
  void Reserve(std::size_t length) { path_.reserve(length); }

  /// Goes down to a subkey, by the name of its folder.
  void Enter(std::string_view folderName) { (path_ += '/') += folderName; }
  /// Returns the folder of the key above; not for a root.
  KeyFolder Parent() const;
  /// Returns the name of the folder itself.
  std::string Name() const { return path_.substr(path_.rfind('/') + 1); }

 private:
  std::string path_;
  std::size_t rootLength_ = 0;
};

/// Makes up an id that no other key has.
Status MakeKeyId(KeyId& id);

/// A key whose lock was granted while its folder was in its place.
struct LockedKey {
  Descriptor folder;
  KeyLock lock;
  /// Of the folder in its place, read under the lock.
  FileStamp stamp;
};

/// Waits for the lock of a key and opens its folder. A root that was made by hand gets its lock file, and so does a key
/// that lost it in a power cut.
/// @param folderFlags O_PATH, or O_RDONLY for what lists or syncs the folder.
/// @return 2 when the key is not there, or no more once the lock is granted; 1015 when it has no lock file; 170 when
/// it was not granted until the deadline; 19, whoever asks, on a disk that cannot be written to.
Status LockKey(const KeyFolder& key, int folderFlags, const Deadline& deadline, LockedKey& locked);

/// Tells whether an open folder is the one at a key's path now. @return 2 when there is none.
Status CheckInPlace(int folder, const KeyFolder& key, bool& inPlace);

/// Makes a key without values, complete before it can be seen and durable before this returns.
/// @param parent locked for writing, its folder open for reading; it has no such subkey.
/// @param folderName `FolderNameOfKey(spelling)`
/// @param mode permissions of the folder, regardless of the umask; its files get the read and write bits of it.
/// @param[out] id the new key's.
Status MakeSubkey(const LockedKey& parent, const std::string& folderName, std::string_view spelling, unsigned mode,
                  const Deadline& deadline, KeyId& id);

/// Makes sure that a key's entry in the folder above is durable: whoever made the key may still be about to sync it, or
/// have been killed before. The values file notes it (`Note::KeyNotSynced`); where that cannot be read, it is synced.
/// @param folder the key's, opened with O_PATH at least.
Status SettleKey(int folder);

/// Tells whether what looks like a subkey is one that was deleted where it lies: an overlay cannot move the folder of a
/// key from its lower layer, nor a full disk any. A killed process leaves it so. @param parent opened with O_PATH at least.
bool IsDeletedInPlace(int parent, const std::string& folderName);

/// Tells whether an open folder lies on an overlay.
bool IsOnOverlay(int folder);

/// Removes what is left of such a subkey. @param parent locked for writing.
void SweepDeletedInPlace(const LockedKey& parent, const std::string& folderName);

/// Removes a key that has no subkeys, durably.
/// @param parent,key locked for writing, `parent` first, its folder open for reading.
Status RemoveSubkey(const LockedKey& parent, const LockedKey& key, const std::string& folderName);

/// Removes what killed writers left in a key's folder; what does not belong to the owner of that folder is moved to a
/// name of its own instead. @param key locked for writing.
void RemoveLeftovers(const LockedKey& key);

/// One entry of a key's folder.
struct FolderEntry {
  std::string name;
  bool isFolder = false;
};

/// Lists a key's folder, in no order, with what is reserved for the key itself. @param folder open for reading.
Status ListFolder(int folder, std::vector<FolderEntry>& entries);

}  // namespace nerio::platform
