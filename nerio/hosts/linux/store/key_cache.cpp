#include "nerio/hosts/linux/store/key_cache.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_lock.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/values_file.h"
#include "nerio/hosts/portable/text/ansi_fold.h"

namespace nerio::platform {
namespace {

// What one registry of a process takes at most: this many keys, and this many bytes of values.
constexpr std::size_t kMostKeys = 2048;
constexpr std::size_t kMostBytes = std::size_t{4} << 20;
constexpr int kReadsBeforeKeeping = 3;
constexpr std::size_t kMostBytesOfKey = std::size_t{64} << 10;
// A file that is larger is not even read to find out how much of it is values.
constexpr std::int64_t kMostBytesOfFile = std::int64_t{1} << 20;

// Of a network's file system each machine has its own view for a while.
bool HasReliableTimes(int file) {
  constexpr std::array<unsigned long, 4> kLocal = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, TMPFS_MAGIC};
  struct statfs system {};
  return ::fstatfs(file, &system) == 0 &&
         std::find(kLocal.begin(), kLocal.end(), static_cast<unsigned long>(system.f_type)) != kLocal.end();
}

void CopyValues(const ValuesFile& from, KeptKey& to) {
  const std::vector<ValueRecord> values = from.Values();
  std::size_t size = 0;
  for (const ValueRecord& value : values) size += value.name.size() + value.data.size();
  to.content.reserve(size);
  const auto keep = [&](std::string_view bytes) {
    const std::size_t start = to.content.size();
    to.content += bytes;
    return std::string_view(to.content).substr(start);
  };
  for (ValueRecord value : values) {
    value.name = keep(value.name);
    value.data = keep(value.data);
    to.values.push_back(value);
  }
}

// Reads a key, if nobody is about to change it.
std::shared_ptr<const KeptKey> ReadStanding(const KeyFolder& path) {
  auto key = std::make_shared<KeptKey>();
  key->file = path.File(kValuesFileName);
  const EntryLook clock = LookAtClock();
  if (!LookAt(key->file, key->look) || key->look.size > kMostBytesOfFile || !StoodStill(key->look, clock))
    return nullptr;

  // A writer stamps its change before the content is there: while it holds the lock, the look is of no use.
  Descriptor folder;
  KeyLock lock;
  if (OpenByPath(path.path(), O_PATH | O_DIRECTORY, folder) != kSuccess || !lock.TryRead(folder.get())) return nullptr;
  Descriptor file;
  EntryLook opened;
  ValuesFile values;
  if (OpenInside(folder.get(), kValuesFileName, O_RDONLY, file) != kSuccess || !HasReliableTimes(file.get()) ||
      values.Read(file.get()) != kSuccess || values.state() != RecordCursor::End::Whole) {
    return nullptr;
  }
  // Behind the reading: by hand a file is changed without a lock.
  if (!LookAt(file.get(), opened) || opened != key->look) return nullptr;
  key->id = values.header().id;
  CopyValues(values, *key);
  return key;
}

}  // namespace

bool KeptKey::Find(std::string_view name, ValueRecord& value) const {
  const auto found =
      std::find_if(values.begin(), values.end(), [&](const ValueRecord& one) { return SameAnsiName(one.name, name); });
  if (found == values.end()) return false;
  value = *found;
  return true;
}

std::shared_ptr<const KeptKey> KeyCache::FindStanding(const KeyFolder& key) {
  std::shared_ptr<const KeptKey> kept = Find(key.path());
  EntryLook look;
  if (!kept || !LookAt(kept->file, look) || look != kept->look || !MayRead(look, kept->file)) return nullptr;
  return kept;
}

void KeyCache::Learn(const KeyFolder& key) noexcept {
  // A root may lack its file, and is hardly ever read.
  if (key.isRoot()) return;
  try {
    if (IsWorthKeeping(key.path())) Keep(key.path(), ReadStanding(key));
  } catch (const std::bad_alloc&) {
    // Where memory is short, nothing is kept.
  }
}

std::shared_ptr<const KeptKey> KeyCache::Find(const std::string& folder) {
  const std::scoped_lock hold(mutex_);
  const auto place = Touch(folder);
  return place == places_.end() ? nullptr : place->key;
}

// Takes note of a key, and tells whether it was read often enough and it is not too soon to try again.
bool KeyCache::IsWorthKeeping(const std::string& folder) {
  const std::scoped_lock hold(mutex_);
  auto place = Touch(folder);
  if (place == places_.end()) {
    places_.push_front({folder, nullptr, 0, {}});
    place = places_.begin();
    byFolder_.emplace(place->folder, place);
    Shrink();
  }
  if (++place->reads < kReadsBeforeKeeping) return false;
  place->reads = kReadsBeforeKeeping;
  const EntryLook clock = LookAtClock();
  if (!StoodStill(place->tried, clock)) return false;
  place->tried = clock;
  return true;
}

// Replaces what is kept of a key; by nothing when it does not stand still.
void KeyCache::Keep(const std::string& folder, std::shared_ptr<const KeptKey> key) {
  if (key && key->content.size() > kMostBytesOfKey) key = nullptr;
  const std::scoped_lock hold(mutex_);
  const auto place = Touch(folder);
  if (place == places_.end()) return;
  if (place->key) bytes_ -= place->key->content.size();
  if (key) bytes_ += key->content.size();
  place->key = std::move(key);
  Shrink();
}

KeyCache::Places::iterator KeyCache::Touch(const std::string& folder) {
  const auto found = byFolder_.find(folder);
  if (found == byFolder_.end()) return places_.end();
  places_.splice(places_.begin(), places_, found->second);
  return found->second;
}

void KeyCache::Shrink() {
  while (places_.size() > kMostKeys || bytes_ > kMostBytes) {
    const Place& last = places_.back();
    if (last.key) bytes_ -= last.key->content.size();
    byFolder_.erase(last.folder);
    places_.pop_back();
  }
}

}  // namespace nerio::platform
