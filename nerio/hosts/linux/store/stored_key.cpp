#include "nerio/hosts/linux/store/stored_key.h"

#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <exception>
#include <memory>
#include <new>
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

// A file longer than so many times what a new one would have is replaced.
constexpr std::uint64_t kMaxSlack = 4;

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
  ~WritableKey() {
    // What a lack of memory left half read is not kept: bytes that are known would be taken for records that were checked.
    if (std::uncaught_exceptions() == exceptions) cache.KeepLastChange(std::move(last));
  }

  const int exceptions = std::uncaught_exceptions();
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

// @param name the value to be changed; null reads all of them.
Status OpenForWriting(const HandleTarget& key, const std::string_view* name, const Deadline& deadline,
                      WritableKey& writable) {
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
  if (status == kFileNotFound) {
    return IsDeletedInPlace(writable.locked.folder.get(), ".") ? kKeyDeleted : kRegistryCorrupt;
  }
  if (status != kSuccess) return status;
  // Reading shows whether it is an ordinary file; an fstat would cost more than its own time, see `ReadRest`.
  const int file = writable.file.get();
  status = name != nullptr ? writable.values.ReadAgain(file, *name) : writable.values.Read(file);
  if (status == kSuccess) status = Verdict(writable.values);
  if (status == kSuccess && (!IsSameKey(key, writable.values) || writable.values.header().keyDeleted)) {
    status = kKeyDeleted;
  }
  // What is about to be acknowledged would be lost with the key.
  if (status == kSuccess && writable.values.header().keyNotSynced) status = SettleKey(writable.locked.folder.get());
  return status;
}

// Writes a record into the zeros at the end of the file. The trailer comes last, in a call of its own: the kernel sets a
// file's time before its bytes are there, so whoever read the old bytes with the time of the first call finds another
// time in the end, however long that call took.
Status AppendInPlace(int file, std::string record, std::uint64_t offset) {
  const std::size_t trailer = record.find_last_not_of('\0');
  const char byte = std::exchange(record[trailer], '\0');
  Status status = WriteAt(file, record, offset);
  if (status == kSuccess) status = WriteAt(file, {&byte, 1}, offset + trailer);
  if (status == kSuccess) status = SyncFile(file);
  if (status != kSuccess) {
    // The zeros come back, the trailer's first, so that the old value stays. Parts of the record may have reached the
    // disk: they must not be found there after the next one, which may be shorter.
    WriteAt(file, std::string(1, '\0'), offset + trailer);
    const bool clean =
        WriteAt(file, std::string(record.size(), '\0'), offset) == kSuccess && SyncFile(file) == kSuccess;
    if (!clean) SetNote(file, Note::RoomNotClean, true);
  }
  return status;
}

// What is left of the values after a change. @param whole takes the values where `current` has none.
Status ValuesAfterOne(int file, const ValuesFile& current, ValuesFile& whole, const ValueRecord& change,
                      std::vector<ValueRecord>& values) {
  if (!current.hasValues()) {
    const Status status = whole.Read(file);
    if (status != kSuccess) return status;
    if (whole.state() == End::Damaged) return kRegistryCorrupt;
  }
  values = (current.hasValues() ? current : whole).Values();
  std::erase_if(values, [&](const ValueRecord& value) { return SameAnsiName(value.name, change.name); });
  if (!change.deletion) values.push_back(change);
  return kSuccess;
}

bool FitsInPlace(int file, const ValuesFile& current, std::uint64_t space) {
  const ValuesHeader& header = current.header();
  return file >= 0 && current.state() == End::Whole && !header.roomNotClean && !header.fileNotSynced &&
         space <= header.fileSize - current.recordsEnd() && !HasOtherName(file);
}

