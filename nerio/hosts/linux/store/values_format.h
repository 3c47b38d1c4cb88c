#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nerio::platform {

/// Tells a key from every other one, also from a later one of the same name. Random, never changed.
using KeyId = std::array<std::uint8_t, 16>;

// The bytes of a values file, as docs/registry-format.md describes them: a header of one sector, records one after the
// other, zeros up to the end of the last page. Nothing here does any I/O.

/// A disk writes this many bytes whole or not at all.
constexpr std::size_t kSectorSize = 512;
/// The length of a file is a multiple of this.
constexpr std::size_t kPageSize = 4096;
/// Records begin at multiples of this many bytes, so that no record's head lies in two sectors.
constexpr std::size_t kRecordAlignment = 32;
constexpr std::size_t kRecordHeadSize = 24;
/// A longer file is never written, and counts as damaged. The system reads and writes at least this many bytes in one
/// call.
constexpr std::uint64_t kMaxFileSize = std::uint64_t{1} << 30;

/// A byte at the end of the header that is changed in place. But for the first one no note needs to be durable: after a
/// power cut what is there lies on the disk.
enum class Note : std::size_t {
  /// The key is deleted: its folder could not be moved out of the way. This one is synced.
  KeyDeleted = 508,
  /// What follows the records may not be zeros on the disk: a record that could not be made durable was taken back.
  RoomNotClean = 509,
  /// The entry of the key's folder in the folder above may not be durable.
  KeyNotSynced = 510,
  /// The entry of the file in the key's folder may not be durable.
  FileNotSynced = 511,
};
constexpr char kNoted = '\xA5';

struct ValuesHeader {
  KeyId id{};
  /// The exact length of the file: it never grows or shrinks in place.
  std::uint64_t fileSize = 0;
  /// Where the records end that were in the file from its first moment. Only after it can a record be incomplete.
  std::uint64_t settledEnd = kSectorSize;
  /// The number of the file's first record. Numbers go on from file to file.
  std::uint64_t firstSequence = 1;
  /// The key's name as its creator spelt it, in the ANSI code page; at most 256 bytes.
  std::string spelling;
  bool keyDeleted = false;
  bool roomNotClean = false;
  bool keyNotSynced = false;
  bool fileNotSynced = false;
};

struct ValueRecord {
  /// Counts the records of a key, one by one.
  std::uint64_t sequence = 0;
  bool deletion = false;
  std::uint32_t type = 0;
  std::string_view name;
  std::string_view data;
};

/// Says what does not check.
struct Damage {
  std::uint64_t offset = 0;
  const char* what = nullptr;
  bool otherVersion = false;  ///< nothing is wrong but that the file is of a version that is not read here
};

/// Returns the header's `kSectorSize` bytes.
std::string EncodeHeader(const ValuesHeader& header);

/// Reads a header. @param start at least the first sector of a file, or the whole of a shorter one.
/// @return false when it does not check; `damage` then says why.
bool ParseHeader(std::string_view start, ValuesHeader& header, Damage& damage);

/// Returns the bytes that a record takes in a file, the zeros up to the next record included.
std::uint64_t RecordSpace(std::size_t nameLength, std::size_t dataLength);

/// The same for the record whose head this is; 0 when the head does not check. @param head `kRecordHeadSize` bytes.
std::uint64_t RecordSpace(std::string_view head);

/// Reads the record that begins here, if both of its checksums are right; what comes after them does not matter.
/// @param bytes from the record on.
/// @param[out] isFinished whether its trailer was written, right or damaged: without one its writing was cut off.
/// @return the bytes that it takes in a file; 0 when there is none.
std::uint64_t ReadRecord(std::string_view bytes, ValueRecord& record, bool& isFinished);

/// Appends a record to `out`, with the zeros up to the next record.
void AppendRecord(std::string& out, const ValueRecord& record);

/// Tells whether a record that is written at `offset` would fill a whole sector with zeros. Such a record cannot be
/// told from an incomplete one, so it is never written in place.
bool HoldsZeroSector(std::uint64_t offset, std::string_view record);

/// Zeros after the records of a file that is written as a whole: as much again as its records, so that it is written
/// again only when it has grown to twice its live content; not less than most keys ever need, not more than is worth
/// reserving.
constexpr std::uint64_t kMinRoom = 2048;
constexpr std::uint64_t kMaxRoom = std::uint64_t{1} << 20;

/// Whether a new file has these zeros.
enum class Room { Ample, None };

/// Returns the bytes that records take in a file.
std::uint64_t SpaceOf(const std::vector<ValueRecord>& records);

/// Returns the length of a new file whose records take so much space.
std::uint64_t FileSizeFor(std::uint64_t space, Room room);

/// Returns the whole content of a file with these records, which are numbered from `header.firstSequence` on.
/// @throws std::bad_alloc when it would be longer than a file can be.
std::string EncodeFile(ValuesHeader header, const std::vector<ValueRecord>& records, Room room);

/// Reads a record of a file that a cursor has found in order, without checking it again.
/// @param[in,out] position where the record begins; then where the next one does.
ValueRecord RecordAt(std::string_view file, std::uint64_t& position);

/// Reads the values that records leave, in the order of their folded names: the last record of a name wins.
/// @param file one whose records were found in order. @param end where the records end.
std::vector<ValueRecord> ValuesOf(std::string_view file, std::uint64_t end);

/// Goes through the records of a values file.
class RecordCursor {
 public:
  enum class End {
    /// The file is in order.
    Whole,
    /// After the last record there is one whose writing was cut off, or is under way. It counts as not written.
    Incomplete,
    Damaged,
  };

  /// @param file the whole file; it outlives the cursor and the records that it gives.
  /// @param header what `ParseHeader` made of it.
  RecordCursor(std::string_view file, const ValuesHeader& header);

  /// Goes on where another cursor stopped, whose file began in the same way.
  void GoOn(std::uint64_t position, std::uint64_t nextSequence) {
    position_ = position;
    nextSequence_ = nextSequence;
  }

  /// Gives the next record. @return false after the last one: `end` then says how the file ends.
  bool Next(ValueRecord& record);

  End end() const { return end_; }
  const Damage& damage() const { return damage_; }
  /// Where the next record would begin.
  std::uint64_t position() const { return position_; }
  /// The number that the next record would have.
  std::uint64_t nextSequence() const { return nextSequence_; }

 private:
  bool Stop(const char* what);
  bool StopIncomplete(std::uint64_t recordEnd, const char* what);
  bool StopAtZeroHead();

  std::string_view file_;
  std::uint64_t settledEnd_;
  std::uint64_t position_ = kSectorSize;
  std::uint64_t nextSequence_;
  End end_ = End::Whole;
  Damage damage_;
};

}  // namespace nerio::platform
