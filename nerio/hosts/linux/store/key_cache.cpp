#include "nerio/hosts/linux/store/key_cache.h"

#include <fcntl.h>

#include <algorithm>
#include <new>
#include <utility>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/fork_safety.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/values_file.h"
#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

// What one registry of a process caches at most: this many keys, and this many bytes of memory. One key may take half of
// them, so that reading one of its values costs the same whether there are ten or ten thousand.
constexpr std::size_t kMaxKeys = 2048;
constexpr std::size_t kMaxBytes = std::size_t{4} << 20;
constexpr std::size_t kMaxBytesOfKey = kMaxBytes / 2;
// Beside them, of the key that was changed last.
constexpr std::size_t kMaxBytesOfLastChange = std::size_t{8} << 20;
constexpr int kReadsBeforeStoring = 3;
// A larger file is not even read to find out how much of it is values: writers replace one that is four times too long.
constexpr std::int64_t kMaxBytesOfFile = std::int64_t{4} * kMaxBytesOfKey;
// A key that is too large is not tried again sooner: it may be a large file that is read each time.
constexpr std::int64_t kSecondsBetweenTriesOfLargeKeys = 1;

// What an allocation takes beyond the bytes that were asked for, as far as the C library tells.
constexpr std::size_t kAllocation = 2 * sizeof(void*);

std::size_t Allocated(std::size_t bytes) { return bytes == 0 ? 0 : bytes + kAllocation; }

std::size_t MemoryOf(const std::string& text) {
  const bool isInside = text.capacity() <= std::string().capacity();
  return isInside ? 0 : Allocated(text.capacity() + 1);
}

std::size_t BytesOf(const std::vector<ValueRecord>& values) {
  std::size_t size = 0;
  for (const ValueRecord& value : values) size += value.name.size() + value.data.size();
  return size;
}

}  // namespace

bool CachedKey::Find(std::string_view name, ValueRecord& value) const {
  const AnsiNameOrder order;
  const auto found = std::lower_bound(slots.begin(), slots.end(), name, [&](const Slot& slot, std::string_view wanted) {
    return order(NameOf(slot), wanted);
  });
  if (found == slots.end() || order(name, NameOf(*found))) return false;
  value = At(static_cast<std::size_t>(found - slots.begin()));
  return true;
}

ValueRecord CachedKey::At(std::size_t index) const {
  const Slot& slot = slots[index];
  return {.sequence = 0,
          .deletion = false,
          .type = slot.type,
          .name = NameOf(slot),
          .data = std::string_view(content).substr(slot.start + slot.nameLength, slot.dataLength)};
}

bool CachedKey::IsCurrent() const {
  FileStamp now;
  return ReadStamp(file, now) && now == stamp && MayRead(now, file);
}

void CachedKey::TakeValues(const std::vector<ValueRecord>& values) {
  content.reserve(BytesOf(values));
  slots.reserve(values.size());
  for (const ValueRecord& value : values) {
    slots.push_back({.start = static_cast<std::uint32_t>(content.size()),
                     .dataLength = static_cast<std::uint32_t>(value.data.size()),
                     .type = value.type,
                     .nameLength = static_cast<std::uint16_t>(value.name.size())});
    (content += value.name) += value.data;
  }
}

std::size_t CachedKey::Memory() const {
  // It lies in one block with the counts of its references.
  return Allocated(sizeof(CachedKey) + 2 * sizeof(void*)) + MemoryOf(file) + MemoryOf(content) +
         Allocated(slots.capacity() * sizeof(Slot));
}

std::shared_ptr<const CachedKey> ReadWithStamp(const KeyFolder& source, const ReadLimits& limits, bool& isTooLarge) {
  auto key = std::make_shared<CachedKey>();
  key->file = source.File(kValuesFileName);
  const FileStamp now = StampOfNow();
  if (!ReadStamp(key->file, key->stamp) || key->stamp.size > limits.file || !IsOldEnough(key->stamp, now))
    return nullptr;

  Descriptor file;
  FileStamp opened;
  ValuesFile values;
  if (OpenByPath(key->file, O_RDONLY, file) != kSuccess || !HasReliableTimes(file.get()) ||
      values.Read(file.get()) != kSuccess || values.state() != RecordCursor::End::Whole ||
      values.header().keyNotSynced || values.header().keyDeleted) {
    return nullptr;
  }
  // Checked after the read, too: nobody is kept from changing the file meanwhile.
  if (!ReadStamp(file.get(), opened) || opened != key->stamp) return nullptr;
  key->id = values.header().id;
  const std::vector<ValueRecord> records = values.Values();
  isTooLarge = BytesOf(records) + records.size() * sizeof(CachedKey::Slot) > limits.values;
  if (isTooLarge) return nullptr;
  key->TakeValues(records);
  return key;
}

