#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/platform/host.h"
#include "tests/testing/in_memory_registry.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::tool {

/// What one run of the tool gave.
struct RunResult {
  int exit = -1;
  std::string out;
  std::string err;
};

/// Where the tests of verbs keep their settings.
constexpr const char* kNerio = "HKLM\\Software\\Nerio";
constexpr const char* kApp = "HKLM\\Software\\Nerio\\App";

/// A library that lies in a folder of the test's own.
class FolderOfTest final : public platform::ModuleLocation {
 public:
  platform::SystemStatus Folder(Text& answer) override;

 private:
  testing::TemporaryFolder temporary_;

 public:
  const std::filesystem::path& folder = temporary_.path();
};

/// The host of this system for the tool's verbs, but with a registry in memory, code page 1252 and the library in a
/// folder of its own; and a way to run the tool on it.
struct ToolHost {
  testing::InMemoryRegistry registry;
  platform::CodePage1252 codePage;
  FolderOfTest module;
  std::unique_ptr<platform::HostInstance> real = platform::OpenHost();
  std::string in;                         ///< what the tool reads from standard input
  platform::FileSystem* files = nullptr;  ///< in place of the system's
  bool interactive = false;               ///< somebody is at a terminal

  /// Returns the view of the services.
  platform::Host View();

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
