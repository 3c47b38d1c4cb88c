#include "nerio/hosts/windows/module_location.h"

#include <windows.h>

#include <new>
#include <utility>

#include "nerio/hosts/windows/automation/wide.h"

namespace nerio::platform {
namespace {

// Something of this module that has an address.
const char kAnchor = 0;

// Some implementations of the system answer "UNC\server\share\..." for a module that was loaded from \\server\share.
// The path of a module is absolute, so that this can mean nothing else.
void RestoreServer(Text& path) {
  constexpr TextView kUnc = u"UNC\\";
  if (path.starts_with(kUnc)) path.replace(0, kUnc.size(), u"\\\\");
}

}  // namespace

SystemStatus ModulePath(Text& path) noexcept try {
  HMODULE module = nullptr;
  if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<const wchar_t*>(&kAnchor), &module) == 0) {
    return static_cast<SystemStatus>(::GetLastError());
  }
  Text buffer(MAX_PATH, u'\0');
  for (;;) {
    const DWORD length = ::GetModuleFileNameW(module, WritableWide(buffer), static_cast<DWORD>(buffer.size()));
    if (length == 0) return static_cast<SystemStatus>(::GetLastError());
    if (length < buffer.size()) {
      buffer.resize(length);
      RestoreServer(buffer);
      path = std::move(buffer);
      return SystemStatus::kSuccess;
    }
    buffer.resize(2 * buffer.size());  // a name that fills the buffer may have been cut
  }
} catch (const std::bad_alloc&) {
  return SystemStatus{ERROR_NOT_ENOUGH_MEMORY};
}

SystemStatus WindowsModuleLocation::Folder(Text& folder) {
  Text path;
  const SystemStatus status = ModulePath(path);
  if (status != SystemStatus::kSuccess) return status;
  const std::size_t separator = path.find_last_of(u'\\');
  // The separator stays in "C:\", which names the root folder; "C:" is the drive's current one.
  const bool root = separator > 0 && path[separator - 1] == u':';
  path.resize(root ? separator + 1 : separator);
  folder = std::move(path);
  return SystemStatus::kSuccess;
}

}  // namespace nerio::platform
