#include "nerio/hosts/linux/store/stored_key.h"

#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

using End = RecordCursor::End;

Status ReadExtent(int file, Extent extent, ValuesFile& values) {
  return extent == Extent::Header ? values.ReadHeader(file) : values.Read(file);
}

Status Verdict(const ValuesFile& values) { return values.state() == End::Damaged ? kRegistryCorrupt : kSuccess; }

// Reads a key of which the first look showed no whole values file.
// @return 2 when the key is not there, 1015 when it is there without a values file.
Status Look(const KeyFolder& key, Extent extent, ValuesFile& values) {
  Descriptor folder;
  Status status = OpenByPath(key.path(), O_PATH | O_DIRECTORY, folder);
  if (status != kSuccess) return status;
  Descriptor file;
  status = OpenInside(folder.get(), kValuesFileName, O_RDONLY, file);
  if (status == kSuccess) return ReadExtent(file.get(), extent, values);
  if (status != kFileNotFound) return status;
  // A deleted key's folder loses its files after its place.
  bool inPlace = false;
  status = CheckInPlace(folder.get(), key, inPlace);
  if (status != kSuccess) return status;
  if (!inPlace) return kFileNotFound;
  if (!key.isRoot()) return IsDeletedInPlace(folder.get(), ".") ? kFileNotFound : kRegistryCorrupt;
  // One that was made by hand has none yet.
  values.MakeEmpty({});
  return kSuccess;
}

// The time that this process may still spend between looks, whatever it reads: so many damaged keys cost no more of it
// than one.
constinit std::atomic<std::int64_t> nanosecondsLeft = 1'000'000'000;

// Looks until two looks see the same. A writer completes a record with its last byte, so only what was read while
// bytes moved can be taken for damage, and the next look sees something else.
Status LookAgain(const KeyFolder& key, Extent extent, ValuesFile& values) {
  constexpr int kLooksWithoutPause = 4;
  Pauses pauses;
  std::uint32_t before = 0;
  Status seenBefore = kBusy;
  for (int look = 1;; ++look) {
    const Status seen = Look(key, extent, values);
    if (seen == kSuccess && values.state() == End::Whole) return kSuccess;
    if (seen != kSuccess && seen != kRegistryCorrupt) return seen;
    const std::uint32_t sum = seen == kSuccess ? values.Checksum() : 0;
    const bool same = seen == seenBefore && sum == before;
    const bool pause = look >= kLooksWithoutPause;
    if (same || (pause && nanosecondsLeft <= 0)) return seen == kSuccess ? Verdict(values) : seen;
    if (pause) nanosecondsLeft -= pauses.Next().count();
    seenBefore = seen;
    before = sum;
  }
}

bool IsSameKey(const HandleTarget& key, const ValuesFile& values) {
  return key.folder.isRoot() || values.header().id == key.id;
}

// A key that is open for writing: its lock is held.
struct WritableKey {
  explicit WritableKey(KeyCache& keys) : cache(keys), last(keys.TakeLastChange()), values(last->values) {}
  WritableKey(const WritableKey&) = delete;
  WritableKey& operator=(const WritableKey&) = delete;
  ~WritableKey() { cache.KeepLastChange(std::move(last)); }

  KeyCache& cache;
  std::unique_ptr<KeyCache::LastChange> last;
  LockedKey locked;
  Descriptor file;
  ValuesFile& values;
};

// Removes what killed writers left in a key's folder, unless nothing was put there since it was last looked for.
void RemoveNewLeftovers(const LockedKey& key, const FileStamp& before, FileStamp& swept) {
  if (key.stamp == swept) return;
  RemoveLeftovers(key);
  const bool lasts = (TellsChangesApart() || IsOldEnough(key.stamp, before)) && HasReliableTimes(key.folder.get());
  swept = lasts ? key.stamp : FileStamp();
}

Status OpenForWriting(const HandleTarget& key, const Deadline& deadline, WritableKey& writable) {
  const FileStamp before = StampOfNow();
  Status status = LockKey(key.folder, O_PATH, deadline, writable.locked);
  if (status != kSuccess) return status == kFileNotFound ? kKeyDeleted : status;
  RemoveNewLeftovers(writable.locked, before, writable.last->swept);
  status = OpenInside(writable.locked.folder.get(), kValuesFileName, O_RDWR, writable.file);
  if (status == kFileNotFound && key.folder.isRoot()) {
    // A root that was made by hand gets its file with its first value.
    ValuesHeader header;
    header.spelling = key.folder.Name().substr(0, kMaxKeyNameLength);
    status = MakeKeyId(header.id);
    writable.values.MakeEmpty(header);
    return status;
  }
  if (status != kSuccess) return status == kFileNotFound ? kRegistryCorrupt : status;
  // Reading shows whether it is an ordinary file; an fstat would cost more than its own time, see `ReadRest`.
  status = writable.values.ReadAgain(writable.file.get());
  if (status == kSuccess) status = Verdict(writable.values);
  if (status == kSuccess && (!IsSameKey(key, writable.values) || writable.values.header().keyDeleted)) {
    status = kKeyDeleted;
  }
  // What is about to be acknowledged would be lost with the key.
  if (status == kSuccess && writable.values.header().keyNotSynced) status = SettleKey(writable.locked.folder.get());
  return status;
}