std::shared_ptr<const CachedKey> KeyCache::Find(const KeyFolder& key) {
  std::shared_ptr<const CachedKey> cached = Lookup(key.path());
  return cached && cached->IsCurrent() ? cached : nullptr;
}

void KeyCache::RecordRead(const KeyFolder& key) noexcept {
  // A root may lack its file, and is hardly ever read.
  if (key.isRoot()) return;
  try {
    if (!ShouldStore(key.path())) return;
    bool isTooLarge = false;
    const std::shared_ptr<const CachedKey> read = ReadWithStamp(key, {kMaxBytesOfFile, kMaxBytesOfKey}, isTooLarge);
    Store(key.path(), read, isTooLarge);
  } catch (const std::bad_alloc&) {
    // When memory is short, nothing is cached.
  }
}

std::unique_ptr<KeyCache::LastChange> KeyCache::TakeLastChange() {
  {
    const std::scoped_lock hold(MemoryMutex());
    if (lastChange_) return std::move(lastChange_);
  }
  return std::make_unique<LastChange>();
}

void KeyCache::KeepLastChange(std::unique_ptr<LastChange> change) {
  if (change->values.Memory() > kMaxBytesOfLastChange) return;
  const std::scoped_lock hold(MemoryMutex());
  // What another thread kept meanwhile is freed with the argument, once the mutex is free.
  lastChange_.swap(change);
}

std::shared_ptr<const CachedKey> KeyCache::Lookup(const std::string& folder) {
  const std::scoped_lock hold(MemoryMutex());
  const auto entry = Touch(folder);
  return entry == entries_.end() ? nullptr : entry->key;
}

// Counts a read, and tells whether there were enough of them and it is not too soon to try again.
bool KeyCache::ShouldStore(const std::string& folder) {
  const std::scoped_lock hold(MemoryMutex());
  auto entry = Touch(folder);
  if (entry == entries_.end()) {
    entries_.push_front({folder, nullptr, 0, {}});
    entry = entries_.begin();
    byFolder_.emplace(entry->folder, entry);
    bytes_ += Memory(*entry);
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
void KeyCache::Store(const std::string& folder, std::shared_ptr<const CachedKey> key, bool isTooLarge) {
  const std::scoped_lock hold(MemoryMutex());
  const auto entry = Touch(folder);
  if (entry == entries_.end()) return;
  bytes_ -= Memory(*entry);
  entry->key = std::move(key);
  if (isTooLarge) entry->lastTried.seconds += kSecondsBetweenTriesOfLargeKeys;
  bytes_ += Memory(*entry);
  Shrink();
}

KeyCache::Entries::iterator KeyCache::Touch(const std::string& folder) {
  const auto found = byFolder_.find(folder);
  if (found == byFolder_.end()) return entries_.end();
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second;
}

// With its places in the list and in the table.
std::size_t KeyCache::Memory(const Entry& entry) {
  constexpr std::size_t kListNode = sizeof(Entry) + 2 * sizeof(void*);
  constexpr std::size_t kTableNode = sizeof(std::pair<std::string_view, Entries::iterator>) + 2 * sizeof(void*);
  // A table has at most about twice as many buckets as nodes.
  constexpr std::size_t kBuckets = 2 * sizeof(void*);
  return Allocated(kListNode) + Allocated(kTableNode) + kBuckets + MemoryOf(entry.folder) +
         (entry.key ? entry.key->Memory() : 0);
}

void KeyCache::Shrink() {
  while (entries_.size() > kMaxKeys || bytes_ > kMaxBytes) {
    const Entry& last = entries_.back();
    bytes_ -= Memory(last);
    byFolder_.erase(last.folder);
    entries_.pop_back();
  }
}

}  // namespace nerio::platform