// Tells whether it is worth the time to find out if a file is too long: there may be many values, and only records that
// were added make a file longer than what is left in it. So of those only every eighth part is looked at.
bool IsLengthDue(const ValuesFile& current) {
  const std::uint64_t added = current.addedRecords() + 1;
  const std::uint64_t step = std::max<std::uint64_t>(std::bit_floor(added) / 8, 1);
  if (added % step != 0) return false;
  // A record takes the place of one other at most.
  const std::uint64_t settled = current.header().settledEnd - kSectorSize;
  const std::uint64_t left = settled - std::min(settled, added * current.largestRecord());
  return current.header().fileSize > kMaxSlack * FileSizeFor(left, Room::Ample);
}

// Replaces a file that is much longer than what the change left in it. The change is durable, whatever becomes of this.
void ShortenAfter(int folder, int file, const ValuesFile& current, const ValueRecord& change) noexcept {
  try {
    ValuesFile whole;
    std::vector<ValueRecord> values;
    if (ValuesAfterOne(file, current, whole, change, values) != kSuccess) return;
    if (current.header().fileSize <= kMaxSlack * FileSizeFor(SpaceOf(values), Room::Ample)) return;
    ReplaceBy(folder, file, current.header(), change.sequence + 1, values, Room::Ample);
  } catch (const std::bad_alloc&) {
  }
}

// Adds a record to a key's values: a durable change that happens as a whole or not at all. On failure the values are
// the old ones, or the new ones if only the last sync failed.
//
// The record is written into the zeros at the end of the file. Where they do not suffice, where the record cannot be
// told from an incomplete one, where an incomplete one or one that was taken back is in the way, where the file has a
// second name (a hard link), or where a writer was killed before it had made the file's name durable, the file is
// replaced by a new one that holds what is left of the values and the record. So is, after the change, a file that is
// much longer than what is left in it; where that fails, the change counts nevertheless. For a deletion on a full disk
// the new file may have no room for further records.
// @param folder the key's folder; the caller holds its lock for writing.
// @param file the values file, open for reading and writing, and `current`, what was read from it since the lock was
// granted; not damaged. When `file` is negative, the folder has no values file yet and `current` is an empty one.
// @param change its sequence is chosen here.
Status WriteRecord(int folder, int file, const ValuesFile& current, ValueRecord change) {
  change.sequence = current.nextSequence();
  if (FitsInPlace(file, current, RecordSpace(change.name.size(), change.data.size()))) {
    std::string record;
    AppendRecord(record, change);
    if (!HoldsZeroSector(current.recordsEnd(), record)) {
      const Status status = AppendInPlace(file, std::move(record), current.recordsEnd());
      if (status == kSuccess && IsLengthDue(current)) ShortenAfter(folder, file, current, change);
      return status;
    }
  }
  ValuesFile whole;
  std::vector<ValueRecord> values;
  const Status status = ValuesAfterOne(file, current, whole, change, values);
  return status != kSuccess ? status : WriteValues(folder, file, current, values, change.deletion);
}

// The number of the change is chosen when it is written.
Status Write(WritableKey& writable, const ValueRecord& change) {
  const int file = writable.file.get();
  const Status status = WriteRecord(writable.locked.folder.get(), file, writable.values, change);
  if (status == kSuccess) writable.values.NoteAdded(file, change);
  return status;
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
  const Status status = OpenForWriting(key, &name, deadline, writable);
  if (status != kSuccess) return status;
  ValueRecord present;
  if (writable.values.Find(name, present)) name = present.name;
  return Write(writable, {.sequence = 0, .deletion = false, .type = type, .name = name, .data = data});
}

Status StoreValues(KeyCache& cache, const HandleTarget& key, std::span<WholeKeys::ValueChange> changes,
                   const Deadline& deadline) {
  WritableKey writable(cache);
  const Status status = OpenForWriting(key, nullptr, deadline, writable);
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
  const Status status = OpenForWriting(key, &name, deadline, writable);
  if (status != kSuccess) return status;
  ValueRecord present;
  if (!writable.values.Find(name, present)) return kFileNotFound;
  return Write(writable, {.sequence = 0, .deletion = true, .type = 0, .name = present.name, .data = {}});
}

}  // namespace nerio::platform
