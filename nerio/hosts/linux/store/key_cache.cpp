#include "nerio/hosts/linux/store/key_cache.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/values_file.h"
#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

// What one registry of a process caches at most: this many keys, and this many bytes of values.
constexpr std::size_t kMaxKeys = 2048;
constexpr std::size_t kMaxBytes = std::size_t{4} << 20;
constexpr int kReadsBeforeStoring = 3;
constexpr std::size_t kMaxBytesOfKey = std::size_t{64} << 10;
// A larger file is not even read to find out how much of it is values.
constexpr std::int64_t kMaxBytesOfFile = std::int64_t{1} << 20;

// On a network file system each machine sees such times late.
bool HasReliableTimes(int file) {
  constexpr std::array<unsigned long, 4> kLocal = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, TMPFS_MAGIC};
  struct statfs system {};
  return ::fstatfs(file, &system) == 0 &&
         std::find(kLocal.begin(), kLocal.end(), static_cast<unsigned long>(system.f_type)) != kLocal.end();
}

void CopyValues(const ValuesFile& from, CachedKey& to) {
  const std::vector<ValueRecord> values = from.Values();
  std::size_t size = 0;
  for (const ValueRecord& value : values) size += value.name.size() + value.data.size();
  to.content.reserve(size);
  const auto append = [&](std::string_view bytes) {
    const std::size_t start = to.content.size();
    to.content += bytes;
    return std::string_view(to.content).substr(start);
  };
  for (ValueRecord value : values) {
    value.name = append(value.name);
    value.data = append(value.data);
    to.values.push_back(value);
  }
}

// Reads a key; nothing where its file's stamp would not show every later change, or where opening the key has to sync.
std::shared_ptr<const CachedKey> ReadForCache(const KeyFolder& source) {
  auto key = std::make_shared<CachedKey>();
  key->file = source.File(kValuesFileName);
  const FileStamp now = StampOfNow();
  if (!ReadStamp(key->file, key->stamp) || key->stamp.size > kMaxBytesOfFile || !IsOldEnough(key->stamp, now))
    return nullptr;

  Descriptor file;
  FileStamp opened;
  ValuesFile values;
  if (OpenByPath(key->file, O_RDONLY, file) != kSuccess || !HasReliableTimes(file.get()) ||
      values.Read(file.get()) != kSuccess || values.state() != RecordCursor::End::Whole ||
      values.header().keyNotSynced) {
    return nullptr;
  }
  // Checked after the read, too: nobody is kept from changing the file meanwhile.
  if (!ReadStamp(file.get(), opened) || opened != key->stamp) return nullptr;
  key->id = values.header().id;
  CopyValues(values, *key);
  return key;
}

}  // namespace

bool CachedKey::Find(std::string_view name, ValueRecord& value) const {
  const auto found =
      std::find_if(values.begin(), values.end(), [&](const ValueRecord& one) { return SameAnsiName(one.name, name); });
  if (found == values.end()) return false;
  value = *found;
  return true;
}

std::shared_ptr<const CachedKey> KeyCache::Find(const KeyFolder& key) {
  std::shared_ptr<const CachedKey> cached = Lookup(key.path());
  FileStamp stamp;
  if (!cached || !ReadStamp(cached->file, stamp) || stamp != cached->stamp || !MayRead(stamp, cached->file))
    return nullptr;
  return cached;
}

void KeyCache::RecordRead(const KeyFolder& key) noexcept {
  // A root may lack its file, and is hardly ever read.
  if (key.isRoot()) return;
  try {
    if (ShouldStore(key.path())) Store(key.path(), ReadForCache(key));
  } catch (const std::bad_alloc&) {
    // When memory is short, nothing is cached.
  }
}

std::shared_ptr<const CachedKey> KeyCache::Lookup(const std::string& folder) {
  const std::scoped_lock hold(mutex_);
  const auto entry = Touch(folder);
  return entry == entries_.end() ? nullptr : entry->key;
}

// Counts a read, and tells whether there were enough of them and it is not too soon to try again.
bool KeyCache::ShouldStore(const std::string& folder) {
  const std::scoped_lock hold(mutex_);
  auto entry = Touch(folder);
  if (entry == entries_.end()) {
    entries_.push_front({folder, nullptr, 0, {}});
    entry = entries_.begin();
    byFolder_.emplace(entry->folder, entry);
    Shrink();
  }
  if (++entry->reads < kReadsBeforeStoring) return false;
  entry->reads = kReadsBeforeStoring;
  const FileStamp now = StampOfNow();
  if (!HasPassed(entry->lastTried, now)) return false;
  entry->lastTried = now;
  return true;
}

// Replaces what is cached of a key; by nothing when it cannot be cached now.
void KeyCache::Store(const std::string& folder, std::shared_ptr<const CachedKey> key) {
  if (key && key->content.size() > kMaxBytesOfKey) key = nullptr;
  const std::scoped_lock hold(mutex_);
  const auto entry = Touch(folder);
  if (entry == entries_.end()) return;
  if (entry->key) bytes_ -= entry->key->content.size();
  if (key) bytes_ += key->content.size();
  entry->key = std::move(key);
  Shrink();
}

KeyCache::Entries::iterator KeyCache::Touch(const std::string& folder) {
  const auto found = byFolder_.find(folder);
  if (found == byFolder_.end()) return entries_.end();
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second;
}

void KeyCache::Shrink() {
  while (entries_.size() > kMaxKeys || bytes_ > kMaxBytes) {
    const Entry& last = entries_.back();
    if (last.key) bytes_ -= last.key->content.size();
    byFolder_.erase(last.folder);
    entries_.pop_back();
  }
}

}  // namespace nerio::platform
