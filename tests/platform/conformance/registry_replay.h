#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "nerio/platform/code_page.h"
#include "nerio/platform/registry_api.h"

namespace nerio::testing {

/// What a replay of recorded calls came to. Every row is checked, left out or excepted.
struct RegistryReplay {
  std::size_t checked = 0;
  /// Rows of calls that `RegistryApi` cannot make or does not promise, counted by their kind.
  std::map<std::string, std::size_t> leftOut;
  /// Rows that record an oddity of the recorded system, each as "file:line: case: call: reason".
  std::vector<std::string> exceptions;
  /// Rows that were answered otherwise than recorded, each as "file:line: case: call: ...".
  std::vector<std::string> differences;
};

/// Replays a table of recorded registry calls over a registry, in the order of its rows: return codes, what the calls
/// write into their arguments, and the dumps of keys, checked by enumeration. The recorded work key is emptied before
/// each case and deleted at the end, as the recording did. A row that is left out still has its effect, so that the
/// rows behind it stay comparable.
/// @param limitsPaths the registry refuses whole paths of more than 260 characters, as the recorded system did; else
/// rows of
///   such paths are left out.
/// @throws std::runtime_error for a row that is no recorded call.
RegistryReplay ReplayRegistry(const std::string& fileName, platform::RegistryApi& registry,
                              platform::CodePage& codePage, bool limitsPaths = false);

}  // namespace nerio::testing
