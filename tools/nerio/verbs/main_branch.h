#pragma once

#include <string>

#include "tools/nerio/command_line.h"

namespace nerio::tool {

/// What `CRegistry` can do for this user with its main branch, HKEY_LOCAL_MACHINE\Software\Nerio.
struct MainBranch {
  bool present = false;
  bool canRead = false;    ///< false also where there is nothing to read
  bool canChange = false;  ///< or make it, where it is missing
  /// 0, or why it cannot be changed.
  platform::Status status{};
  /// All of it in a sentence, in English.
  std::string what;
};

/// Finds it out by the calls that `CRegistry` makes, up to the one that would change something.
MainBranch ExamineMainBranch(Session& session);

}  // namespace nerio::tool
