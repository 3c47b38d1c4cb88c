#include "nerio/hosts/linux/store/key_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "nerio/hosts/linux/store/file_stamp.h"
#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/values_file.h"

namespace nerio::platform {
namespace {

struct CloseStream {
  void operator()(DIR* stream) const { ::closedir(stream); }
};

// Removes the open folder of a new key that is not complete, or of a deleted one: there is nothing in it but the key's
// own files. The owner of the parent may have put another folder under its name: only an empty one goes by its name.
void RemoveKeyFolder(int parent, const char* name, int folder) {
  for (const char* file : {kNewValuesFileName, kValuesFileName, kLockFileName}) ::unlinkat(folder, file, 0);
  ::unlinkat(parent, name, AT_REMOVEDIR);
}

bool IsThere(int folder, const char* name) {
  struct stat entry {};
  return ::fstatat(folder, name, &entry, AT_SYMLINK_NOFOLLOW) == 0;
}

// Where there is no journal, a power cut may take a new key's lock file and leave the rest.
bool LacksLockOnly(int folder) { return !IsThere(folder, kLockFileName) && IsThere(folder, kValuesFileName); }

// Moves a folder that nobody but its owner can remove out of the way of the next one.
void MoveAside(int parent, const char* name) {
  KeyId number{};
  if (MakeKeyId(number) != kSuccess) return;
  constexpr char kDigits[] = "0123456789abcdef";
  std::string aside = kLeftoverPrefix;
  for (const std::uint8_t byte : number) aside += {kDigits[byte >> 4], kDigits[byte & 0xF]};
  ::renameat(parent, name, parent, aside.c_str());
}

bool HaveOneOwner(int folder, int inside) {
  FileStamp outer;
  FileStamp inner;
  return ReadStamp(folder, outer) && ReadStamp(inside, inner) && outer.owner == inner.owner;
}

// Removes what lies under a reserved name. It may be a key that the parent's owner renamed so, who has no right on what
// is in it: what is not that owner's is moved out of the way as it is.
void Sweep(int parent, const char* name) {
  if (!IsThere(parent, name)) return;
  Descriptor folder;
  if (OpenInside(parent, name, O_PATH | O_DIRECTORY, folder) != kSuccess) return;
  if (!HaveOneOwner(parent, folder.get())) return MoveAside(parent, name);
  RemoveKeyFolder(parent, name, folder.get());
}

// Frees a reserved name for a folder.
void FreeName(int parent, const char* name) {
  Sweep(parent, name);
  if (IsThere(parent, name)) MoveAside(parent, name);
}

// Returns the magic number of a file system, 0 for one that cannot be told.
unsigned long FileSystemOf(int folder) {
  struct statfs system {};
  return ::fstatfs(folder, &system) == 0 ? static_cast<unsigned long>(system.f_type) : 0;
}

// Tells whether syncing a new file makes its name durable as well. With ext4 that is so without a journal, too.
bool SyncsNamesOfNewFiles(int folder) {
  const unsigned long system = FileSystemOf(folder);
  return system == EXT4_SUPER_MAGIC || system == XFS_SUPER_MAGIC || system == BTRFS_SUPER_MAGIC;
}

Status MakeFiles(int folder, std::string_view spelling, unsigned mode, const Deadline& deadline, KeyId& id,
                 KeyLock& lock, Descriptor& values) {
  Status status = MakeKeyId(id);
  if (status == kSuccess) status = CreateValuesFile(folder, id, spelling, mode & 0666, values);
  if (status == kSuccess) status = StatusOf([&] { return ::fchmod(folder, mode); });
  if (status == kSuccess) status = lock.Take(folder, true, deadline);
  if (status == kSuccess) status = SyncFile(values.get());
  // The name of the lock file may be lost: the next writer makes it again.
  return status == kSuccess && !SyncsNamesOfNewFiles(folder) ? SyncFolder(folder) : status;
}

// The folder above may be one that this user can search, but not open. Then the whole file system is synced: this is
// only for what a killed process left undone.
Status SyncFolderAbove(int folder, int inside) {
  Descriptor above;
  const Status status = OpenInside(folder, "..", O_RDONLY | O_DIRECTORY, above);
  if (status == kSuccess) return SyncFolder(above.get());
  return status == kAccessDenied ? StatusOf([&] { return ::syncfs(inside); }) : status;
}

bool IsSameFile(const FileStamp& one, const FileStamp& other) {
  return one.device == other.device && one.inode == other.inode;
}

// Reads the stamp of what is at a key's path now. One `lstat` is enough; a path that is too long for it is walked.
Status StampInPlace(const KeyFolder& key, FileStamp& present) {
  if (ReadStamp(key.path(), present)) return kSuccess;
  Descriptor again;
  const Status status = OpenByPath(key.path(), O_PATH | O_DIRECTORY, again);
  if (status != kSuccess) return status;
  return ReadStamp(again.get(), present) ? kSuccess : RegistryStatus(errno);
}

// Tells whether a folder holds a lock file at most, and what is left to somebody to remove by hand.
bool HoldsNoKey(int folder) {
  std::vector<FolderEntry> entries;
  if (ListFolder(folder, entries) != kSuccess) return false;
  return std::all_of(entries.begin(), entries.end(), [](const FolderEntry& entry) {
    return entry.name == kLockFileName || entry.name.starts_with(kLeftoverPrefix);
  });
}

// The mark of a deleted key's folder, for when its files are gone already: the bit means nothing for a folder. Setting it
// takes no room on a full disk. Who does not own the folder cannot.
constexpr mode_t kDeletedMark = S_ISUID;

bool HasDeletedMark(int folder) {
  struct stat entry {};
  return ::fstat(folder, &entry) == 0 && (entry.st_mode & kDeletedMark) != 0;
}

void MarkDeleted(int folder) {
  struct stat entry {};
  if (::fstat(folder, &entry) == 0) ::fchmod(folder, (entry.st_mode & 07777) | kDeletedMark);
}

// Deletes a key whose folder cannot be moved: one byte in its values file does it, whatever becomes of the files.
Status RemoveInPlace(int parent, const char* name, int folder) {
  Descriptor file;
  Status status = OpenInside(folder, kValuesFileName, O_RDWR, file);
  if (status == kSuccess) status = NoteKeyDeleted(folder, file.get());
  if (status != kSuccess) return status;
  MarkDeleted(folder);
  // The mark is on the disk before the files are gone: Btrfs may keep their removal in a power cut and not the mark.
  status = SyncFolder(folder);
  if (status == kSuccess) RemoveKeyFolder(parent, name, folder);
  // With what a repair kept in it the folder stays.
  if (status == kSuccess && IsThere(parent, name)) status = SyncFolder(folder);
  return status == kSuccess ? SyncFolder(parent) : status;
}

// Nothing is replaced, not even an empty folder that somebody put there by hand.
Status RenameToFreeName(int folder, const char* from, const char* to) {
  const auto rename = [&] { return ::renameat2(folder, from, folder, to, RENAME_NOREPLACE); };
  if (Uninterrupted(rename) == 0) return kSuccess;
  if (errno != EINVAL && errno != ENOSYS) return RegistryStatus(errno);
  // The file system does not support that flag. Other writers of the registry are kept out by the lock.
  if (IsThere(folder, to)) return kRegistryIoFailed;
  return ::renameat(folder, from, folder, to) == 0 ? kSuccess : RegistryStatus(errno);
}

}  // namespace

Status MakeKeyId(KeyId& id) {
  // Up to 256 bytes come whole or not at all.
  return StatusOf([&] { return ::getrandom(id.data(), id.size(), 0); });
}

KeyFolder KeyFolder::Parent() const {
  KeyFolder parent = *this;
  parent.path_.resize(path_.rfind('/'));
  return parent;
}

Status CheckInPlace(int folder, const KeyFolder& key, bool& inPlace) {
  FileStamp opened;
  FileStamp present;
  if (!ReadStamp(folder, opened)) return RegistryStatus(errno);
  const Status status = StampInPlace(key, present);
  inPlace = status == kSuccess && IsSameFile(opened, present);
  return status;
}

Status LockKey(const KeyFolder& key, int folderFlags, const Deadline& deadline, LockedKey& locked) {
  for (;;) {
    Descriptor folder;
    Status status = OpenByPath(key.path(), folderFlags | O_DIRECTORY, folder);
    if (status != kSuccess) return status;
    FileStamp opened;
    if (!ReadStamp(folder.get(), opened)) return RegistryStatus(errno);
    KeyLock lock;
    Status granted = lock.Take(folder.get(), opened, key.isRoot(), deadline);
    if (granted == kRegistryCorrupt && LacksLockOnly(folder.get())) {
      granted = lock.Take(folder.get(), opened, true, deadline);
    }
    // The key may have been deleted, and even created again, while this waited: then the lock is a deleted key's.
    // Each further round means that another writer got something done.
    status = StampInPlace(key, locked.stamp);
    if (status != kSuccess) return status;
    const bool inPlace = IsSameFile(opened, locked.stamp);
    if (!inPlace && !deadline.HasPassed()) continue;
    if (!inPlace) return kBusy;
    if (granted != kSuccess && IsDeletedInPlace(folder.get(), ".")) return kFileNotFound;
    // The kernel may look at the lock file's permissions first.
    if (granted == kAccessDenied && IsReadOnly(folder.get())) return kWriteProtect;
    if (granted != kSuccess) return granted;
    locked.folder = std::move(folder);
    locked.lock = std::move(lock);
    return kSuccess;
  }
}

Status MakeSubkey(const LockedKey& parent, const std::string& folderName, std::string_view spelling, unsigned mode,
                  const Deadline& deadline, KeyId& id) {
  const int where = parent.folder.get();
  FreeName(where, kNewKeyName);
  Status status = StatusOf([&] { return ::mkdirat(where, kNewKeyName, 0700); });
  if (status != kSuccess) return status;
  Descriptor folder;
  status = OpenInside(where, kNewKeyName, O_RDONLY | O_DIRECTORY, folder);
  // The umask may take away what the owner needs.
  if (status == kAccessDenied && ::fchmodat(where, kNewKeyName, 0700, AT_SYMLINK_NOFOLLOW) == 0) {
    status = OpenInside(where, kNewKeyName, O_RDONLY | O_DIRECTORY, folder);
  }
  // Whoever finds the new key cannot write to it until the key itself is durable.
  KeyLock lock;
  Descriptor values;
  if (status == kSuccess) status = MakeFiles(folder.get(), spelling, mode, deadline, id, lock, values);
  if (status == kSuccess) status = RenameToFreeName(where, kNewKeyName, folderName.c_str());
  if (status != kSuccess) {
    // Without a values file of its own it may not be the folder that was made.
    if (values) RemoveKeyFolder(where, kNewKeyName, folder.get());
    ::unlinkat(where, kNewKeyName, AT_REMOVEDIR);
    return status;
  }
  // Until it is synced, the key notes that it is not: another process may already find it and build on it.
  status = SyncFolder(where);
  if (status == kSuccess) SetNote(values.get(), Note::KeyNotSynced, false);
  return status;
}

Status SettleKey(int folder) {
  Descriptor file;
  Status status = OpenInside(folder, kValuesFileName, O_RDWR, file);
  if (status == kAccessDenied || status == kWriteProtect) {
    status = OpenInside(folder, kValuesFileName, O_RDONLY, file);
  }
  // A root that was made by hand has none yet.
  if (status == kFileNotFound) return kSuccess;
  ValuesFile values;
  const bool isRead = file && values.ReadHeader(file.get()) == kSuccess && values.state() == RecordCursor::End::Whole;
  if (isRead && !values.header().keyNotSynced) return kSuccess;
  status = SyncFolderAbove(folder, file ? file.get() : folder);
  if (status == kSuccess && isRead) ClearKeyNotSynced(file.get());
  return status;
}

bool IsOnOverlay(int folder) { return FileSystemOf(folder) == OVERLAYFS_SUPER_MAGIC; }

bool IsDeletedInPlace(int parent, const std::string& folderName) {
  Descriptor folder;
  if (OpenInside(parent, folderName.c_str(), O_RDONLY | O_DIRECTORY, folder) != kSuccess) return false;
  Descriptor file;
  const Status status = OpenInside(folder.get(), kValuesFileName, O_RDONLY, file);
  if (status == kFileNotFound) {
    return (IsOnOverlay(folder.get()) || HasDeletedMark(folder.get())) && HoldsNoKey(folder.get());
  }
  ValuesFile values;
  return status == kSuccess && values.ReadHeader(file.get()) == kSuccess &&
         values.state() == RecordCursor::End::Whole && values.header().keyDeleted;
}

void SweepDeletedInPlace(const LockedKey& parent, const std::string& folderName) {
  const int where = parent.folder.get();
  Descriptor folder;
  if (!IsDeletedInPlace(where, folderName)) return;
  if (OpenInside(where, folderName.c_str(), O_RDONLY | O_DIRECTORY, folder) != kSuccess) return;
  RemoveKeyFolder(where, folderName.c_str(), folder.get());
  if (IsThere(where, folderName.c_str())) MoveAside(where, folderName.c_str());
}

Status RemoveSubkey(const LockedKey& parent, const LockedKey& key, const std::string& folderName) {
  const int where = parent.folder.get();
  RemoveLeftovers(key);
  FreeName(where, kDeletedKeyName);
  Status status = RenameToFreeName(where, folderName.c_str(), kDeletedKeyName);
  if (status != kSuccess && (errno == EXDEV || status == kDiskFull)) {
    return RemoveInPlace(where, folderName.c_str(), key.folder.get());
  }
  if (status == kSuccess) status = SyncFolder(where);
  if (status == kSuccess) RemoveKeyFolder(where, kDeletedKeyName, key.folder.get());
  return status;
}

void RemoveLeftovers(const LockedKey& key) {
  const int folder = key.folder.get();
  ::unlinkat(folder, kNewValuesFileName, 0);
  for (const char* name : {kNewKeyName, kDeletedKeyName}) Sweep(folder, name);
}

Status ListFolder(int folder, std::vector<FolderEntry>& entries) {
  // A descriptor of its own, whose place in the folder is at its start and which the stream takes over.
  Descriptor own;
  Status status = OpenInside(folder, ".", O_RDONLY | O_DIRECTORY, own);
  if (status != kSuccess) return status;
  const std::unique_ptr<DIR, CloseStream> stream(::fdopendir(own.get()));
  if (!stream) return RegistryStatus(errno);
  own.release();
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) return errno == 0 ? kSuccess : RegistryStatus(errno);
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    bool isFolder = entry->d_type == DT_DIR;
    if (entry->d_type == DT_UNKNOWN) {
      struct stat found {};
      isFolder = ::fstatat(folder, entry->d_name, &found, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(found.st_mode);
    }
    entries.push_back({std::string(name), isFolder});
  }
}

}  // namespace nerio::platform
