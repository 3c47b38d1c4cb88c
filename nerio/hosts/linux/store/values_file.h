#pragma once

#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/hosts/linux/store/crc32c.h"
#include "nerio/hosts/linux/store/file_stamp.h"
#include "nerio/hosts/linux/store/system_call.h"
#include "nerio/hosts/linux/store/values_format.h"
#include "nerio/platform/status.h"

namespace nerio::platform {

/// A values file as it was read: the bytes, its header, and whether it is in order.
class ValuesFile {
 public:
  ValuesFile() = default;
  ValuesFile(const ValuesFile&) = delete;
  ValuesFile& operator=(const ValuesFile&) = delete;

  /// Reads an open file from its start. What does not check is no failure of the call: `state` tells it.
  /// @return 0, or the reason why the file cannot be read: 8, 1015 (not an ordinary file), 1016.
  Status Read(int file);

  /// Reads an open file as `Read` does, when it may well be the one that was read last: what is still the same is not
  /// checked again, and `Find` takes a time that hardly grows with the number of values. Of a file whose places alone are
  /// kept, and which is still unchanged, only what `Find` has to know of `name` is read.
  Status ReadAgain(int file, std::string_view name);

  /// Notes that a record was added to the file that was read last by `ReadAgain`, and is durable. Of a large file that is
  /// still the one in its place only the places of the records are kept then: the file's stamp tells whether they hold.
  void NoteAdded(int file, const ValueRecord& added) noexcept;

  /// Reads the header alone, so that `header`, and `damage` where `state` is `Damaged`, are all that is known.
  Status ReadHeader(int file);

  /// Becomes the values file of a key that has none yet: no values, and in order.
  void MakeEmpty(const ValuesHeader& header);

  RecordCursor::End state() const { return state_; }
  /// What does not check; for a file whose `state` is `Incomplete`, the offset is where the incomplete record begins.
  const Damage& damage() const { return damage_; }
  const ValuesHeader& header() const { return header_; }

  /// Where the next record belongs.
  std::uint64_t recordsEnd() const { return recordsEnd_; }
  std::uint64_t nextSequence() const { return nextSequence_; }
  /// How many records were added since the file was written as a whole.
  std::uint64_t addedRecords() const { return addedRecords_; }

  /// Returns a checksum of the bytes that were read.
  std::uint32_t Checksum() const { return Crc32c(bytes()); }

  /// Tells whether the values were read, and not just what `ReadAgain` needs.
  bool hasValues() const { return !placesAlone_; }
  /// Returns how many bytes of memory the object keeps beside itself.
  std::size_t Memory() const { return (large_ ? size_ : 0) + places_.capacity() * sizeof(Place); }
  /// Returns the space of the largest record.
  std::uint64_t largestRecord() const { return largestRecord_; }

  /// Finds the value called `name`, whatever its case; without `hasValues` only the one that `ReadAgain` was asked for,
  /// and no data. @return false when there is none.
  bool Find(std::string_view name, ValueRecord& value) const;

  /// Returns the values in the order of their folded names. They are views of this object. Only with `hasValues`.
  std::vector<ValueRecord> Values() const;

 private:
  std::string_view bytes() const { return {large_ ? large_.get() : small_.data(), size_}; }
  Status ReadBytes(int file, std::size_t wanted);
  Status ReadStart(int file, std::size_t wanted);
  Status ReadRest(int file);
  Status ReadWithHoles(int file);
  bool ReadChanges(int file);
  bool IsUnchanged(int file) const;
  bool ReadRecordOf(int file, std::string_view name);
  void CheckRecords(RecordCursor& cursor);
  void Forget();

  // Most values files are one page; a byte more tells a longer one.
  std::array<char, kPageSize + 1> small_;
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };
  std::unique_ptr<char[], Free> large_;
  std::size_t size_ = 0;
  /// How many of the zeros at the end of the file were not read into the buffer.
  std::uint64_t leftOut_ = 0;
  ValuesHeader header_;
  RecordCursor::End state_ = RecordCursor::End::Damaged;
  Damage damage_;
  std::uint64_t recordsEnd_ = kSectorSize;
  std::uint64_t nextSequence_ = 1;
  std::uint64_t addedRecords_ = 0;
  std::uint64_t largestRecord_ = 0;

  /// Where the records of a name may be.
  struct Place {
    std::uint32_t hash;
    std::uint32_t offset;
  };
  /// Of the records up to `indexedEnd_`.
  std::vector<Place> places_;
  std::uint64_t indexedEnd_ = kSectorSize;
  /// Whether the bytes are not kept. Then the file is the one of this stamp, and the last record of the name that
  /// `ReadAgain` was asked for begins with these bytes; none when there is no record.
  bool placesAlone_ = false;
  FileStamp stamp_;
  std::string found_;
};

/// Sets or clears a note in the header of an open values file, where that can be done. A note that stays set costs the
/// next writer time, nothing else.
Status SetNote(int file, Note note, bool set);

/// Clears the note that a key's entry is not synced, unless the file has a second name.
void ClearKeyNotSynced(int file);

/// Notes in an open values file, durably, that its key is deleted. A file that has a second name is replaced by one
/// without values. @param folder the key's folder; the caller holds its lock for writing.
Status NoteKeyDeleted(int folder, int file);

/// Writes the values file of a new key, which notes that the key's entry is not synced. Neither its content nor its name
/// in the folder is durable yet.
/// @param mode of the file, regardless of the umask.
/// @param[out] file open for writing, to be synced.
Status CreateValuesFile(int folder, const KeyId& id, std::string_view spelling, unsigned mode, Descriptor& file);

/// Replaces a key's values file, durably, by one with these values.
/// @param folder the key's folder; the caller holds its lock for writing.
/// @param file the present values file; negative when there is none yet.
/// @param header of the present file. @param values their sequences are chosen here, from `firstSequence` on.
Status ReplaceBy(int folder, int file, ValuesHeader header, std::uint64_t firstSequence,
                 const std::vector<ValueRecord>& values, Room room);

/// Replaces a key's values by these: a durable change that happens as a whole or not at all. Other arguments as for
/// `ReplaceBy`.
/// @param current what was read from the file since the lock was granted; not damaged.
/// @param values in the order of their folded names.
/// @param deletesOnly on a full disk the new file may have no room for further records then.
Status WriteValues(int folder, int file, const ValuesFile& current, const std::vector<ValueRecord>& values,
                   bool deletesOnly);

}  // namespace nerio::platform
