#include "nerio/hosts/linux/store/values_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "nerio/hosts/linux/store/file_stamp.h"
#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

using End = RecordCursor::End;

// Writes a whole values file under a name that no file has.
Status WriteNewFile(int folder, const char* name, std::string_view bytes, unsigned mode, Descriptor& file) {
  Status status = OpenInside(folder, name, O_RDWR | O_CREAT | O_EXCL, file);
  if (status == kSuccess) status = StatusOf([&] { return ::fchmod(file.get(), mode); });
  return status == kSuccess ? WriteAt(file.get(), bytes, 0) : status;
}

// A longer file is looked at before memory is taken for it: it may be mostly holes.
constexpr std::size_t kMaxBytesUnchecked = std::size_t{2} << 20;

// Of a longer file only the places of the records are kept from one change to the next: comparing its bytes takes 15 us
// and more. Asking for its times is nothing beside that, but for what it costs on some disks, see `ReadRest`.
constexpr std::uint64_t kMaxBytesKept = std::uint64_t{192} << 10;

// What a thread's stack always has room for.
constexpr std::size_t kComparedAtOnce = std::size_t{16} << 10;

char* Allocate(std::size_t size) {
  auto* const bytes = static_cast<char*>(std::malloc(size));
  if (bytes == nullptr) throw std::bad_alloc();
  return bytes;
}

// Goes from one record's head to the next. @return where the last one ends whose head checks.
std::uint64_t ReachOfRecords(int file, std::uint64_t end) {
  std::string head(kRecordHeadSize, '\0');
  std::uint64_t offset = kSectorSize;
  for (;;) {
    const ssize_t got =
        Uninterrupted([&] { return ::pread(file, head.data(), head.size(), static_cast<off_t>(offset)); });
    const std::uint64_t space = got == static_cast<ssize_t>(head.size()) ? RecordSpace(head) : 0;
    if (space == 0 || space > end - offset) return offset;
    offset += space;
  }
}

Status ReplaceFile(int folder, int oldFile, std::string_view bytes) {
  // A folder is synced through a descriptor that can read it.
  Descriptor readable;
  Status status = OpenInside(folder, ".", O_RDONLY | O_DIRECTORY, readable);
  if (status != kSuccess) return status;
  struct stat old {};
  if (::fstat(oldFile >= 0 ? oldFile : folder, &old) != 0) return RegistryStatus(errno);
  ::unlinkat(folder, kNewValuesFileName, 0);
  Descriptor file;
  status = WriteNewFile(folder, kNewValuesFileName, bytes, old.st_mode & 0666, file);
  if (status == kSuccess && oldFile >= 0) KeepOwner(file.get(), old);
  if (status == kSuccess) status = SyncFile(file.get());
  const auto rename = [&] { return ::renameat(folder, kNewValuesFileName, folder, kValuesFileName); };
  if (status == kSuccess) status = StatusOf(rename);
  if (status != kSuccess) {
    ::unlinkat(folder, kNewValuesFileName, 0);
    return status;
  }
  status = SyncFolder(readable.get());
  if (status == kSuccess) SetNote(file.get(), Note::FileNotSynced, false);
  return status;
}

}  // namespace

// Reads up to `wanted` bytes into the buffer that `bytes` gives, fewer where the file ends.
Status ValuesFile::ReadBytes(int file, std::size_t wanted) {
  char* const buffer = large_ ? large_.get() : small_.data();
  while (size_ < wanted) {
    const std::size_t rest = wanted - size_;
    const ssize_t got = Uninterrupted([&] { return ::pread(file, buffer + size_, rest, static_cast<off_t>(size_)); });
    if (got < 0) return RegistryStatus(errno);
    size_ += static_cast<std::size_t>(got);
    // Most files end here, and the next read would only say so; of the others `Read` knows that they go on.
    if (got == 0 || size_ == kPageSize) break;
  }
  return kSuccess;
}

// Forgets the file that was read last.
void ValuesFile::Forget() {
  state_ = End::Damaged;
  size_ = 0;
  leftOut_ = 0;
  large_.reset();
  recordsEnd_ = kSectorSize;
  addedRecords_ = 0;
  largestRecord_ = 0;
  places_.clear();
  indexedEnd_ = kSectorSize;
  placesAlone_ = false;
}

