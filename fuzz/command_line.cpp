// Runs the tool in this process with any arguments and any standard input, on a registry in memory: it ends with one of
// its exit codes, says why where it did not do what was asked, and, for a quarter of the inputs, does the same again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/platform/host.h"
#include "tests/testing/in_memory_registry.h"
#include "tools/nerio/command_line.h"

namespace {

namespace fs = std::filesystem;
using nerio::fuzz::Require;
using nerio::tool::Exit;

// The library lies in the current folder, an empty one.
class HereIsTheLibrary final : public nerio::platform::ModuleLocation {
 public:
  nerio::platform::SystemStatus Folder(nerio::Text& answer) override {
    answer = u".";
    return nerio::platform::SystemStatus::kSuccess;
  }
};

struct Answer {
  int exit = -1;
  std::string out;
  std::string err;

  friend bool operator==(const Answer&, const Answer&) = default;
};

// A folder of this process's own; everything that a run writes is in it.
const fs::path& Scratch() {
  static const fs::path folder = [] {
    std::string pattern = fs::temp_directory_path() / "nerio_fuzz_XXXXXX";
    Require(::mkdtemp(pattern.data()) != nullptr);
    Require(::setenv("NERIO_REGISTRY", (pattern + "/registry").c_str(), 1) == 0);
    std::atexit([] { fs::remove_all(Scratch()); });
    return fs::path(pattern);
  }();
  return folder;
}

// Makes the scratch folder, empty, the current one as long as it lives.
class InScratch {
 public:
  InScratch() {
    for (const auto& entry : fs::directory_iterator(Scratch())) fs::remove_all(entry.path());
    fs::current_path(Scratch());
  }
  ~InScratch() { fs::current_path(before_); }

 private:
  const fs::path before_ = fs::current_path();
};

Answer Run(const std::vector<std::string>& arguments, const std::string& input, bool interactive) {
  const InScratch here;
  static const auto real = nerio::platform::OpenHost();
  nerio::testing::InMemoryRegistry registry;
  nerio::platform::CodePage1252 codePage;
  HereIsTheLibrary module;
  const nerio::platform::Host services = real->Services();
  std::istringstream in(input);
  std::ostringstream out;
  std::ostringstream err;
  Answer answer;
  answer.exit = nerio::tool::CommandLine("9.8.7").Run(
      arguments, {registry, codePage, services.files, module, services.guids, services.xml, services.regional}, in, out,
      err, interactive);
  answer.out = out.str();
  answer.err = err.str();
  return answer;
}

// Whether the arguments can be tried: no path of theirs leads out of the folder, nothing waits for what never comes,
// and the answer is the same each time.
bool CanBeRun(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    for (const std::string_view never : {"watch", "tail", "guid", "doctor", "init", "--view"}) {
      if (argument == never) return false;
    }
    if (argument.find_first_of(std::string_view("/\0", 2)) != std::string::npos || argument.starts_with('\\')) {
      return false;
    }
    if (argument.find("..") != std::string::npos) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte says whether somebody can be asked. The lines behind it are arguments up to an empty one; the rest is
  // standard input.
  if (size == 0) return -1;
  const std::string_view lines(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t end = lines.find("\n\n");
  const std::string input(end == std::string_view::npos ? "" : lines.substr(end + 2));
  std::vector<std::string> arguments;
  std::istringstream rest(std::string(lines.substr(0, end)));
  for (std::string argument; std::getline(rest, argument);) arguments.push_back(argument);
  if (!CanBeRun(arguments)) return -1;

  Answer answer = Run(arguments, input, data[0] % 2 != 0);
  if (nerio::fuzz::Planted() && answer.exit == static_cast<int>(Exit::kNotFound)) answer.exit = 9;
  Require(answer.exit >= static_cast<int>(Exit::kDone) && answer.exit <= static_cast<int>(Exit::kBadInput));
  // That nothing is found needs no words.
  Require(answer.exit == static_cast<int>(Exit::kDone) || answer.exit == static_cast<int>(Exit::kNotFound) ||
          !answer.err.empty() || !answer.out.empty());
  if (data[0] / 2 % 4 == 0) Require(answer == Run(arguments, input, data[0] % 2 != 0));
  return 0;
}
