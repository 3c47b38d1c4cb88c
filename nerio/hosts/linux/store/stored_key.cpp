#include "nerio/hosts/linux/store/stored_key.h"

#include <fcntl.h>

#include <cerrno>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/hosts/linux/store/key_name.h"

namespace nerio::platform {
namespace {

using End = RecordCursor::End;

Status ReadExtent(int file, Extent extent, ValuesFile& values) {
  return extent == Extent::Header ? values.ReadHeader(file) : values.Read(file);
}

Status Verdict(const ValuesFile& values) { return values.state() == End::Damaged ? kRegistryCorrupt : kSuccess; }

bool IsSameKey(const HandleTarget& key, const ValuesFile& values) {
  return key.folder.isRoot() || values.header().id == key.id;
}

// A key that is open for writing: its lock is held.
struct WritableKey {
  LockedKey locked;
  Descriptor file;
  ValuesFile values;
};

Status OpenForWriting(const HandleTarget& key, WritableKey& writable) {
  Status status = LockKey(key.folder, LockKind::Write, O_PATH, writable.locked);
  if (status != kSuccess) return status == kFileNotFound ? kKeyDeleted : status;
  RemoveLeftovers(writable.locked);
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
  status = writable.values.Read(writable.file.get());
  if (status == kSuccess) status = Verdict(writable.values);
  if (status == kSuccess && !IsSameKey(key, writable.values)) status = kKeyDeleted;
  // What is about to be acknowledged would be lost with the key.
  if (status == kSuccess && writable.values.header().keyNotSynced) status = SettleKey(writable.locked.folder.get());
  return status;
}

// The number of the change is chosen when it is written.
Status Write(const WritableKey& writable, const ValueRecord& change) {
  return WriteRecord(writable.locked.folder.get(), writable.file.get(), writable.values, change);
}

}  // namespace

Status ReadKey(const KeyFolder& key, Extent extent, ValuesFile& values) {
  Descriptor file;
  Status seen = OpenByPath(key.File(kValuesFileName), O_RDONLY, file);
  if (seen == kSuccess) seen = ReadExtent(file.get(), extent, values);
  if (seen == kSuccess && values.state() == End::Whole) return kSuccess;
  if (seen != kSuccess && seen != kFileNotFound) return seen;

  LockedKey locked;
  const Status status = LockKey(key, LockKind::Read, O_PATH, locked);
  if (status == kFileNotFound) return status;
  if (status == kSuccess) {
    seen = OpenInside(locked.folder.get(), kValuesFileName, O_RDONLY, file);
    if (seen == kSuccess) seen = ReadExtent(file.get(), extent, values);
  }
  // Who cannot take the lock relies on what can be read without it. A root that was made by hand has none yet.
  if (seen == kSuccess) return Verdict(values);
  if (seen != kFileNotFound) return seen;
  if (key.isRoot() && (status == kSuccess || status == kAccessDenied || status == kRegistryCorrupt)) {
    values.MakeEmpty({});
    return kSuccess;
  }
  return status == kSuccess ? kRegistryCorrupt : status;
}

Status ReadKey(const HandleTarget& key, Extent extent, ValuesFile& values) {
  const Status status = ReadKey(key.folder, extent, values);
  if (status == kFileNotFound) return kKeyDeleted;
  return status == kSuccess && !IsSameKey(key, values) ? kKeyDeleted : status;
}

Status StoreValue(const HandleTarget& key, std::string_view name, std::uint32_t type, std::string_view data) {
  if (data.size() > kMaxFileSize) return kNotEnoughMemory;
  WritableKey writable;
  const Status status = OpenForWriting(key, writable);
  if (status != kSuccess) return status;
  ValueRecord present;
  if (writable.values.Find(name, present)) name = present.name;
  return Write(writable, {.sequence = 0, .deletion = false, .type = type, .name = name, .data = data});
}

Status RemoveValue(const HandleTarget& key, std::string_view name) {
  WritableKey writable;
  const Status status = OpenForWriting(key, writable);
  if (status != kSuccess) return status;
  ValueRecord present;
  if (!writable.values.Find(name, present)) return kFileNotFound;
  return Write(writable, {.sequence = 0, .deletion = true, .type = 0, .name = present.name, .data = {}});
}

}  // namespace nerio::platform
