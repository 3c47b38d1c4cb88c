#include "tools/nerio/console.h"

#include <windows.h>
// Needs what the header above declares.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <atomic>
#include <cstdlib>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(stream), &mode) != 0;
}

std::atomic<bool> requested = false;

// Runs in a thread of its own. Where the console is closed the system ends the process once this returns.
BOOL WINAPI NoteInterrupt(DWORD kind) {
  requested = true;
  if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT) ::Sleep(INFINITE);
  return TRUE;
}

}  // namespace

bool IsSomebodyAtTerminal() { return IsConsole(STD_INPUT_HANDLE) && IsConsole(STD_ERROR_HANDLE); }

bool IsOutputTerminal() { return IsConsole(STD_OUTPUT_HANDLE); }

bool IsErrorTerminal() { return IsConsole(STD_ERROR_HANDLE); }

void PrepareStandardStreams() {
  for (const int stream : {0, 1, 2}) ::_setmode(stream, _O_BINARY);
  // The code page is the console's, which lives on after this process.
  static const UINT before = ::GetConsoleOutputCP();
  if (before == 0) return;
  ::SetConsoleOutputCP(CP_UTF8);
  std::atexit([] { ::SetConsoleOutputCP(before); });
}

// What `main` is given went through the ANSI code page; the system's own command line did not.
std::vector<std::string> Arguments(int, const char* const*) {
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  for (int i = 1; i < count; ++i) arguments.push_back(ToUtf8(platform::ViewOf(words[i], ::wcslen(words[i]))));
  ::LocalFree(words);
  return arguments;
}

HeldInterrupts::HeldInterrupts() {
  requested = false;
  ::SetConsoleCtrlHandler(NoteInterrupt, TRUE);
}

HeldInterrupts::~HeldInterrupts() { ::SetConsoleCtrlHandler(NoteInterrupt, FALSE); }

bool HeldInterrupts::Requested() const { return requested; }

}  // namespace nerio::tool
