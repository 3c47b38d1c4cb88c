#pragma once

#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/hosts/linux/store/crc32c.h"
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
  /// checked again, and `Find` takes a time that hardly grows with the number of values.
  Status ReadAgain(int file);

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

  /// Finds the value called `name`, whatever its case. @return false when there is none.
  bool Find(std::string_view name, ValueRecord& value) const;

  /// Returns the values in the order of their folded names. They are views of this object.
  std::vector<ValueRecord> Values() const;

 private:
  std::string_view bytes() const { return {large_ ? large_.get() : small_.data(), size_}; }
  Status ReadBytes(int file, std::size_t wanted);
  Status ReadStart(int file, std::size_t wanted);
  Status ReadRest(int file);
  Status ReadWithHoles(int file);
  bool ReadChanges(int file);
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

  /// Where the records of a name may be.
  struct Place {
    std::uint32_t hash;
    std::uint32_t offset;
  };
  /// Of the records up to `indexedEnd_`.
  std::vector<Place> places_;
  std::uint64_t indexedEnd_ = kSectorSize;
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

/// Replaces a key's values by these: a durable change that happens as a whole or not at all. Arguments as for
/// `WriteRecord`.
/// @param values in the order of their folded names; their sequences are chosen here.
/// @param deletesOnly on a full disk the new file may have no room for further records then.
Status WriteValues(int folder, int file, const ValuesFile& current, const std::vector<ValueRecord>& values,
                   bool deletesOnly);

/// Adds a record to a key's values: a durable change that happens as a whole or not at all. On failure the values are
/// the old ones, or the new ones if only the last sync failed.
///
/// The record is written into the zeros at the end of the file. Where they do not suffice, where the record cannot be
/// told from an incomplete one, where an incomplete one or one that was taken back is in the way, where the file has a
/// second name (a hard link), or where a writer was killed before it had made the file's name durable, the file is replaced by a new one that holds what is left of the
/// values and the record. So is, after the change, a file that is much longer than what is left in it; where that fails,
/// the change counts nevertheless. For a deletion on a full disk the new file may have no room for further records.
/// @param folder the key's folder; the caller holds its lock for writing.
/// @param file the values file, open for reading and writing, and `current`, what was read from it since the lock was
/// granted; not damaged. When `file` is negative, the folder has no values file yet and `current` is an empty one.
/// @param change its sequence is chosen here.
Status WriteRecord(int folder, int file, const ValuesFile& current, ValueRecord change);

}  // namespace nerio::platform
