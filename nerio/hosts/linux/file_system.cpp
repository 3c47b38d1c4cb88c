#include "nerio/hosts/linux/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <new>
#include <string>
#include <system_error>

#include "nerio/hosts/linux/locale_region.h"
#include "nerio/hosts/linux/native_path.h"
#include "nerio/hosts/linux/store/system_call.h"

namespace nerio::platform {
SystemStatus PosixFileSystem::FindOrdinaryFile(const Text& path, bool& found) try {
  found = false;
  const std::string native = NativePath(path);
  struct stat entry {};
  if (Uninterrupted([&] { return ::stat(native.c_str(), &entry); }) != 0) {
    return errno == ENOENT || errno == ENOTDIR ? SystemStatus::kSuccess : SystemStatus{errno};
  }
  found = S_ISREG(entry.st_mode);
  return SystemStatus::kSuccess;
} catch (const std::bad_alloc&) {
  return SystemStatus{ENOMEM};
}

SystemStatus PosixFileSystem::OpenForAppend(const Text& path, FileHandle& opened) try {
  const std::string native = NativePath(path);
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const int descriptor = Uninterrupted([&] { return ::open(native.c_str(), kFlags); });
  if (descriptor < 0) return SystemStatus{errno};
  opened = descriptor;
  return SystemStatus::kSuccess;
} catch (const std::bad_alloc&) {
  return SystemStatus{ENOMEM};
}

SystemStatus PosixFileSystem::Append(FileHandle file, std::span<const char> bytes) {
  do {
    const ssize_t written = Uninterrupted([&] { return ::write(static_cast<int>(file), bytes.data(), bytes.size()); });
    if (written < 0) return SystemStatus{errno};
    // Without progress there is no error number to report and no use in going on.
    if (written == 0 && !bytes.empty()) return SystemStatus{EIO};
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  } while (!bytes.empty());
  return SystemStatus::kSuccess;
}

SystemStatus PosixFileSystem::Close(FileHandle file) {
  // Never repeated: the descriptor is free even when a signal interrupts the call, and may be somebody else's by then.
  return ::close(static_cast<int>(file)) == 0 ? SystemStatus::kSuccess : SystemStatus{errno};
}

Text PosixFileSystem::Describe(SystemStatus status) {
  return TextInLocale(std::generic_category().message(NumberOf(status)));
}

}  // namespace nerio::platform
