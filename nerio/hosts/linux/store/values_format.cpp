#include "nerio/hosts/linux/store/values_format.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <optional>

#include "nerio/hosts/linux/store/crc32c.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

constexpr std::string_view kMagic = "NerioKey";
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeaderCrcOffset = 12;
constexpr std::size_t kSpellingOffset = 60;
constexpr std::size_t kNotesOffset = static_cast<std::size_t>(Note::KeyDeleted);

constexpr std::uint16_t kValueKind = 1;
constexpr std::uint16_t kDeletionKind = 2;
constexpr std::size_t kCrcSize = 4;
constexpr char kTrailer = '\xA5';

template <typename Integer>
void Put(std::string& out, Integer value) {
  for (std::size_t i = 0; i < sizeof value; ++i) out += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
}

template <typename Integer>
Integer Get(std::string_view bytes, std::size_t offset) {
  // The compiler makes no single load of the loop below.
  if constexpr (std::endian::native == std::endian::little) {
    Integer whole;
    std::memcpy(&whole, bytes.data() + offset, sizeof whole);
    return whole;
  }
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < sizeof(Integer); ++i) {
    value |= std::uint64_t{static_cast<unsigned char>(bytes[offset + i])} << (8 * i);
  }
  return static_cast<Integer>(value);
}

