#include "tools/nerio/whole_file.h"

#include <windows.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace nerio::tool {
namespace {

using platform::SystemStatus;

// Bytes per call: the system's counts have 32 bits.
constexpr std::size_t kBlock = 1 << 16;

SystemStatus LastError() { return static_cast<SystemStatus>(::GetLastError()); }

class OpenedFile {
 public:
  explicit OpenedFile(HANDLE taken) : handle_(taken) {}
  ~OpenedFile() { Close(); }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  HANDLE get() const { return handle_; }
  explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
  void Close() {
    if (handle_ != INVALID_HANDLE_VALUE) ::CloseHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
  }

 private:
  HANDLE handle_;
};

// A file beside its final place, deleted again unless it is put there.
class NewFile {
 public:
  explicit NewFile(const std::filesystem::path& path) : path_(path) {}
  ~NewFile() {
    if (!name_.empty()) ::DeleteFileW(name_.c_str());
  }

  SystemStatus Write(std::string_view bytes) {
    const std::wstring name = path_.native() + L".nerio-" + std::to_wstring(::GetCurrentProcessId());
    OpenedFile file(
        ::CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return LastError();
    name_ = name;
    while (!bytes.empty()) {
      DWORD written = 0;
      const auto count = static_cast<DWORD>(std::min(bytes.size(), kBlock));
      if (::WriteFile(file.get(), bytes.data(), count, &written, nullptr) == 0) return LastError();
      if (written == 0) return SystemStatus{ERROR_DISK_FULL};
      bytes.remove_prefix(written);
    }
    return ::FlushFileBuffers(file.get()) != 0 ? SystemStatus::kSuccess : LastError();
  }

  // Puts the file in its place, where nothing may be yet.
  SystemStatus MoveIntoPlace() {
    if (::MoveFileExW(name_.c_str(), path_.c_str(), MOVEFILE_WRITE_THROUGH) == 0) return LastError();
    name_.clear();
    return SystemStatus::kSuccess;
  }

  // Puts the file in its place, instead of what is there, whose attributes and rights it takes over. Not every system
  // knows the folder of a relative name, or of one separated by "/", in this call.
  SystemStatus ReplaceOld() {
    std::error_code failure;
    const std::filesystem::path old = std::filesystem::absolute(path_, failure);
    if (failure) return SystemStatus{failure.value()};
    if (::ReplaceFileW(old.c_str(), name_.c_str(), nullptr, 0, nullptr, nullptr) != 0) {
      name_.clear();
      return SystemStatus::kSuccess;
    }
    const SystemStatus status = LastError();
    // A call that something comes between, such as a virus scanner that opens each new file, may have taken the old
    // file away before it fails. Then the new one is all there is: it is moved, and if need be kept where it is.
    if (::GetFileAttributesW(path_.c_str()) != INVALID_FILE_ATTRIBUTES) return status;
    const std::wstring kept = std::exchange(name_, {});
    return ::MoveFileExW(kept.c_str(), path_.c_str(), MOVEFILE_WRITE_THROUGH) != 0 ? SystemStatus::kSuccess
                                                                                   : LastError();
  }

 private:
  std::filesystem::path path_;
  std::wstring name_;
};

}  // namespace

std::filesystem::path SystemPath(TextView path) { return path; }

SystemStatus ReadWholeFile(const std::filesystem::path& path, std::string& bytes, std::size_t most) {
  const OpenedFile file(::CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return LastError();
  std::string read;
  std::string block(kBlock, '\0');
  while (read.size() <= most) {
    DWORD got = 0;
    if (::ReadFile(file.get(), block.data(), static_cast<DWORD>(block.size()), &got, nullptr) == 0) {
      // The other end of a pipe closed it: that is where it ends.
      if (::GetLastError() == ERROR_BROKEN_PIPE) break;
      return LastError();
    }
    if (got == 0) break;
    read.append(block, 0, got);
  }
  bytes = std::move(read);
  return SystemStatus::kSuccess;
}

SystemStatus CreateWholeFile(const std::filesystem::path& path, std::string_view bytes) {
  NewFile file(path);
  const SystemStatus status = file.Write(bytes);
  return status != SystemStatus::kSuccess ? status : file.MoveIntoPlace();
}

SystemStatus ReplaceWholeFile(const std::filesystem::path& path, std::string_view bytes) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  const bool there = attributes != INVALID_FILE_ATTRIBUTES;
  if (!there && ::GetLastError() != ERROR_FILE_NOT_FOUND) return LastError();
  if (there && (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0)
    return SystemStatus{ERROR_ACCESS_DENIED};
  NewFile file(path);
  const SystemStatus status = file.Write(bytes);
  if (status != SystemStatus::kSuccess) return status;
  return there ? file.ReplaceOld() : file.MoveIntoPlace();
}

}  // namespace nerio::tool
