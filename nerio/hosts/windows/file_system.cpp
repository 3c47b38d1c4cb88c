#include "nerio/hosts/windows/file_system.h"

#include <windows.h>

#include "nerio/hosts/windows/automation/system_message.h"
#include "nerio/hosts/windows/automation/wide.h"

namespace nerio::platform {
namespace {

constexpr DWORD kNotOrdinary =
    FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DEVICE;

HANDLE ToNative(FileHandle file) { return reinterpret_cast<HANDLE>(file); }

SystemStatus LastError() { return static_cast<SystemStatus>(::GetLastError()); }

bool SameName(TextView left, const wchar_t* right) {
  return ::CompareStringOrdinal(Wide(left), static_cast<int>(left.size()), right, -1, TRUE) == CSTR_EQUAL;
}

// Answers that only say that there is nothing of that path.
bool MeansNothingThere(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_NO_MORE_FILES ||
         error == ERROR_INVALID_NAME;
}

}  // namespace

SystemStatus WindowsFileSystem::FindOrdinaryFile(const Text& path, bool& found) {
  found = false;
  WIN32_FIND_DATAW entry;
  const HANDLE search = ::FindFirstFileW(Wide(path), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return MeansNothingThere(::GetLastError()) ? SystemStatus::kSuccess : LastError();
  }
  ::FindClose(search);
  const TextView whole(path.c_str());  // up to its first NUL, as the search took it
  const TextView name = whole.substr(whole.find_last_of(u'\\') + 1);
  found = (entry.dwFileAttributes & kNotOrdinary) == 0 &&
          (SameName(name, entry.cFileName) || SameName(name, entry.cAlternateFileName));
  return SystemStatus::kSuccess;
}

SystemStatus WindowsFileSystem::OpenForAppend(const Text& path, FileHandle& opened) {
  const HANDLE file = ::CreateFileW(Wide(path), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return LastError();
  opened = reinterpret_cast<FileHandle>(file);
  return SystemStatus::kSuccess;
}

SystemStatus WindowsFileSystem::Append(FileHandle file, std::span<const char> bytes) {
  DWORD written = 0;
  if (::WriteFile(ToNative(file), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == 0) {
    return LastError();
  }
  return written == bytes.size() ? SystemStatus::kSuccess : SystemStatus{ERROR_DISK_FULL};
}

SystemStatus WindowsFileSystem::Close(FileHandle file) {
  return ::CloseHandle(ToNative(file)) != 0 ? SystemStatus::kSuccess : LastError();
}

Text WindowsFileSystem::Describe(SystemStatus status) { return SystemMessage(NumberOf(status)); }

}  // namespace nerio::platform
