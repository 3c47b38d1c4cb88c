#include "tests/tools/tool_run.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "tools/nerio/command_line.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry/value_text.h"

namespace nerio::tool {
namespace {

// Makes a key below HKEY_LOCAL_MACHINE that a test cannot do without.
KeyGuard Made(platform::RegistryApi& registry, const AnsiText& path) {
  KeyGuard opened;
  bool created = false;
  if (CreateKey(registry, {platform::kHkeyLocalMachine, path}, platform::kKeySetValue, opened, created) !=
      platform::kSuccess) {
    throw std::logic_error("the test cannot create " + path.bytes());
  }
  return opened;
}

}  // namespace

platform::SystemStatus FolderOfTest::Folder(Text& answer) {
  answer = folder.u16string();
  std::replace(answer.begin(), answer.end(), u'/', u'\\');
  return platform::SystemStatus::kSuccess;
}

platform::Host ToolHost::View() {
  const platform::Host services = real->Services();
  return {registry,     codePage,         files != nullptr ? *files : services.files, module, services.guids,
          services.xml, services.regional};
}

RunResult ToolHost::Run(const std::vector<std::string>& arguments) {
  std::istringstream input(in);
  std::ostringstream out;
  std::ostringstream err;
  RunResult result;
  result.exit = CommandLine("9.8.7").Run(arguments, View(), input, out, err, interactive);
  result.out = out.str();
  result.err = err.str();
  return result;
}

void ToolHost::Create(const AnsiText& path) { Made(registry, path); }

void ToolHost::Store(const AnsiText& path, const AnsiText& name, std::uint32_t type, const std::string& data) {
  if (StoreValue(registry, Made(registry, path).get(), {name, type, data}) != platform::kSuccess) {
    throw std::logic_error("the test cannot store " + name.bytes());
  }
}

std::string ToolHost::Stored(const AnsiText& path, const AnsiText& name) {
  KeyGuard opened;
  StoredValue value;
  if (OpenKey(registry, {platform::kHkeyLocalMachine, path}, platform::kKeyQueryValue, opened) != platform::kSuccess ||
      ReadValue(registry, opened.get(), name, value) != platform::kSuccess) {
    return "";
  }
  return std::to_string(value.type) + ":" + HexText(value.data, "");
}

bool ToolHost::Has(const AnsiText& path) {
  KeyGuard opened;
  return OpenKey(registry, {platform::kHkeyLocalMachine, path}, platform::kKeyQueryValue, opened) == platform::kSuccess;
}

}  // namespace nerio::tool
