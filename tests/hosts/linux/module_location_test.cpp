#include "nerio/hosts/linux/module_location.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "nerio/hosts/linux/native_path.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::AnswerOfChild;
using testing::OutputOfProgram;

// Loads a library that this code is linked into and returns its way of asking for its own folder.
std::string FolderAskedIn(void* library) {
  if (library == nullptr) throw std::runtime_error(::dlerror());
  const auto probe = reinterpret_cast<std::size_t (*)(char*, std::size_t)>(::dlsym(library, "ProbeFolder"));
  if (probe == nullptr) throw std::runtime_error(::dlerror());
  std::array<char, 4096> folder;
  return {folder.data(), probe(folder.data(), folder.size())};
}

void ChangeFolder(const fs::path& folder) {
  if (::chdir(folder.c_str()) != 0) throw std::runtime_error("chdir");
}

class LinuxModule : public ::testing::Test {
 protected:
  fs::path CopyTo(const std::string& source, const fs::path& name) {
    fs::path copy = folder_.path() / name;
    fs::create_directories(copy.parent_path());
    fs::copy_file(source, copy);
    return copy;
  }

  testing::TemporaryFolder folder_;
};

TEST_F(LinuxModule, CodeInTheProgram_AnswersTheProgramsFolder) {
  Text folder = u"junk";
  ASSERT_EQ(LinuxModuleLocation().Folder(folder), SystemStatus::kSuccess);
  EXPECT_EQ(NativePath(folder), fs::read_symlink("/proc/self/exe").parent_path().native());
}

TEST_F(LinuxModule, LibraryLoadedByARelativePath_KeepsItsFolderAfterAChangeOfTheCurrentOne) {
  const fs::path library = CopyTo(NERIO_LOCATION_PROBE_LIBRARY, "lib/probe.so");
  EXPECT_EQ(AnswerOfChild([&] {
              ChangeFolder(folder_.path());
              void* loaded = ::dlopen("lib/../lib/probe.so", RTLD_NOW);
              ChangeFolder("/");
              return FolderAskedIn(loaded);
            }),
            library.parent_path().native());
}

TEST_F(LinuxModule, LibraryLoadedThroughALink_AnswersTheFolderOfTheFileItself) {
  const fs::path library = CopyTo(NERIO_LOCATION_PROBE_LIBRARY, "real/probe.so");
  fs::create_directory(folder_.path() / "links");
  const fs::path link = folder_.path() / "links" / "probe.so";
  fs::create_symlink("../real/probe.so", link);
  EXPECT_EQ(AnswerOfChild([&] { return FolderAskedIn(::dlopen(link.c_str(), RTLD_NOW)); }),
            library.parent_path().native());
}

// A file in memory alone has no folder; the one through which it was loaded is the best answer.
TEST_F(LinuxModule, LibraryWithoutAFileName_AnswersTheFolderItWasLoadedThrough) {
  EXPECT_EQ(AnswerOfChild([&]() -> std::string {
              std::ifstream source(NERIO_LOCATION_PROBE_LIBRARY, std::ios::binary);
              const fs::path file = "/proc/self/fd/" + std::to_string(::memfd_create("probe.so", 0));
              std::ofstream(file, std::ios::binary) << source.rdbuf();
              return FolderAskedIn(::dlopen(file.c_str(), RTLD_NOW));
            }),
            "/proc/self/fd");
}

TEST_F(LinuxModule, TwoCopiesInOneProcess_AnswerEachItsOwnFolder) {
  const fs::path one = CopyTo(NERIO_LOCATION_PROBE_LIBRARY, "one/probe.so");
  const fs::path two = CopyTo(NERIO_LOCATION_PROBE_LIBRARY, "two/probe.so");
  EXPECT_EQ(AnswerOfChild([&] {
              void* first = ::dlopen(one.c_str(), RTLD_NOW);
              void* second = ::dlopen(two.c_str(), RTLD_NOW);
              return FolderAskedIn(first) + " " + FolderAskedIn(second);
            }),
            one.parent_path().native() + " " + two.parent_path().native());
}

TEST_F(LinuxModule, FolderOfAnyName_IsAnswered) {
  for (const fs::path name : {"citt\xC3\xA0", "latin \xE0", "back\\slash", "a b"}) {
    const fs::path library = CopyTo(NERIO_LOCATION_PROBE_LIBRARY, name / "probe.so");
    EXPECT_EQ(AnswerOfChild([&] { return FolderAskedIn(::dlopen(library.c_str(), RTLD_NOW)); }),
              library.parent_path().native());
  }
}

TEST_F(LinuxModule, LibraryInTheRootFolder_AnswersTheRootFolder) {
  CopyTo(NERIO_LOCATION_PROBE_LIBRARY, "probe.so");
  const std::string answer = AnswerOfChild([&]() -> std::string {
    if (::geteuid() != 0 && ::unshare(CLONE_NEWUSER) != 0) return "no right to change the root folder";
    if (::chroot(folder_.path().c_str()) != 0) return "no right to change the root folder";
    ChangeFolder("/");
    return FolderAskedIn(::dlopen("/probe.so", RTLD_NOW));
  });
  if (answer == "no right to change the root folder") GTEST_SKIP() << answer;
  EXPECT_EQ(answer, "/");
}

TEST_F(LinuxModule, ProgramStartedByABareName_AnswersItsFolder) {
  const fs::path program = CopyTo(NERIO_LOCATION_PROBE_PROGRAM, "bin/nerio-probe");
  const std::string path = "PATH=" + program.parent_path().native() + ":" + std::getenv("PATH");
  EXPECT_EQ(OutputOfProgram("sh", {"sh", "-c", "cd / && nerio-probe"}, {path}), program.parent_path().native());
}

TEST_F(LinuxModule, ProgramUnderAnotherName_AnswersItsFolder) {
  const fs::path program = CopyTo(NERIO_LOCATION_PROBE_PROGRAM, "bin/nerio-probe");
  EXPECT_EQ(OutputOfProgram(program, {"/somewhere/else"}), program.parent_path().native());
}

// A program under a sanitizer cannot be linked statically.
#ifdef NERIO_LOCATION_PROBE_STATIC_PROGRAM
TEST_F(LinuxModule, ProgramLinkedStatically_AnswersItsFolder) {
  const fs::path program = CopyTo(NERIO_LOCATION_PROBE_STATIC_PROGRAM, "bin/nerio-probe");
  EXPECT_EQ(OutputOfProgram(program, {"nerio-probe"}), program.parent_path().native());
}
#endif

}  // namespace
}  // namespace nerio::platform
