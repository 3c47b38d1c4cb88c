#pragma once

#include <windows.h>

#include <string>

namespace nerio::testing {

/// Runs a program and waits for its end.
/// @param command the program's path or name, in quotes where it has blanks, and its arguments.
/// @return its exit code.
/// @throws std::runtime_error when it cannot be started.
DWORD RunProgram(std::wstring command);

}  // namespace nerio::testing
