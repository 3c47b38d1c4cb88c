#include "tests/hosts/windows/file_holder.h"

#include <array>
#include <stdexcept>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/module_location.h"

namespace nerio::testing {

FileHolder::FileHolder(const Text& path, DWORD share) {
  const std::wstring name = L"nerio-" + std::to_wstring(::GetCurrentProcessId());
  held_ = ::CreateEventW(nullptr, TRUE, FALSE, (name + L"-held").c_str());
  done_ = ::CreateEventW(nullptr, TRUE, FALSE, (name + L"-done").c_str());
  // The other program lies beside this one.
  Text folder;
  platform::WindowsModuleLocation().Folder(folder);
  std::wstring command = L"\"" + std::wstring(platform::Wide(folder)) + L"\\nerio_hold_file.exe\" \"" +
                         platform::Wide(path) + L"\" " + std::to_wstring(share) + L" " + name;
  STARTUPINFOW start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION started{};
  if (::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &started) == 0) {
    throw std::runtime_error("cannot start nerio_hold_file.exe: " + std::to_string(::GetLastError()));
  }
  ::CloseHandle(started.hThread);
  process_ = started.hProcess;
  const std::array<HANDLE, 2> either{held_, process_};
  constexpr DWORD kLongestWait = 60'000;
  if (::WaitForMultipleObjects(2, either.data(), FALSE, kLongestWait) != WAIT_OBJECT_0) {
    throw std::runtime_error("nerio_hold_file.exe cannot hold the file");
  }
}

FileHolder::~FileHolder() {
  ::SetEvent(done_);
  ::WaitForSingleObject(process_, INFINITE);
  for (const HANDLE handle : {process_, held_, done_}) ::CloseHandle(handle);
}

}  // namespace nerio::testing
