#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nerio::testing {

// The program is linked so that the layer's system calls come here first (see system_call_seam.cpp). They are counted
// and may be made to fail, or written down.

/// What happens to one system call.
enum class Fault {
  /// It fails with EIO and does nothing.
  InputOutput,
  /// It fails with ENOSPC and does nothing.
  NoSpace,
  /// It fails with EMFILE and does nothing.
  NoDescriptor,
  /// It fails with EINTR once, as after a signal.
  Interrupted,
  /// A read or write does half of what it should; any other call is left alone.
  Short,
  /// A write writes half of what it should, and the next one fails with ENOSPC; any other call is left alone.
  ShortThenNoSpace,
  /// A read finds nothing, as in a file that somebody is copying over; any other call is left alone.
  NothingToRead,
  /// It fails with EIO, and so does every call after it.
  FromNowOn,
  /// From it on every sync fails with EIO; all other calls are left alone.
  NoSyncs,
  /// The same with EROFS, as on a disk that was remounted after an error.
  ReadOnlySyncs,
  /// From it on every renaming fails with ENOSPC, as on a full disk; all other calls are left alone.
  NoRenames,
};

/// Makes the `nth` system call from now on meet with a fault; 0 is the next one.
void PlanFault(std::uint64_t nth, Fault fault);

/// Ends all faults. @return whether the planned call was reached.
bool EndFaults();

/// What the layer has asked of the system.
struct CallCount {
  std::uint64_t calls = 0;
  std::uint64_t syncs = 0;
  std::uint64_t renames = 0;
  std::uint64_t bytesRead = 0;
};

/// Returns the count since the last time.
CallCount TakeCount();

/// Does something just before the next lseek: what another process may do by hand at that moment.
void BeforeNextSeek(std::function<void()> act);

/// The calls before which something can be done each time.
enum class Moment { Read, Lock, Opened };

/// Does something before each call of a kind, or after each opening of a file by its name in a folder: what other processes may do at that moment, again and again. What it
/// calls itself is left alone. Nothing ends it.
void BeforeEach(Moment moment, std::function<void()> act);

/// Makes each write do what one does that the kernel holds up halfway: the file's time is set, then `meanwhile` runs,
/// then the bytes come. Nothing ends it.
void HoldUpWrites(std::function<void()> meanwhile);

/// Makes every openat2 fail as on a kernel that does not have it.
void RefuseOpenat2(bool refused);

/// Makes every renameat2 fail with this error, as where the file system does not have its flags; 0 ends it.
void RefuseRenameat2(int error);

/// Makes a listed folder not tell of what kind its entries are, as some file systems do.
void HideKinds(bool hidden);

/// A system call that changes what a disk holds, or makes it durable. Paths are absolute.
struct DiskEvent {
  enum class Kind { MakeFolder, MakeFile, Write, Own, SyncFile, SyncFolder, SyncAll, Rename, RemoveFile, RemoveFolder };
  Kind kind;
  std::string path;
  std::string target;        ///< of a renaming
  std::uint64_t offset = 0;  ///< of a write
  std::string bytes;         ///< of a write
};

/// Starts to write down the events of this process.
void RecordDisk();

/// Lets the process do `count` more things to the disk while events are written down, and nothing afterwards: every
/// call fails, so that whatever it would do next is not done, as after a kill. `EndFaults` tells whether it came that far.
/// @param counted what counts; everything, when there is none.
void DieAfter(std::size_t count, std::optional<DiskEvent::Kind> counted = std::nullopt);

/// Lets the process do `count` things to the disk while events are written down, then kills it with SIGKILL.
void KillAfter(std::size_t count);

/// Is asked before each sync while events are written down: true leaves the sync out, and the call answers 0 all the same.
/// @param before what was written down until then.
using LeavesOut = std::function<bool(const DiskEvent& sync, const std::vector<DiskEvent>& before)>;
void LeaveOutSyncs(LeavesOut leavesOut);

/// Ends it and returns what was written down.
std::vector<DiskEvent> EndRecording();

}  // namespace nerio::testing
