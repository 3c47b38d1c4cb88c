#include "tests/hosts/linux/store/system_call_seam.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

// The linker's --wrap=NAME sends each call of NAME to __wrap_NAME and calls of __real_NAME to the true one.
#define NERIO_WRAPPED(result, name, ...)        \
  extern "C" result __real_##name(__VA_ARGS__); \
  extern "C" result __wrap_##name(__VA_ARGS__)

namespace nerio::testing {
namespace {

using Kind = DiskEvent::Kind;

struct Plan {
  std::uint64_t callsLeft;
  Fault fault;
};

CallCount counted;
std::optional<Plan> plan;
bool reached = false;
bool failEverything = false;
bool failNextWrite = false;
int syncError = 0;
bool refuseRenames = false;
bool recording = false;
std::optional<std::size_t> eventsToLive;
std::optional<Kind> countedEvent;
bool killing = false;
LeavesOut leavesOutSync;
bool openat2Refused = false;
int renameat2Error = 0;
bool kindsHidden = false;
std::function<void()> beforeSeek;
std::map<Moment, std::function<void()>> beforeEach;
std::function<void()> meanwhileWriting;
std::vector<DiskEvent> events;

// What a fault may do with a call besides letting it fail.
enum class Transfer { None, Read, Write, Sync, Rename };

bool CutsShort(Fault fault) {
  return fault == Fault::Short || fault == Fault::ShortThenNoSpace || fault == Fault::NothingToRead;
}

int ErrorOf(Fault fault) {
  switch (fault) {
    case Fault::NoSpace:
    case Fault::NoRenames:
      return ENOSPC;
    case Fault::NoDescriptor:
      return EMFILE;
    case Fault::Interrupted:
      return EINTR;
    case Fault::ReadOnlySyncs:
      return EROFS;
    default:
      return EIO;
  }
}

// Counts a call. @return whether it is to fail, with errno set. @param size what it transfers, less where it is to be
// cut.
bool Fails(Transfer transfer = Transfer::None, std::size_t* size = nullptr) {
  const bool isWrite = transfer == Transfer::Write;
  ++counted.calls;
  if (transfer == Transfer::Sync) ++counted.syncs;
  if (failEverything || (syncError != 0 && transfer == Transfer::Sync)) {
    errno = failEverything ? EIO : syncError;
    return true;
  }
  if (refuseRenames && transfer == Transfer::Rename) {
    errno = ENOSPC;
    return true;
  }
  if (isWrite && failNextWrite) {
    failNextWrite = false;
    errno = ENOSPC;
    return true;
  }
  if (!plan) return false;
  if (plan->callsLeft != 0) {
    --plan->callsLeft;
    return false;
  }
  const Fault fault = plan->fault;
  plan.reset();
  reached = true;
  if (CutsShort(fault)) {
    if (fault == Fault::Short && size != nullptr) *size = (*size + 1) / 2;
    if (fault == Fault::ShortThenNoSpace && isWrite) *size = (*size + 1) / 2;
    if (fault == Fault::NothingToRead && transfer == Transfer::Read) *size = 0;
    failNextWrite = fault == Fault::ShortThenNoSpace && isWrite;
    return false;
  }
  syncError = fault == Fault::NoSyncs || fault == Fault::ReadOnlySyncs ? ErrorOf(fault) : 0;
  if (syncError != 0 && transfer != Transfer::Sync) return false;
  refuseRenames = fault == Fault::NoRenames;
  if (refuseRenames && transfer != Transfer::Rename) return false;
  failEverything = fault == Fault::FromNowOn;
  errno = ErrorOf(fault);
  return true;
}

// Runs what a test wants done at this moment, but not for the calls that are made there.
void Act(const std::function<void()>& wanted) {
  static bool acting = false;
  if (!wanted || acting) return;
  acting = true;
  wanted();
  acting = false;
}

std::string PathOf(int descriptor) {
  std::array<char, PATH_MAX> buffer;
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = ::readlink(link.c_str(), buffer.data(), buffer.size());
  if (length < 0) throw std::logic_error("no descriptor " + std::to_string(descriptor));
  return {buffer.data(), static_cast<std::size_t>(length)};
}

std::string PathInside(int folder, const char* name) { return PathOf(folder) + "/" + name; }

void Record(DiskEvent event) {
  if (!recording) return;
  const bool counts = !countedEvent || *countedEvent == event.kind;
  events.push_back(std::move(event));
  if (!counts || !eventsToLive || --*eventsToLive != 0) return;
  eventsToLive.reset();
  if (killing) ::raise(SIGKILL);
  reached = failEverything = true;
}

// Makes a sync, or leaves it out where that was asked for.
template <typename Sync>
int SyncUnlessLeftOut(Kind kind, int file, Sync sync) {
  if (Fails(Transfer::Sync)) return -1;
  if (!recording) return sync(file);
  DiskEvent event{kind, PathOf(file), "", 0, ""};
  const int result = leavesOutSync && leavesOutSync(event, events) ? 0 : sync(file);
  if (result == 0) Record(std::move(event));
  return result;
}

}  // namespace

void PlanFault(std::uint64_t nth, Fault fault) {
  plan = Plan{nth, fault};
  reached = failEverything = failNextWrite = refuseRenames = false;
  syncError = 0;
}

bool EndFaults() {
  plan.reset();
  eventsToLive.reset();
  failEverything = failNextWrite = refuseRenames = false;
  syncError = 0;
  return reached;
}

CallCount TakeCount() { return std::exchange(counted, {}); }

void BeforeNextSeek(std::function<void()> act) { beforeSeek = std::move(act); }

void BeforeEach(Moment moment, std::function<void()> act) { beforeEach[moment] = std::move(act); }

void HoldUpWrites(std::function<void()> meanwhile) { meanwhileWriting = std::move(meanwhile); }

void RefuseOpenat2(bool refused) { openat2Refused = refused; }

void RefuseRenameat2(int error) { renameat2Error = error; }

void HideKinds(bool hidden) { kindsHidden = hidden; }

void RecordDisk() {
  events.clear();
  recording = true;
}

void DieAfter(std::size_t count, std::optional<Kind> counted) {
  eventsToLive = count;
  countedEvent = counted;
  reached = false;
}

void KillAfter(std::size_t count) {
  DieAfter(count);
  killing = true;
}

void LeaveOutSyncs(LeavesOut leavesOut) { leavesOutSync = std::move(leavesOut); }

std::vector<DiskEvent> EndRecording() {
  recording = false;
  return std::move(events);
}

NERIO_WRAPPED(ssize_t, pread, int file, void* buffer, size_t size, off_t offset) {
  Act(beforeEach[Moment::Read]);
  if (Fails(Transfer::Read, &size)) return -1;
  const ssize_t got = __real_pread(file, buffer, size, offset);
  if (got > 0) counted.bytesRead += static_cast<std::uint64_t>(got);
  return got;
}

extern "C" ssize_t __real_pwrite(int file, const void* bytes, size_t size, off_t offset);

namespace {

// Through a mapping whose pages were written to before, bytes change without a change of the file's time.
ssize_t WriteHeldUp(int file, const void* bytes, size_t size, off_t offset) {
  const auto end = static_cast<size_t>(offset) + size;
  void* const mapped = ::mmap(nullptr, end, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  char* const content = static_cast<char*>(mapped);
  for (size_t i = static_cast<size_t>(offset); i < end; ++i) *static_cast<volatile char*>(content + i) = content[i];
  const std::string before(content + offset, size);
  if (__real_pwrite(file, before.data(), size, offset) != static_cast<ssize_t>(size)) throw std::bad_alloc();
  Act(meanwhileWriting);
  std::memcpy(content + offset, bytes, size);
  ::munmap(mapped, end);
  return static_cast<ssize_t>(size);
}

}  // namespace

NERIO_WRAPPED(ssize_t, pwrite, int file, const void* bytes, size_t size, off_t offset) {
  if (Fails(Transfer::Write, &size)) return -1;
  if (meanwhileWriting) return WriteHeldUp(file, bytes, size, offset);
  const ssize_t written = __real_pwrite(file, bytes, size, offset);
  if (recording && written > 0) {
    Record({Kind::Write, PathOf(file), "", static_cast<std::uint64_t>(offset),
            std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(written))});
  }
  return written;
}

NERIO_WRAPPED(off_t, lseek, int file, off_t offset, int from) {
  if (const auto act = std::exchange(beforeSeek, nullptr)) act();
  return Fails() ? -1 : __real_lseek(file, offset, from);
}

NERIO_WRAPPED(int, fdatasync, int file) { return SyncUnlessLeftOut(Kind::SyncFile, file, __real_fdatasync); }

NERIO_WRAPPED(int, fsync, int file) { return SyncUnlessLeftOut(Kind::SyncFolder, file, __real_fsync); }

NERIO_WRAPPED(int, syncfs, int file) { return SyncUnlessLeftOut(Kind::SyncAll, file, __real_syncfs); }

NERIO_WRAPPED(int, mkdirat, int folder, const char* name, mode_t mode) {
  if (Fails()) return -1;
  const int result = __real_mkdirat(folder, name, mode);
  if (recording && result == 0) Record({Kind::MakeFolder, PathInside(folder, name), "", 0, ""});
  return result;
}

NERIO_WRAPPED(int, unlinkat, int folder, const char* name, int flags) {
  if (Fails()) return -1;
  const int result = __real_unlinkat(folder, name, flags);
  if (recording && result == 0) {
    const Kind kind = (flags & AT_REMOVEDIR) != 0 ? Kind::RemoveFolder : Kind::RemoveFile;
    Record({kind, PathInside(folder, name), "", 0, ""});
  }
  return result;
}

NERIO_WRAPPED(int, renameat, int fromFolder, const char* from, int toFolder, const char* to) {
  if (Fails(Transfer::Rename)) return -1;
  const int result = __real_renameat(fromFolder, from, toFolder, to);
  if (recording && result == 0) Record({Kind::Rename, PathInside(fromFolder, from), PathInside(toFolder, to), 0, ""});
  return result;
}

NERIO_WRAPPED(int, renameat2, int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
  if (Fails(Transfer::Rename)) return -1;
  if (renameat2Error != 0) {
    errno = renameat2Error;
    return -1;
  }
  const int result = __real_renameat2(fromFolder, from, toFolder, to, flags);
  if (recording && result == 0) Record({Kind::Rename, PathInside(fromFolder, from), PathInside(toFolder, to), 0, ""});
  return result;
}

NERIO_WRAPPED(dirent*, readdir, DIR* folder) {
  dirent* const entry = __real_readdir(folder);
  if (entry != nullptr && kindsHidden) entry->d_type = DT_UNKNOWN;
  return entry;
}

NERIO_WRAPPED(int, fchmod, int file, mode_t mode) { return Fails() ? -1 : __real_fchmod(file, mode); }

NERIO_WRAPPED(int, fchown, int file, uid_t owner, gid_t group) {
  if (Fails()) return -1;
  const int result = __real_fchown(file, owner, group);
  if (recording && result == 0) Record({Kind::Own, PathOf(file), "", 0, ""});
  return result;
}

NERIO_WRAPPED(int, faccessat, int folder, const char* name, int rights, int flags) {
  return Fails() ? -1 : __real_faccessat(folder, name, rights, flags);
}

NERIO_WRAPPED(ssize_t, getrandom, void* buffer, size_t size, unsigned flags) {
  return Fails() ? -1 : __real_getrandom(buffer, size, flags);
}

// The linker gives these names, and the analysis does not see that va_start comes first.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,clang-analyzer-valist.Uninitialized)
extern "C" int __real_fcntl(int file, int command, ...);
extern "C" int __wrap_fcntl(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_OFD_SETLK) Act(beforeEach[Moment::Lock]);
  return Fails() ? -1 : __real_fcntl(file, command, argument);
}