void ValuesFile::MakeEmpty(const ValuesHeader& header) {
  Forget();
  header_ = header;
  header_.fileSize = 0;
  state_ = End::Whole;
  nextSequence_ = header.firstSequence;
}

Status ValuesFile::ReadStart(int file, std::size_t wanted) {
  Forget();
  const Status status = ReadBytes(file, wanted);
  if (status == kSuccess) state_ = ParseHeader(bytes(), header_, damage_) ? End::Whole : End::Damaged;
  return status;
}

Status ValuesFile::ReadHeader(int file) { return ReadStart(file, kSectorSize); }

// Reads what is missing of a file that is longer than what was read, or should be. A length is believed only when
// header and file agree, so that no buffer is allocated for a false one.
Status ValuesFile::ReadRest(int file) {
  // Not by fstat: once a file's times were read, some file systems write its inode again with the next change.
  const off_t end = ::lseek(file, 0, SEEK_END);
  if (end < 0) return RegistryStatus(errno);
  if (static_cast<std::uint64_t>(end) != header_.fileSize) {
    state_ = End::Damaged;
    damage_ = {std::min(static_cast<std::uint64_t>(end), header_.fileSize),
               "the file has not the length that its header says"};
    return kSuccess;
  }
  const auto wanted = static_cast<std::size_t>(header_.fileSize);
  // Somebody may have cut the file by hand since its start was read.
  size_ = std::min(size_, wanted);
  if (wanted > kMaxBytesUnchecked && ::lseek(file, 0, SEEK_HOLE) < end) return ReadWithHoles(file);
  large_.reset(Allocate(wanted));
  std::copy_n(small_.begin(), size_, large_.get());
  return ReadBytes(file, wanted);
}

// Reads a file that says to be much longer than what it takes on the disk. Holes take no memory, either: what follows the
// records is looked at piece by piece, and a buffer that nothing was written to has no pages.
Status ValuesFile::ReadWithHoles(int file) {
  const std::uint64_t reach = ReachOfRecords(file, header_.fileSize);
  const std::uint64_t wanted = std::min(header_.fileSize, reach + kMaxRoom + kPageSize);
  Damage strange;
  Status status = ForEachPiece(file, wanted, header_.fileSize, [&](std::uint64_t offset, std::string_view piece) {
    const std::size_t place = piece.find_first_not_of('\0');
    if (place != piece.npos && strange.what == nullptr) strange = {offset + place, "no zeros behind the records"};
  });
  if (status == kSuccess && strange.what != nullptr) {
    state_ = End::Damaged;
    damage_ = strange;
    return kSuccess;
  }
  large_.reset(static_cast<char*>(std::calloc(wanted, 1)));
  if (!large_) throw std::bad_alloc();
  size_ = static_cast<std::size_t>(wanted);
  leftOut_ = header_.fileSize - wanted;
  if (status != kSuccess) return status;
  return ForEachPiece(file, 0, wanted, [&](std::uint64_t offset, std::string_view piece) {
    std::copy(piece.begin(), piece.end(), large_.get() + offset);
  });
}

Status ValuesFile::Read(int file) {
  Status status = ReadStart(file, small_.size());
  const bool goesOn = size_ == small_.size() || size_ < header_.fileSize;
  if (status == kSuccess && state_ != End::Damaged && goesOn) status = ReadRest(file);
  if (status != kSuccess || state_ == End::Damaged) return status;
  ValuesHeader seen = header_;
  seen.fileSize -= leftOut_;
  RecordCursor cursor(bytes(), seen);
  CheckRecords(cursor);
  return kSuccess;
}

// Goes through records that were not checked before.
void ValuesFile::CheckRecords(RecordCursor& cursor) {
  std::uint64_t begin = cursor.position();
  for (ValueRecord record; cursor.Next(record); begin = cursor.position()) {
    largestRecord_ = std::max(largestRecord_, cursor.position() - begin);
    if (cursor.position() > header_.settledEnd) ++addedRecords_;
  }
  state_ = cursor.end();
  damage_ = state_ == End::Incomplete ? Damage{cursor.position(), "an incomplete record"} : cursor.damage();
  recordsEnd_ = cursor.position();
  nextSequence_ = cursor.nextSequence();
}

