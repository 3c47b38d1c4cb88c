#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/hosts/linux/store/key_name.h"
#include "nerio/hosts/linux/store/registry_roots.h"
#include "nerio/hosts/linux/store/stored_key.h"
#include "nerio/hosts/linux/store/values_file.h"
#include "nerio/hosts/portable/text/fold_case.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/registry_system.h"

namespace nerio::tool {
namespace {

using platform::Descriptor;
using platform::KeyFolder;
using platform::kFileNotFound;
using platform::kRegistryCorrupt;
using platform::kSuccess;
using platform::RegistryStatus;
using platform::Status;
using platform::ValueRecord;

// What a damaged values file still holds.
class Salvage {
 public:
  // @param file the whole file; it outlives this.
  explicit Salvage(std::string_view file) : file_(file) {
    platform::Damage damage;
    hasHeader_ = platform::ParseHeader(file_, header_, damage);
    if (!hasHeader_) header_ = {};
    nextSequence_ = header_.firstSequence;
    Collect();
  }

  bool hasHeader() const { return hasHeader_; }
  const platform::ValuesHeader& header() const { return header_; }
  // The number of the first record that comes after those that were found.
  std::uint64_t nextSequence() const { return nextSequence_; }

  // The last record of each name, in the order of the names, but for deletions.
  std::vector<ValueRecord> Values() const {
    std::vector<ValueRecord> values;
    for (const auto& [name, record] : last_) {
      if (!record.deletion) values.push_back(record);
    }
    return values;
  }

 private:
  void Collect() {
    std::uint64_t position = platform::kSectorSize;
    std::uint64_t end = position;  // of the last record whose place is certain
    while (position + platform::kRecordHeadSize <= file_.size()) {
      const std::string_view rest = file_.substr(position);
      ValueRecord record;
      bool finished = false;
      std::uint64_t space = platform::ReadRecord(rest, record, finished);
      if (space != 0 && (position == end || MayFollow(record, position - end))) {
        if (!finished && IsCutOff(position, space)) return;
        Take(record);
      } else if (space == 0) {
        // Where the head is whole, its record is passed over in one step: its data may look like records.
        space = platform::RecordSpace(rest.substr(0, platform::kRecordHeadSize));
        if (space > rest.size()) space = 0;
      } else {
        space = 0;
      }
      position += space != 0 ? space : platform::kRecordAlignment;
      if (space != 0) end = position;
    }
  }

  // Tells whether a record that was come upon after something unreadable is one of this file, and not a part of the data
  // of a record that was lost: no more of them can be missing than had room there. Without a header the first one is
  // believed.
  bool MayFollow(const ValueRecord& record, std::uint64_t gap) const {
    if (!hasHeader_ && last_.empty()) return true;
    return record.sequence >= nextSequence_ && record.sequence - nextSequence_ <= gap / platform::kRecordAlignment;
  }

  // A record whose trailer was not written counts as not written, if it is the last one.
  bool IsCutOff(std::uint64_t position, std::uint64_t space) const {
    if (hasHeader_ && position < header_.settledEnd) return false;
    return file_.find_first_not_of('\0', std::min<std::uint64_t>(position + space, file_.size())) ==
           std::string_view::npos;
  }

  void Take(const ValueRecord& record) {
    nextSequence_ = std::max(nextSequence_, record.sequence + 1);
    const auto [known, isNew] = last_.try_emplace(std::string(record.name), record);
    if (!isNew && record.sequence >= known->second.sequence) known->second = record;
  }

