#include "tests/component/windows/run_program.h"

#include <stdexcept>

namespace nerio::testing {

DWORD RunProgram(std::wstring command) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process) ==
      0) {
    throw std::runtime_error("a program does not start: " + std::to_string(::GetLastError()));
  }
  DWORD code = STILL_ACTIVE;
  ::WaitForSingleObject(process.hProcess, INFINITE);
  ::GetExitCodeProcess(process.hProcess, &code);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return code;
}

}  // namespace nerio::testing
