// hold_file PATH SHARE NAME: opens the file with the share mode SHARE (a number), sets the event NAME-held, waits for
// the event NAME-done and ends. Exit code 0, or 1 when the file cannot be opened.
#include <windows.h>

#include <cstdlib>
#include <string>

int wmain(int count, wchar_t** arguments) {
  if (count != 4) return 2;
  const std::wstring name = arguments[3];
  const HANDLE held = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, (name + L"-held").c_str());
  const HANDLE done = ::OpenEventW(SYNCHRONIZE, FALSE, (name + L"-done").c_str());
  const HANDLE file =
      ::CreateFileW(arguments[1], GENERIC_READ | GENERIC_WRITE,
                    static_cast<DWORD>(std::wcstoul(arguments[2], nullptr, 10)), nullptr, OPEN_EXISTING, 0, nullptr);
  if (held == nullptr || done == nullptr || file == INVALID_HANDLE_VALUE) return 1;
  constexpr DWORD kLongestWait = 60'000;
  ::SetEvent(held);
  ::WaitForSingleObject(done, kLongestWait);
  return 0;
}