  std::string_view file_;
  platform::ValuesHeader header_;
  bool hasHeader_ = false;
  std::uint64_t nextSequence_ = 1;
  std::map<std::string, ValueRecord, platform::AnsiNameOrder> last_;
};

Status FolderOf(platform::KeyHandle root, const AnsiText& path, KeyFolder& folder, std::string& name) {
  platform::RegistryRoots roots({});
  Status status = roots.Find(root, folder);
  std::vector<std::string_view> names;
  if (status == kSuccess) status = platform::SplitKeyPath(path.bytes(), names);
  if (status != kSuccess) return status;
  for (const std::string_view level : names) folder.Enter(platform::FolderNameOfKey(level));
  name = names.empty() ? folder.Name() : std::string(names.back());
  return kSuccess;
}

Status ReadBytes(int file, std::string& bytes) {
  struct stat entry {};
  if (::fstat(file, &entry) != 0) return RegistryStatus(errno);
  if (!S_ISREG(entry.st_mode)) return kRegistryCorrupt;
  bytes.resize(std::min(static_cast<std::uint64_t>(entry.st_size), platform::kMaxFileSize));
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t got = platform::Uninterrupted(
        [&] { return ::pread(file, bytes.data() + at, bytes.size() - at, static_cast<off_t>(at)); });
    if (got < 0) return RegistryStatus(errno);
    if (got == 0) bytes.resize(at);
    at += static_cast<std::size_t>(got);
  }
  return kSuccess;
}

// Gives the values file a second name that no call sees, and that stays when another file takes its place.
Status Keep(int folder, std::string& name) {
  platform::KeyId number{};
  const Status status = platform::MakeKeyId(number);
  if (status != kSuccess) return status;
  constexpr char kDigits[] = "0123456789abcdef";
  name = platform::kLeftoverPrefix;
  for (const std::uint8_t byte : number) name += {kDigits[byte >> 4], kDigits[byte & 0xF]};
  return platform::StatusOf([&] { return ::linkat(folder, platform::kValuesFileName, folder, name.c_str(), 0); });
}

// Puts a file with these values in the place of the damaged one, which may be missing.
Status Replace(const KeyFolder& key, int folder, int file, const Salvage& salvage, platform::ValuesHeader header,
               RepairedKey& repaired) {
  std::string kept;
  Status status = file >= 0 ? Keep(folder, kept) : kSuccess;
  if (status != kSuccess) return status;
  header.firstSequence = salvage.nextSequence();
  platform::ValuesFile current;
  current.MakeEmpty(header);
  const std::vector<ValueRecord> values = salvage.Values();
  status = platform::WriteValues(folder, file, current, values, false);
  if (status != kSuccess) {
    if (file >= 0) ::unlinkat(folder, kept.c_str(), 0);
    return status;
  }
  repaired.isRepaired = true;
  repaired.values = values.size();
  if (file >= 0) repaired.kept = ToUtf8(FromUtf8(key.File(kept.c_str())));
  return kSuccess;
}

// Repairs a key whose lock is held.
Status RepairLocked(const KeyFolder& key, const std::string& name, int folder, RepairedKey& repaired) {
  Descriptor file;
  platform::ValuesFile values;
  std::string bytes;
  Status status = platform::OpenInside(folder, platform::kValuesFileName, O_RDWR, file);
  if (status == kSuccess) {
    status = values.Read(file.get());
    // Somebody else has been here first.
    if (status == kSuccess && values.state() != platform::RecordCursor::End::Damaged) return kSuccess;
    if (status == kSuccess) status = ReadBytes(file.get(), bytes);
    repaired.offset = values.damage().offset;
    repaired.what = values.damage().what != nullptr ? values.damage().what : "";
    repaired.otherVersion = values.damage().otherVersion;
    if (repaired.otherVersion) return status;
  } else if (status == kFileNotFound) {
    status = kSuccess;
    repaired.what = "the file is missing";
  }
  if (status != kSuccess) return status;
  const Salvage salvage(bytes);
  platform::ValuesHeader header = salvage.header();
  if (header.keyDeleted) return kFileNotFound;
  if (!salvage.hasHeader()) {
    header.spelling = name;
    status = platform::MakeKeyId(header.id);
  }
  // What is about to be written would be lost with the key.
  if (status == kSuccess) status = platform::SettleKey(folder);
  return status == kSuccess ? Replace(key, folder, file.get(), salvage, header, repaired) : status;
}

}  // namespace

const char* const kNothingToRepair = "it is in order, there is nothing to repair";

Status RepairKey(platform::KeyHandle root, const AnsiText& path, RepairedKey& repaired) {
  KeyFolder key;
  std::string name;
  Status status = FolderOf(root, path, key, name);
  platform::ValuesFile values;
  if (status == kSuccess) status = platform::ReadKey(key, platform::Extent::Whole, values);
  if (status != kRegistryCorrupt) return status;
  repaired.place = ToUtf8(FromUtf8(key.File(platform::kValuesFileName)));
  platform::LockedKey locked;
  status = platform::LockKey(key, O_PATH, platform::Deadline(platform::kChangeLimit), locked);
  if (status != kSuccess) return status;
  platform::RemoveLeftovers(locked);
  return RepairLocked(key, name, locked.folder.get(), repaired);
}

}  // namespace nerio::tool