bool AllZero(std::string_view bytes) {
  return bytes.empty() || (bytes[0] == '\0' && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

std::uint64_t RoundUp(std::uint64_t value, std::uint64_t unit) { return (value + unit - 1) / unit * unit; }

std::uint64_t RecordLength(std::size_t nameLength, std::size_t dataLength) {
  return std::uint64_t{kRecordHeadSize} + nameLength + dataLength + kCrcSize + sizeof kTrailer;
}

struct RecordHead {
  std::uint16_t kind;
  std::uint16_t nameLength;
  std::uint32_t type;
  std::uint32_t dataLength;
  std::uint64_t sequence;
};

std::optional<RecordHead> ParseHead(std::string_view head) {
  if (Get<std::uint32_t>(head, 0) != Crc32c(head.substr(kCrcSize))) return std::nullopt;
  return RecordHead{Get<std::uint16_t>(head, 4), Get<std::uint16_t>(head, 6), Get<std::uint32_t>(head, 8),
                    Get<std::uint32_t>(head, 12), Get<std::uint64_t>(head, 16)};
}

// @param checked the record up to its second checksum.
void Fill(const RecordHead& head, std::string_view checked, ValueRecord& record) {
  record.sequence = head.sequence;
  record.deletion = head.kind == kDeletionKind;
  record.type = head.type;
  record.name = checked.substr(kRecordHeadSize, head.nameLength);
  record.data = checked.substr(kRecordHeadSize + head.nameLength);
}

std::uint32_t HeaderCrc(std::string_view sector) {
  const std::uint32_t before = Crc32c(sector.substr(0, kHeaderCrcOffset));
  const std::size_t rest = kHeaderCrcOffset + kCrcSize;
  // The notes count as zeros.
  const std::uint32_t content = Crc32c(sector.substr(rest, kNotesOffset - rest), before);
  return Crc32c(std::string(kSectorSize - kNotesOffset, '\0'), content);
}

// @return false when the byte is neither set nor cleared.
bool ParseNote(std::string_view sector, Note note, bool& noted) {
  const char byte = sector[static_cast<std::size_t>(note)];
  noted = byte == kNoted;
  return noted || byte == '\0';
}

}  // namespace

std::string EncodeHeader(const ValuesHeader& header) {
  std::string sector(kMagic);
  Put(sector, kVersion);
  Put(sector, std::uint32_t{0});
  sector.append(reinterpret_cast<const char*>(header.id.data()), header.id.size());
  Put(sector, header.fileSize);
  Put(sector, header.settledEnd);
  Put(sector, header.firstSequence);
  Put(sector, static_cast<std::uint32_t>(header.spelling.size()));
  sector += header.spelling;
  sector.resize(kSectorSize);
  std::string crc;
  Put(crc, HeaderCrc(sector));
  sector.replace(kHeaderCrcOffset, kCrcSize, crc);
  if (header.keyDeleted) sector[static_cast<std::size_t>(Note::KeyDeleted)] = kNoted;
  if (header.roomNotClean) sector[static_cast<std::size_t>(Note::RoomNotClean)] = kNoted;
  if (header.keyNotSynced) sector[static_cast<std::size_t>(Note::KeyNotSynced)] = kNoted;
  if (header.fileNotSynced) sector[static_cast<std::size_t>(Note::FileNotSynced)] = kNoted;
  return sector;
}

bool ParseHeader(std::string_view start, ValuesHeader& header, Damage& damage) {
  const auto damaged = [&damage](std::uint64_t offset, const char* what) {
    damage = {offset, what, false};
    return false;
  };
  if (start.size() < kSectorSize) return damaged(start.size(), "the file ends inside its header");
  if (!start.starts_with(kMagic)) return damaged(0, "not the beginning of a values file");
  if (Get<std::uint32_t>(start, kHeaderCrcOffset) != HeaderCrc(start)) {
    return damaged(kHeaderCrcOffset, "the header's checksum is wrong");
  }
  // What follows can only be the work of another program: the checksum is right.
  if (Get<std::uint32_t>(start, kMagic.size()) != kVersion) {
    damage = {kMagic.size(), "not of version 1; a later Nerio may have written it, and reads it", true};
    return false;
  }
  std::memcpy(header.id.data(), start.data() + 16, header.id.size());
  header.fileSize = Get<std::uint64_t>(start, 32);
  header.settledEnd = Get<std::uint64_t>(start, 40);
  header.firstSequence = Get<std::uint64_t>(start, 48);
  const auto spellingLength = Get<std::uint32_t>(start, 56);
  if (header.fileSize == 0 || header.fileSize % kPageSize != 0 || header.fileSize > kMaxFileSize) {
    return damaged(32, "the file's length is impossible");
  }
  if (header.settledEnd < kSectorSize || header.settledEnd > header.fileSize ||
      header.settledEnd % kRecordAlignment != 0) {
    return damaged(40, "the end of the first records is impossible");
  }
  if (spellingLength > kMaxKeyNameLength) return damaged(56, "the key's name is too long");
  header.spelling = start.substr(kSpellingOffset, spellingLength);
  const bool notesCheck = ParseNote(start, Note::KeyDeleted, header.keyDeleted) &&
                          ParseNote(start, Note::RoomNotClean, header.roomNotClean) &&
                          ParseNote(start, Note::KeyNotSynced, header.keyNotSynced) &&
                          ParseNote(start, Note::FileNotSynced, header.fileNotSynced);
  return notesCheck || damaged(kNotesOffset, "a note of the header is neither set nor cleared");
}

std::uint64_t RecordSpace(std::size_t nameLength, std::size_t dataLength) {
  return RoundUp(RecordLength(nameLength, dataLength), kRecordAlignment);
}

std::uint64_t RecordSpace(std::string_view head) {
  const auto parsed = ParseHead(head);
  return parsed ? RecordSpace(parsed->nameLength, parsed->dataLength) : 0;
}

std::uint64_t ReadRecord(std::string_view bytes, ValueRecord& record, bool& isFinished) {
  if (bytes.size() < kRecordHeadSize) return 0;
  const auto head = ParseHead(bytes.substr(0, kRecordHeadSize));
  if (!head || (head->kind != kValueKind && head->kind != kDeletionKind)) return 0;
  const std::uint64_t length = RecordLength(head->nameLength, head->dataLength);
  if (head->nameLength > kMaxValueNameLength || length > bytes.size()) return 0;
  const std::string_view checked = bytes.substr(0, length - kCrcSize - sizeof kTrailer);
  if (Get<std::uint32_t>(bytes, checked.size()) != Crc32c(checked)) return 0;
  isFinished = bytes[length - 1] != '\0';
  Fill(*head, checked, record);
  return RecordSpace(head->nameLength, head->dataLength);
}

void AppendRecord(std::string& out, const ValueRecord& record) {
  const std::size_t start = out.size();
  std::string head;
  Put(head, record.deletion ? kDeletionKind : kValueKind);
  Put(head, static_cast<std::uint16_t>(record.name.size()));
  Put(head, record.type);
  Put(head, static_cast<std::uint32_t>(record.data.size()));
  Put(head, record.sequence);
  Put(out, Crc32c(head));
  out += head;
  out += record.name;
  out += record.data;
  Put(out, Crc32c(std::string_view(out).substr(start)));
  out += kTrailer;
  out.resize(start + RecordSpace(record.name.size(), record.data.size()));
}

bool HoldsZeroSector(std::uint64_t offset, std::string_view record) {
  for (std::uint64_t sector = RoundUp(offset, kSectorSize); sector + kSectorSize <= offset + record.size();
       sector += kSectorSize) {
    if (AllZero(record.substr(sector - offset, kSectorSize))) return true;
  }
  return false;
}

std::uint64_t SpaceOf(const std::vector<ValueRecord>& records) {
  std::uint64_t space = 0;
  for (const ValueRecord& record : records) space += RecordSpace(record.name.size(), record.data.size());
  return space;
}

std::uint64_t FileSizeFor(std::uint64_t space, Room room) {
  const std::uint64_t zeros = room == Room::Ample ? std::clamp(space, kMinRoom, kMaxRoom) : 0;
  return RoundUp(kSectorSize + space + zeros, kPageSize);
}

std::string EncodeFile(ValuesHeader header, const std::vector<ValueRecord>& records, Room room) {
  const std::uint64_t space = SpaceOf(records);
  header.settledEnd = kSectorSize + space;
  header.fileSize = FileSizeFor(space, room);
  if (header.fileSize > kMaxFileSize) throw std::bad_alloc();
  std::string bytes = EncodeHeader(header);
  bytes.reserve(header.fileSize);
  std::uint64_t sequence = header.firstSequence;
  for (ValueRecord record : records) {
    record.sequence = sequence++;
    AppendRecord(bytes, record);
  }
  bytes.resize(header.fileSize);
  return bytes;
}

ValueRecord RecordAt(std::string_view file, std::uint64_t& position) {
  const std::string_view bytes = file.substr(position);
  const auto nameLength = Get<std::uint16_t>(bytes, 6);
  const auto dataLength = Get<std::uint32_t>(bytes, 12);
  position += RecordSpace(nameLength, dataLength);
  return {.sequence = Get<std::uint64_t>(bytes, 16),
          .deletion = Get<std::uint16_t>(bytes, 4) == kDeletionKind,
          .type = Get<std::uint32_t>(bytes, 8),
          .name = bytes.substr(kRecordHeadSize, nameLength),
          .data = bytes.substr(kRecordHeadSize + nameLength, dataLength)};
}

std::vector<ValueRecord> ValuesOf(std::string_view file, std::uint64_t end) {
  std::vector<ValueRecord> values;
  for (std::uint64_t position = kSectorSize; position < end;) values.push_back(RecordAt(file, position));
  const auto isBefore = [order = AnsiNameOrder()](const ValueRecord& left, const ValueRecord& right) {
    return order(left.name, right.name);
  };
  // A file that was just written as a whole has them in this order.
  if (!std::is_sorted(values.begin(), values.end(), isBefore)) {
    std::stable_sort(values.begin(), values.end(), isBefore);
  }
  // The last record of a name wins.
  std::size_t kept = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const bool isLast = i + 1 == values.size() || isBefore(values[i], values[i + 1]);
    if (isLast && !values[i].deletion) values[kept++] = values[i];
  }
  values.resize(kept);
  return values;
}