Status ValuesFile::ReadAgain(int file, std::string_view name) {
  if (placesAlone_ && IsUnchanged(file) && ReadRecordOf(file, name)) return kSuccess;
  if (placesAlone_ || !ReadChanges(file)) {
    const Status status = Read(file);
    if (status != kSuccess) return status;
  }
  while (indexedEnd_ < recordsEnd_) {
    std::uint64_t next = indexedEnd_;
    const std::string_view present = RecordAt(bytes(), next).name;
    places_.push_back({.hash = HashOfName(present), .offset = static_cast<std::uint32_t>(indexedEnd_)});
    indexedEnd_ = next;
  }
  return kSuccess;
}

void ValuesFile::NoteAdded(int file, const ValueRecord& added) noexcept {
  if (header_.fileSize <= kMaxBytesKept) return;
  struct statx entry {};
  const bool isInPlace = ::statx(file, "", AT_EMPTY_PATH, STATX_NLINK, &entry) == 0 && entry.stx_nlink == 1;
  const bool isKnown = isInPlace && TellsChangesApart() && HasReliableTimes(file) && ReadStamp(file, stamp_);
  if (!isKnown) return Forget();
  try {
    places_.push_back({.hash = HashOfName(added.name), .offset = static_cast<std::uint32_t>(recordsEnd_)});
  } catch (const std::bad_alloc&) {
    return Forget();
  }
  const std::uint64_t space = RecordSpace(added.name.size(), added.data.size());
  indexedEnd_ = recordsEnd_ += space;
  largestRecord_ = std::max(largestRecord_, space);
  ++nextSequence_;
  ++addedRecords_;
  placesAlone_ = true;
  large_.reset();
}

// Tells whether the file is still the one whose places are kept. What would be overwritten is looked at in any case.
bool ValuesFile::IsUnchanged(int file) const {
  FileStamp now;
  std::array<char, kRecordHeadSize> next{};
  const auto begin = static_cast<off_t>(recordsEnd_);
  return ReadStamp(file, now) && now == stamp_ &&
         Uninterrupted([&] { return ::pread(file, next.data(), next.size(), begin); }) >= 0 &&
         next == std::array<char, kRecordHeadSize>{};
}

// Reads the last record of a name, up to its data.
bool ValuesFile::ReadRecordOf(int file, std::string_view name) {
  const std::uint32_t hash = HashOfName(name);
  for (std::size_t i = places_.size(); i > 0; --i) {
    if (places_[i - 1].hash != hash) continue;
    // A byte more tells a longer name; there is always one after it.
    found_.resize(kRecordHeadSize + name.size() + 1);
    const auto begin = static_cast<off_t>(places_[i - 1].offset);
    const ssize_t got = Uninterrupted([&] { return ::pread(file, found_.data(), found_.size(), begin); });
    if (got != static_cast<ssize_t>(found_.size())) return false;
    std::uint64_t position = 0;
    if (SameAnsiName(RecordAt(found_, position).name, name)) return true;
  }
  found_.clear();
  return true;
}

// Reads a file that differs from the one that was read last by further records at most.
// @return false when it differs otherwise, or cannot be read: then it has to be read afresh.
bool ValuesFile::ReadChanges(int file) {
  if (state_ != End::Whole || size_ == 0 || size_ != header_.fileSize) return false;
  char* const known = large_ ? large_.get() : small_.data();
  // One byte more tells a file that goes on.
  std::array<char, kComparedAtOnce + 1> piece;
  std::size_t changedEnd = 0;
  for (std::size_t offset = 0; offset < size_;) {
    const bool isLast = size_ - offset <= kComparedAtOnce;
    const std::size_t size = isLast ? size_ - offset : kComparedAtOnce;
    const std::size_t wanted = isLast ? size + 1 : size;
    const ssize_t got = Uninterrupted([&] { return ::pread(file, piece.data(), wanted, static_cast<off_t>(offset)); });
    if (got != static_cast<ssize_t>(size)) return false;
    if (std::memcmp(piece.data(), known + offset, size) != 0) {
      const std::size_t checked = offset < recordsEnd_ ? std::min<std::size_t>(size, recordsEnd_ - offset) : 0;
      if (std::memcmp(piece.data(), known + offset, checked) != 0) return false;
      std::copy_n(piece.begin(), size, known + offset);
      changedEnd = offset + size;
    }
    offset += size;
  }
  if (changedEnd == 0) return true;
  // What follows are the zeros that were there before.
  ValuesHeader seen = header_;
  seen.fileSize = changedEnd;
  RecordCursor cursor(bytes().substr(0, changedEnd), seen);
  cursor.GoOn(recordsEnd_, nextSequence_);
  CheckRecords(cursor);
  return state_ == End::Whole;
}