extern "C" int __real_openat(int folder, const char* name, int flags, ...);
extern "C" int __wrap_openat(int folder, const char* name, int flags, ...) {
  if (Fails()) return -1;
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  struct stat entry {};
  const bool makes = (flags & O_CREAT) != 0 && ::fstatat(folder, name, &entry, AT_SYMLINK_NOFOLLOW) != 0;
  const int opened = __real_openat(folder, name, flags, mode);
  if (opened >= 0) Act(beforeEach[Moment::Opened]);
  if (recording && makes && opened >= 0) Record({Kind::MakeFile, PathInside(folder, name), "", 0, ""});
  return opened;
}

// Only openat2 is called by its number.
extern "C" long __real_syscall(long number, ...);
extern "C" long __wrap_syscall(long number, ...) {
  va_list arguments;
  va_start(arguments, number);
  const int folder = va_arg(arguments, int);
  const char* const path = va_arg(arguments, const char*);
  const open_how* const how = va_arg(arguments, const open_how*);
  const std::size_t size = va_arg(arguments, std::size_t);
  va_end(arguments);
  if (number != SYS_openat2) throw std::logic_error("another system call by its number");
  if (openat2Refused) {
    errno = ENOSYS;
    return -1;
  }
  return Fails() ? -1 : __real_syscall(number, folder, path, how, size);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,clang-analyzer-valist.Uninitialized)

}  // namespace nerio::testing
