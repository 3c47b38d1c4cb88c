#include "nerio/hosts/linux/module_location.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>
#include <climits>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "nerio/hosts/linux/native_path.h"

namespace nerio::platform {
namespace {

// Kept without a destructor and without memory of its own, so that it serves until the library is gone. A path has at
// least as many bytes as its text has units, and the system takes none of more than PATH_MAX bytes.
struct Located {
  std::array<char16_t, PATH_MAX> folder;
  std::size_t length = 0;
  SystemStatus status = SystemStatus::kSuccess;
};

// Lies in the file that this code was linked into, and in no other.
const char anchor = 0;

SystemStatus ProgramPath(std::string& path) {
  std::array<char, PATH_MAX> buffer;
  const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length < 0) return SystemStatus{errno};
  path.assign(buffer.data(), static_cast<std::size_t>(length));
  return SystemStatus::kSuccess;
}

SystemStatus OwnPath(std::string& path) {
  // The name that the file was loaded by, empty for the program itself.
  Dl_info unused;
  link_map* file = nullptr;
  if (::dladdr1(&anchor, &unused, reinterpret_cast<void**>(&file), RTLD_DL_LINKMAP) == 0) return ProgramPath(path);
  const char* const name = file->l_name;
  if (*name == '\0') return ProgramPath(path);
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(name, nullptr), &std::free);
  if (resolved != nullptr) {
    path = resolved.get();
  } else if (*name == '/') {
    path = name;  // loaded from a file that has no name of its own, such as /proc/self/fd/3
  } else {
    return SystemStatus{errno};
  }
  return SystemStatus::kSuccess;
}

Located Locate() {
  Located located;
  std::string path;
  located.status = OwnPath(path);
  if (located.status != SystemStatus::kSuccess) return located;
  const std::size_t lastSeparator = std::string_view(path).rfind('/');
  const Text folder = TextFromNativePath(std::string_view(path).substr(0, std::max<std::size_t>(lastSeparator, 1)));
  if (folder.size() > located.folder.size()) {
    located.status = SystemStatus{ENAMETOOLONG};
    return located;
  }
  located.length = folder.copy(located.folder.data(), folder.size());
  return located;
}

const Located& OwnLocation() {
  static const Located located = Locate();
  return located;
}

// Taken while the file is being loaded: a relative name is worth nothing after a change of the current folder.
[[maybe_unused]] const Located& takenWhenLoaded = OwnLocation();

}  // namespace

SystemStatus LinuxModuleLocation::Folder(Text& folder) try {
  const Located& located = OwnLocation();
  if (located.status != SystemStatus::kSuccess) return located.status;
  folder.assign(located.folder.data(), located.length);
  return SystemStatus::kSuccess;
} catch (const std::bad_alloc&) {
  return SystemStatus{ENOMEM};
}

}  // namespace nerio::platform
