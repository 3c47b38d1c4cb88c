#include "nerio/hosts/linux/store/entry_look.h"

#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "nerio/hosts/linux/store/folder_walk.h"

namespace nerio::platform {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
// Two steps of the slowest clock that kernels are built with, a hundred to the second.
constexpr std::int64_t kClockSteps = 20'000'000;
// Times without any fraction come from a file system that keeps none.
constexpr std::int64_t kCoarseSteps = 2 * kNanosecondsPerSecond;
constexpr auto kNoUser = static_cast<uid_t>(-1);

EntryLook LookOf(const struct stat& entry) {
  return {.device = entry.st_dev,
          .number = entry.st_ino,
          .mode = entry.st_mode,
          .owner = entry.st_uid,
          .group = entry.st_gid,
          .size = entry.st_size,
          .seconds = entry.st_ctim.tv_sec,
          .nanoseconds = entry.st_ctim.tv_nsec};
}

}  // namespace

bool LookAt(const std::string& path, EntryLook& look) {
  struct stat entry {};
  if (::lstat(path.c_str(), &entry) != 0) return false;
  look = LookOf(entry);
  return true;
}

bool LookAt(int descriptor, EntryLook& look) {
  struct stat entry {};
  if (::fstat(descriptor, &entry) != 0) return false;
  look = LookOf(entry);
  return true;
}

bool MayRead(const EntryLook& look, const std::string& path) {
  // No such user can be set: the call only tells the present one, whose rights the kernel goes by.
  const bool isOwner = static_cast<std::uint32_t>(::setfsuid(kNoUser)) == look.owner;
  if (isOwner && (look.mode & S_IRUSR) != 0) return true;
  return CheckRights(path, R_OK) == kSuccess;
}

EntryLook LookAtClock() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  EntryLook clock;
  clock.seconds = now.tv_sec;
  clock.nanoseconds = now.tv_nsec;
  return clock;
}

bool StoodStill(const EntryLook& look, const EntryLook& clock) {
  // More than this is as good as for ever; the nanoseconds of times that are centuries apart would not fit.
  constexpr std::int64_t kMaxSeconds = 1000;
  const std::int64_t seconds = std::clamp(clock.seconds - look.seconds, -kMaxSeconds, kMaxSeconds);
  const std::int64_t age = seconds * kNanosecondsPerSecond + clock.nanoseconds - look.nanoseconds;
  return age > (look.nanoseconds == 0 ? kCoarseSteps : kClockSteps);
}

}  // namespace nerio::platform
