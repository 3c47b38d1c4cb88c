#include "nerio/hosts/linux/store/file_stamp.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>

#include "nerio/hosts/linux/store/folder_walk.h"

namespace nerio::platform {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
// Two steps of the slowest clock that kernels are built with, a hundred to the second.
constexpr std::int64_t kClockSteps = 20'000'000;
constexpr auto kNoUser = static_cast<uid_t>(-1);

FileStamp StampOf(const struct stat& entry) {
  return {.device = entry.st_dev,
          .inode = entry.st_ino,
          .mode = entry.st_mode,
          .owner = entry.st_uid,
          .group = entry.st_gid,
          .size = entry.st_size,
          .seconds = entry.st_ctim.tv_sec,
          .nanoseconds = entry.st_ctim.tv_nsec};
}

// @param rights of `access`. @param ofOwner the mode bits that give them to the owner.
bool May(int rights, std::uint32_t ofOwner, const FileStamp& stamp, const std::string& path) {
  // There is no such user to change to: the call only tells the present one, whose rights the kernel checks.
  const bool isOwner = static_cast<std::uint32_t>(::setfsuid(kNoUser)) == stamp.owner;
  if (isOwner && (stamp.mode & ofOwner) == ofOwner) return true;
  return CheckRights(path, rights) == kSuccess;
}

}  // namespace

bool ReadStamp(const std::string& path, FileStamp& stamp) {
  struct stat entry {};
  if (::lstat(path.c_str(), &entry) != 0) return false;
  stamp = StampOf(entry);
  return true;
}

bool ReadStamp(int descriptor, FileStamp& stamp) {
  struct stat entry {};
  if (::fstat(descriptor, &entry) != 0) return false;
  stamp = StampOf(entry);
  return true;
}

bool MayRead(const FileStamp& stamp, const std::string& path) { return May(R_OK, S_IRUSR, stamp, path); }

bool MayList(const FileStamp& stamp, const std::string& path) {
  return May(R_OK | X_OK, S_IRUSR | S_IXUSR, stamp, path);
}

bool HasReliableTimes(int descriptor) {
  constexpr std::array<unsigned long, 4> kLocal = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, TMPFS_MAGIC};
  struct statfs system {};
  return ::fstatfs(descriptor, &system) == 0 &&
         std::find(kLocal.begin(), kLocal.end(), static_cast<unsigned long>(system.f_type)) != kLocal.end();
}

FileStamp StampOfNow() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  FileStamp stamp;
  stamp.seconds = now.tv_sec;
  stamp.nanoseconds = now.tv_nsec;
  return stamp;
}

bool HasPassed(const FileStamp& stamp, const FileStamp& now) {
  // More than this makes no difference; the nanoseconds of times that are centuries apart would not fit.
  constexpr std::int64_t kMaxSeconds = 1000;
  const std::int64_t seconds = std::clamp(now.seconds - stamp.seconds, -kMaxSeconds, kMaxSeconds);
  const std::int64_t age = seconds * kNanosecondsPerSecond + now.nanoseconds - stamp.nanoseconds;
  return age > kClockSteps;
}

bool TellsChangesApart() {
  static const bool does = [] {
    struct utsname system {};
    return ::uname(&system) == 0 && ReleaseTellsChangesApart(system.release);
  }();
  return does;
}

bool ReleaseTellsChangesApart(const char* release) {
  constexpr long kFirstMajor = 6;
  constexpr long kFirstMinor = 13;
  char* end = nullptr;
  const long major = std::strtol(release, &end, 10);
  const long minor = *end == '.' ? std::strtol(end + 1, nullptr, 10) : 0;
  return major > kFirstMajor || (major == kFirstMajor && minor >= kFirstMinor);
}

bool IsOldEnough(const FileStamp& stamp, const FileStamp& now) {
  // Without a fraction it is the time of a file system that keeps none. A clock that is set back gives such a time again
  // within the second; one with a fraction does not come again.
  return stamp.nanoseconds != 0 && HasPassed(stamp, now);
}

}  // namespace nerio::platform