RecordCursor::RecordCursor(std::string_view file, const ValuesHeader& header)
    : file_(file), settledEnd_(header.settledEnd), nextSequence_(header.firstSequence) {
  if (file.size() == header.fileSize) return;
  Stop(file.size() < header.fileSize ? "the file is shorter than its header says"
                                     : "the file is longer than its header says");
  damage_.offset = std::min<std::uint64_t>(file.size(), header.fileSize);
}

bool RecordCursor::Stop(const char* what) {
  end_ = End::Damaged;
  damage_ = {position_, what};
  return false;
}

// A record that does not check was cut off, if it may be and nothing follows it.
bool RecordCursor::StopIncomplete(std::uint64_t recordEnd, const char* what) {
  if (position_ < settledEnd_ || !AllZero(file_.substr(recordEnd))) return Stop(what);
  end_ = End::Incomplete;
  return false;
}

// After the last record there are zeros. Where something follows them, either the first sector of an incomplete record
// never reached the disk, or records were lost in the middle.
bool RecordCursor::StopAtZeroHead() {
  if (position_ < settledEnd_) return Stop("zeros where a record belongs");
  const std::string_view rest = file_.substr(position_);
  if (AllZero(rest)) return false;
  const std::uint64_t nextSector = RoundUp(position_ + 1, kSectorSize);
  if (!AllZero(file_.substr(position_, nextSector - position_))) return Stop("no record begins here");
  for (std::uint64_t offset = nextSector; offset < file_.size(); offset += kRecordAlignment) {
    const auto head = ParseHead(file_.substr(offset, kRecordHeadSize));
    if (head && head->kind != 0 && head->sequence > nextSequence_) return Stop("zeros before the last record");
  }
  end_ = End::Incomplete;
  return false;
}

bool RecordCursor::Next(ValueRecord& record) {
  if (end_ != End::Whole || position_ >= file_.size()) return false;
  const std::string_view headBytes = file_.substr(position_, kRecordHeadSize);
  if (AllZero(headBytes)) return StopAtZeroHead();
  const auto head = ParseHead(headBytes);
  if (!head) return StopIncomplete(position_ + kRecordHeadSize, "a record's head does not check");
  if (head->kind != kValueKind && head->kind != kDeletionKind) return Stop("unknown kind of record");
  if (head->nameLength > kMaxValueNameLength) return Stop("a value's name is too long");

  const std::uint64_t length = RecordLength(head->nameLength, head->dataLength);
  if (length > file_.size() - position_) return Stop("a record is longer than the file");
  const std::string_view bytes = file_.substr(position_, length);
  const std::string_view checked = bytes.substr(0, length - kCrcSize - sizeof kTrailer);
  const std::uint64_t next = position_ + RecordSpace(head->nameLength, head->dataLength);
  if (bytes.back() != kTrailer || Get<std::uint32_t>(bytes, checked.size()) != Crc32c(checked)) {
    constexpr const char* kWhat = "a record's checksum is wrong";
    const bool cutOff = bytes.back() == '\0' || HoldsZeroSector(position_, bytes);
    return cutOff ? StopIncomplete(position_ + length, kWhat) : Stop(kWhat);
  }
  if (!AllZero(file_.substr(position_ + length, next - position_ - length))) return Stop("no zeros behind a record");
  if (head->sequence != nextSequence_) return Stop("a record is missing or out of order");
  if (position_ < settledEnd_ && next > settledEnd_) return Stop("the first records end elsewhere");

  Fill(*head, checked, record);
  position_ = next;
  ++nextSequence_;
  return true;
}

}  // namespace nerio::platform
