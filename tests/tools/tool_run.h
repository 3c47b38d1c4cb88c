#pragma once

#include <string>
#include <vector>

#include "platform/portable/code_page_1252.h"
#include "testing/failing_files.h"
#include "testing/fake_host.h"
#include "testing/in_memory_registry.h"

namespace nerio::tool {

/// What one run of the tool gave.
struct RunResult {
  int exit = -1;
  std::string out;
  std::string err;
};

/// A host for the tool's verbs, with a registry in memory, and a way to run the tool on it.
struct ToolHost {
  testing::InMemoryRegistry registry;
  platform::CodePage1252 codePage;
  testing::FailingFiles files;
  testing::FakeHost host{.registry = &registry, .codePage = &codePage, .files = &files};
  std::string in;            ///< what the tool reads from standard input
  bool interactive = false;  ///< somebody is at a terminal

  /// Runs the tool in this process.
  RunResult Run(const std::vector<std::string>& arguments);

  /// Makes a key below HKEY_LOCAL_MACHINE.
  void Create(const AnsiText& path);
  /// Stores a value, making its key below HKEY_LOCAL_MACHINE.
  void Store(const AnsiText& path, const AnsiText& name, std::uint32_t type, const std::string& data);
  /// Returns a stored value as "type:hex digits", or "" where there is none.
  std::string Stored(const AnsiText& path, const AnsiText& name);
  /// Tells whether a key below HKEY_LOCAL_MACHINE is there.
  bool Has(const AnsiText& path);
};

}  // namespace nerio::tool
