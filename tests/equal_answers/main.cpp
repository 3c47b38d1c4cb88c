// Does the same script of random operations on each host and compares the answers.
//
//   nerio_equal_answers script SEED OPERATIONS    writes a script to the standard output
//   nerio_equal_answers run SCRIPT ANSWERS        does a script in the current folder: the answers go to the file
//   ANSWERS,
//                                                 the branch to ANSWERS.N.reg after every thousand operations
//   nerio_equal_answers compare OPERATIONS LINUX WINDOWS   compares two files of answers; 0 when they are equal
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "nerio/platform/host.h"
#include "tests/equal_answers/comparison.h"
#include "tests/equal_answers/host_side.h"
#include "tests/equal_answers/operations.h"
#include "tests/equal_answers/script.h"
#include "tests/testing/registry_access.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/registry_access.h"

namespace nerio::equal_answers {
namespace {

namespace fs = std::filesystem;

constexpr platform::KeyHandle kRoots[] = {platform::kHkeyLocalMachine, platform::kHkeyCurrentUser};
constexpr std::size_t kOperationsPerExport = 1000;

std::vector<std::string> LinesOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::ofstream Writing(const fs::path& file) {
  std::ofstream out;
  out.exceptions(std::ios::failbit | std::ios::badbit);
  out.open(file, std::ios::binary | std::ios::trunc);
  return out;
}

// The branch below both roots while this lives: empty before and gone behind it.
class ScratchBranch {
 public:
  explicit ScratchBranch(const platform::Host& host) : host_(host), path_(host.codePage.ToAnsi(kBranch)) {
    Clear();
    for (const platform::KeyHandle root : kRoots) testing::MakeKey(host_.registry, root, path_);
  }
  ScratchBranch(const ScratchBranch&) = delete;
  ScratchBranch& operator=(const ScratchBranch&) = delete;
  ~ScratchBranch() { Clear(); }

  void Export(const fs::path& file) const {
    std::vector<tool::RegSection> sections;
    for (const platform::KeyHandle root : kRoots) Add(root, path_, {root, path_}, sections);
    Writing(file) << tool::EncodeUtf16(tool::WriteRegText(sections, host_.codePage));
  }

 private:
  // Level by level: some systems take no whole path of more than 260 characters.
  void Add(platform::KeyHandle above, const AnsiText& name, const tool::RegistryKey& path,
           std::vector<tool::RegSection>& sections) const {
    platform::KeyHandle key = 0;
    const platform::Status status = host_.registry.OpenKey(above, name, 0, platform::kKeyRead, key);
    if (status == platform::kFileNotFound) return;
    if (status != platform::kSuccess)
      throw std::runtime_error("the branch cannot be read: " + std::to_string(NumberOf(status)));
    tool::RegSection section;
    section.key = path;
    std::vector<tool::StoredValue> values;
    if (tool::ListValues(host_.registry, key, values) != platform::kSuccess) throw std::runtime_error("no values");
    for (const tool::StoredValue& value : values) {
      tool::RegValue& line = section.values.emplace_back();
      line.name = value.name;
      line.type = value.type;
      line.data = value.data;
    }
    sections.push_back(section);
    for (const AnsiText& below : testing::SubKeysOf(host_.registry, key)) {
      Add(key, below, {path.root, tool::JoinPath(path.path, below)}, sections);
    }
    host_.registry.CloseKey(key);
  }

  void Clear() {
    for (const platform::KeyHandle root : kRoots) testing::DeleteTree(host_.registry, root, path_);
  }

  const platform::Host& host_;
  AnsiText path_;
};

int Run(const std::string& script, const std::string& answers) {
  const SameRegion region;
  const auto instance = platform::OpenHost({.registryFolder = fs::current_path() / "registry"});
  const platform::Host host = instance->Services();
  const ScratchBranch branch(host);
  Operations operations(host, fs::current_path());
  std::ofstream out = Writing(answers);
  std::size_t done = 0;
  for (const std::string& operation : LinesOf(script)) {
    out << AnswerLine(operation, operations.Answer(operation)) << '\n';
    if (++done % kOperationsPerExport == 0) {
      branch.Export(answers + '.' + std::to_string(done / kOperationsPerExport) + ".reg");
    }
  }
  return 0;
}

int CompareFiles(std::size_t operations, const fs::path& onLinux, const fs::path& onWindows) {
  const Comparison comparison = Compare(LinesOf(onLinux), LinesOf(onWindows), operations);
  constexpr std::size_t kShown = 20;
  for (std::size_t i = 0; i < comparison.differences.size() && i < kShown; ++i) {
    std::cout << comparison.differences[i] << '\n';
  }
  for (const std::string& complaint : comparison.complaints) std::cout << complaint << '\n';
  std::cout << comparison.operations << " operations: " << comparison.succeeded << " succeed, " << comparison.failed
            << " fail quietly, " << comparison.raised << " raise; " << comparison.differences.size()
            << " differences\n";
  for (std::size_t i = 0; i < kExcuses.size(); ++i) {
    std::cout << comparison.excused[i] << " excused: " << kExcuses[i].reason << '\n';
  }
  return comparison.Equal() ? 0 : 1;
}

int Main(const std::vector<std::string>& arguments) {
  if (arguments.size() == 3 && arguments[0] == "script") {
    for (const std::string& line :
         RandomScript(static_cast<std::uint32_t>(std::stoul(arguments[1])), std::stoul(arguments[2]))) {
      std::cout << line << '\n';
    }
    return 0;
  }
  if (arguments.size() == 3 && arguments[0] == "run") return Run(arguments[1], arguments[2]);
  if (arguments.size() == 4 && arguments[0] == "compare") {
    return CompareFiles(std::stoul(arguments[1]), arguments[2], arguments[3]);
  }
  std::cerr
      << "usage: nerio_equal_answers script SEED OPERATIONS | run SCRIPT ANSWERS | compare OPERATIONS LINUX WINDOWS\n";
  return 2;
}

}  // namespace
}  // namespace nerio::equal_answers

int main(int argc, char** argv) try {
  return nerio::equal_answers::Main({argv + 1, argv + argc});
} catch (const std::exception& error) {
  std::cerr << "nerio_equal_answers: " << error.what() << '\n';
  return 1;
}