bool ValuesFile::Find(std::string_view name, ValueRecord& value) const {
  if (placesAlone_) {
    std::uint64_t position = 0;
    if (!found_.empty()) value = RecordAt(found_, position);
    return !found_.empty() && !value.deletion;
  }
  // The last record of a name wins.
  const std::uint32_t hash = places_.empty() ? 0 : HashOfName(name);
  for (std::size_t i = places_.size(); i > 0; --i) {
    if (places_[i - 1].hash != hash) continue;
    std::uint64_t position = places_[i - 1].offset;
    const ValueRecord record = RecordAt(bytes(), position);
    if (!SameAnsiName(record.name, name)) continue;
    value = record;
    return !record.deletion;
  }
  if (!places_.empty()) return false;
  bool found = false;
  for (std::uint64_t position = kSectorSize; position < recordsEnd_;) {
    const ValueRecord record = RecordAt(bytes(), position);
    if (!SameAnsiName(record.name, name)) continue;
    found = !record.deletion;
    if (found) value = record;
  }
  return found;
}

std::vector<ValueRecord> ValuesFile::Values() const { return ValuesOf(bytes(), recordsEnd_); }

Status SetNote(int file, Note note, bool set) {
  return WriteAt(file, std::string(1, set ? kNoted : '\0'), static_cast<std::uint64_t>(note));
}

void ClearKeyNotSynced(int file) {
  if (!HasOtherName(file)) SetNote(file, Note::KeyNotSynced, false);
}

Status NoteKeyDeleted(int folder, int file) {
  if (HasOtherName(file)) {
    ValuesFile values;
    Status status = values.ReadHeader(file);
    if (status == kSuccess && values.state() == End::Damaged) status = kRegistryCorrupt;
    if (status != kSuccess) return status;
    ValuesHeader header = values.header();
    header.keyDeleted = true;
    return ReplaceBy(folder, file, header, header.firstSequence, {}, Room::None);
  }
  Status status = SetNote(file, Note::KeyDeleted, true);
  if (status == kSuccess) status = SyncFile(file);
  if (status != kSuccess) SetNote(file, Note::KeyDeleted, false);
  return status;
}

Status CreateValuesFile(int folder, const KeyId& id, std::string_view spelling, unsigned mode, Descriptor& file) {
  ValuesHeader header;
  header.id = id;
  header.spelling = spelling;
  header.keyNotSynced = true;
  return WriteNewFile(folder, kValuesFileName, EncodeFile(header, {}, Room::Ample), mode, file);
}

Status ReplaceBy(int folder, int file, ValuesHeader header, std::uint64_t firstSequence,
                 const std::vector<ValueRecord>& values, Room room) {
  header.firstSequence = firstSequence;
  header.roomNotClean = header.keyNotSynced = false;
  header.fileNotSynced = true;
  return ReplaceFile(folder, file, EncodeFile(header, values, room));
}

Status WriteValues(int folder, int file, const ValuesFile& current, const std::vector<ValueRecord>& values,
                   bool deletesOnly) {
  const Status status = ReplaceBy(folder, file, current.header(), current.nextSequence(), values, Room::Ample);
  if (status != kDiskFull || !deletesOnly) return status;
  return ReplaceBy(folder, file, current.header(), current.nextSequence(), values, Room::None);
}

}  // namespace nerio::platform