// The number of the change is chosen when it is written.
Status Write(const WritableKey& writable, const ValueRecord& change) {
  return WriteRecord(writable.locked.folder.get(), writable.file.get(), writable.values, change);
}

// Makes changes of values that are in the order of their folded names, and returns what is left in this order.
std::vector<ValueRecord> ValuesAfter(const std::vector<ValueRecord>& present,
                                     std::span<WholeKeys::ValueChange> changes) {
  const AnsiNameOrder isBefore;
  std::vector<std::size_t> order(changes.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
    return isBefore(changes[left].name, changes[right].name);
  });
  std::vector<ValueRecord> after;
  after.reserve(present.size() + changes.size());
  auto old = present.begin();
  for (auto next = order.begin(); next != order.end();) {
    const std::string_view name = changes[*next].name;
    while (old != present.end() && isBefore(old->name, name)) after.push_back(*old++);
    ValueRecord value;
    bool isThere = old != present.end() && SameAnsiName(old->name, name);
    if (isThere) value = *old++;
    for (; next != order.end() && SameAnsiName(changes[*next].name, name); ++next) {
      WholeKeys::ValueChange& change = changes[*next];
      if (change.deletion) {
        change.deleted = isThere ? std::optional(std::string(value.name)) : std::nullopt;
      } else {
        // The name keeps the spelling that it has.
        const std::string_view spelling = isThere ? value.name : change.name;
        value = {.sequence = 0, .deletion = false, .type = change.type, .name = spelling, .data = change.data};
      }
      isThere = !change.deletion;
    }
    if (isThere) after.push_back(value);
  }
  after.insert(after.end(), old, present.end());
  return after;
}

}  // namespace

Status ReadKey(const KeyFolder& key, Extent extent, ValuesFile& values) {
  Descriptor file;
  Status seen = OpenByPath(key.File(kValuesFileName), O_RDONLY, file);
  if (seen == kSuccess) seen = ReadExtent(file.get(), extent, values);
  if (seen == kSuccess && values.state() == End::Whole) return values.header().keyDeleted ? kFileNotFound : kSuccess;
  if (seen != kSuccess && seen != kFileNotFound) return seen;
  return LookAgain(key, extent, values);
}

Status ReadKey(const HandleTarget& key, Extent extent, ValuesFile& values) {
  const Status status = ReadKey(key.folder, extent, values);
  if (status == kFileNotFound) return kKeyDeleted;
  return status == kSuccess && !IsSameKey(key, values) ? kKeyDeleted : status;
}

Status StoreValue(KeyCache& cache, const HandleTarget& key, std::string_view name, std::uint32_t type,
                  std::string_view data, const Deadline& deadline) {
  if (data.size() > kMaxFileSize) return kNotEnoughMemory;
  WritableKey writable(cache);
  const Status status = OpenForWriting(key, deadline, writable);
  if (status != kSuccess) return status;
  ValueRecord present;
  if (writable.values.Find(name, present)) name = present.name;
  return Write(writable, {.sequence = 0, .deletion = false, .type = type, .name = name, .data = data});
}

Status StoreValues(KeyCache& cache, const HandleTarget& key, std::span<WholeKeys::ValueChange> changes,
                   const Deadline& deadline) {
  WritableKey writable(cache);
  const Status status = OpenForWriting(key, deadline, writable);
  if (status != kSuccess) return status;
  const std::vector<ValueRecord> after = ValuesAfter(writable.values.Values(), changes);
  bool isChanged = false;
  bool deletesOnly = true;
  for (const WholeKeys::ValueChange& change : changes) {
    isChanged = isChanged || !change.deletion || change.deleted;
    deletesOnly = deletesOnly && change.deletion;
  }
  if (!isChanged) return kSuccess;
  return WriteValues(writable.locked.folder.get(), writable.file.get(), writable.values, after, deletesOnly);
}

Status RemoveValue(KeyCache& cache, const HandleTarget& key, std::string_view name, const Deadline& deadline) {
  WritableKey writable(cache);
  const Status status = OpenForWriting(key, deadline, writable);
  if (status != kSuccess) return status;
  ValueRecord present;
  if (!writable.values.Find(name, present)) return kFileNotFound;
  return Write(writable, {.sequence = 0, .deletion = true, .type = 0, .name = present.name, .data = {}});
}

}  // namespace nerio::platform
