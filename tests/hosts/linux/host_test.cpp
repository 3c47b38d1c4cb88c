#include "nerio/platform/host.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

#include "tests/hosts/linux/store/child_process.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::AnswerOfChild;
using testing::OutputOfProgram;

constexpr std::uint32_t kAllAccess = 0x2003F;

Status CreateKey(const Host& host, const AnsiText& name, KeyHandle& key) {
  std::uint32_t disposition = 0;
  return host.registry.CreateKey(kHkeyLocalMachine, name, 0, ""_ansi, 0, kAllAccess, {}, key, disposition);
}

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

template <typename Function>
Function FunctionOf(void* library, const char* name) {
  void* function = library != nullptr ? ::dlsym(library, name) : nullptr;
  if (function == nullptr) throw std::runtime_error(::dlerror());
  return reinterpret_cast<Function>(function);
}

TEST(OpenHost, TwoRegistryFolders_AreTwoIndependentHosts) {
  const testing::TemporaryFolder folder;
  const auto one = OpenHost({folder.path() / "one"});
  const auto two = OpenHost({folder.path() / "two"});
  KeyHandle inOne{};
  ASSERT_EQ(CreateKey(one->Services(), "Solo qui"_ansi, inOne), kSuccess);
  KeyHandle inTwo = 4711;
  EXPECT_EQ(two->Services().registry.OpenKey(kHkeyLocalMachine, "Solo qui"_ansi, 0, kAllAccess, inTwo), kFileNotFound);
  // An open key of one host is none of the other's.
  EXPECT_EQ(two->Services().registry.CloseKey(inOne), kInvalidHandle);
  EXPECT_EQ(one->Services().registry.CloseKey(inOne), kSuccess);
}

TEST(OpenHost, ViewsOfOneHost_ShowTheSameServices) {
  const auto host = OpenHost();
  EXPECT_EQ(&host->Services().registry, &host->Services().registry);
  EXPECT_EQ(&host->Services().regional, &host->Services().regional);
}

TEST(OpenHost, EveryService_IsThere) {
  const testing::TemporaryFolder folder;
  const auto instance = OpenHost({folder.path()});
  const Host host = instance->Services();
  EXPECT_EQ(host.codePage.Identifier(), 1252u);
  bool found = true;
  EXPECT_EQ(host.files.FindOrdinaryFile(u"\\", found), SystemStatus::kSuccess);
  EXPECT_FALSE(found);
  Text text;
  EXPECT_EQ(host.module.Folder(text), SystemStatus::kSuccess);
  EXPECT_FALSE(text.empty());
  GuidBytes guid{};
  EXPECT_EQ(host.guids.Create(guid), SystemStatus::kSuccess);
  EXPECT_EQ(host.regional.TextFromDouble(2, text), AutomationStatus::kSuccess);
  EXPECT_EQ(text, u"2");
  EXPECT_TRUE(XmlReference(host.xml, host.xml.CreateDocumentByName()));
}

TEST(OpenHost, UntouchedHost_LeavesNoTrace) {
  const testing::TemporaryFolder folder;
  OpenHost({folder.path() / "registry"})->Services();
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(ThisHost, IsOneForAllThreads) {
  const Host* here = &ThisHost();
  const Host* there = nullptr;
  std::thread([&there] { there = &ThisHost(); }).join();
  EXPECT_EQ(here, there);
  EXPECT_EQ(here, &ThisHost());
  static_assert(noexcept(ThisHost()));
}

// A process that may do nothing but compute, read and write open files is killed by any other system call. The host is
// that of a library loaded for this: the runner's own may be made already.
TEST(ThisHost, FirstUse_AsksTheSystemNothing) {
  EXPECT_EQ(AnswerOfChild([]() -> std::string {
              void* library = ::dlopen(NERIO_HOST_PROBE_LIBRARY, RTLD_NOW);
              const auto firstUse = FunctionOf<const void* (*)()>(library, "ProbeThisHost");
              const Host* runners = &ThisHost();
              if (::prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) return "no such process can be made";
              ::syscall(SYS_exit, firstUse() != runners ? 0 : 1);
              return "";
            }),
            "");
}

class ProcessHost : public ::testing::Test {
 protected:
  fs::path CopyWithTraceFile(const std::string& source, const fs::path& name) {
    fs::path copy = folder_.path() / name;
    fs::create_directories(copy.parent_path());
    fs::copy_file(source, copy);
    std::ofstream(copy.parent_path() / "Nerio.log").flush();
    return copy;
  }

  testing::TemporaryFolder folder_;
};

TEST_F(ProcessHost, LibraryLoadedByARelativePath_WritesItsTraceBesideItself) {
  const fs::path library = CopyWithTraceFile(NERIO_HOST_PROBE_LIBRARY, "lib/probe.so");
  EXPECT_EQ(AnswerOfChild([&]() -> std::string {
              if (::chdir(library.parent_path().c_str()) != 0) return "chdir";
              void* loaded = ::dlopen("./probe.so", RTLD_NOW);
              if (::chdir("/") != 0) return "chdir";
              FunctionOf<void (*)(const char16_t*)>(loaded, "ProbeWriteLog")(u"perch\u00E9");
              return "written";
            }),
            "written");
  EXPECT_EQ(Content(library.parent_path() / "Nerio.log"), "perch\xE9\r\n");
}

class ProcessHostOfProgram : public ProcessHost {
 protected:
  // Runs the program, which uses every default argument, under a registry of the test's own. Its last line comes from
  // an object that is destroyed after everything that the layer could destroy.
  void TryProgram(const std::string& source) {
    const fs::path program = CopyWithTraceFile(source, "bin/probe");
    const fs::path registry = folder_.path() / "registry";
    EXPECT_EQ(OutputOfProgram(program, {"probe"}, {"NERIO_REGISTRY=" + registry.native(), "LC_ALL=it_IT.UTF-8"}),
              "31/12/1999 1,5, key 0");
    EXPECT_EQ(Content(program.parent_path() / "Nerio.log"),
              "program\r\nGetDate IN : 31/12/1999\r\nGetDate OUT : 31/12/1999\r\nending\r\n");

    const auto host = OpenHost({registry});
    KeyHandle key{};
    EXPECT_EQ(host->Services().registry.OpenKey(kHkeyCurrentUser, "Software"_ansi, 0, kAllAccess, key), kSuccess);
    EXPECT_EQ(host->Services().registry.CloseKey(key), kSuccess);
  }
};

TEST_F(ProcessHostOfProgram, DefaultArguments_ReachTheProcessesOwnHost) { TryProgram(NERIO_HOST_PROBE_PROGRAM); }

// A program under a sanitizer cannot be linked statically.
#ifdef NERIO_HOST_PROBE_STATIC_PROGRAM
TEST_F(ProcessHostOfProgram, ProgramLinkedStatically_WorksTheSame) { TryProgram(NERIO_HOST_PROBE_STATIC_PROGRAM); }
#endif

}  // namespace
}  // namespace nerio::platform
