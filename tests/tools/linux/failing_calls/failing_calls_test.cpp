// Every system call of the tool fails once, and every allocation: whatever the verb, it ends by itself, says that something
// failed or has done everything, leaves the old state or the new one and no file of its own, and works again afterwards.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tests/testing/temporary_folder.h"

namespace nerio::tool {
namespace {

namespace fs = std::filesystem;

constexpr char kKey[] = R"(HKCU\Software\Nerio\App)";
constexpr unsigned kSecondsForOneRun = 60;
constexpr int kErrors[] = {EIO, ENOSPC, EDQUOT, EMFILE, ENFILE, EACCES, EROFS, ENOMEM};
constexpr int kMostCalls = 40;  // a sweep takes a second or two then

int runs = 0;

// Every call and every error, which takes long.
bool EveryCall() { return std::getenv("NERIO_EVERY_CALL") != nullptr; }

struct ProgramRun {
  int exit = 0;  // or minus the signal that ended it
  std::string out;
  std::string err;
};

std::string ContentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Verb {
  const char* name;
  std::vector<std::string> arguments;
  bool sameOutput = true;  // a run that succeeds says what every other says
  bool inSteps = false;    // what stops it leaves the steps done before it
  int never = -1;          // an exit code that no failure may have, as it says something else
  bool traced = false;     // tracing is on
  // Who may write there is told by name: by number when the name cannot be looked up, and short of memory the C library's lookup
  // (nss_database.c) may end the program.
  bool looksUpNames = false;
};

std::vector<Verb> Verbs() {
  const std::string key = kKey;
  return {
      {"get", {"reg", "get", key, "Nome"}},
      {"list", {"reg", "list", key}},
      {"test", {"reg", "test", key, "Nome"}, true, false, 3},
      {"find", {"reg", "find", "Lingua", key}, true, false, 3},
      {"diff", {"reg", "diff", key, "same.reg"}, true, false, 1},
      {"tree", {"reg", "tree", key, "--values"}},
      {"export", {"reg", "export", key, "-o", "exported.reg"}},
      {"overwrite", {"reg", "set", key, "Nome", "nuovo"}},
      {"set in a new branch", {"reg", "set", key + R"(\Nuovo\Ramo)", "Nome", "nuovo"}, true, true},
      {"create", {"reg", "create", key + R"(\Creato)"}},
      {"delete a value", {"reg", "delete", key, "Nome", "--yes"}},
      {"delete a branch", {"reg", "delete", key, "--recursive", "--yes"}, true, true},
      {"import into one key", {"reg", "import", "one.reg"}},
      {"copy", {"reg", "copy", key, key + "Copia"}, true, true},
      {"rename", {"reg", "rename", key, "Nuova"}, true, true},
      {"repair", {"reg", "repair", key}},
      // What they could not find out they say, and it is not always a fault.
      {"registry doctor", {"reg", "doctor"}, false},
      {"doctor", {"doctor"}, false},
      {"xml new", {"xml", "new", "new.xml", "impostazioni"}},
      {"xml set", {"xml", "set", "old.xml", "/a", "b", "c"}},
      {"xml check", {"xml", "check", "old.xml"}},
      {"xml get", {"xml", "get", "old.xml", "/a"}},
      {"xml add", {"xml", "add", "old.xml", "/a", "b", "testo"}},
      {"xml delete", {"xml", "delete", "two.xml", "/a/b", "--yes"}},
      {"xml format", {"xml", "format", "two.xml"}},
      {"base64 encode", {"base64", "encode", "prova"}},
      {"base64 decode", {"base64", "decode", "cAByAG8AdgBhAA=="}},
      // A date that cannot be read for any reason is the zero date, by intent.
      {"date", {"date", "31/12/1999"}, false},
      {"guid", {"guid"}, false},
      {"trace on", {"trace", "on"}, false, false, -1, false, true},
      {"trace status", {"trace", "status"}, false, false, -1, true, true},
      {"trace off", {"trace", "off", "--yes"}, true, false, -1, true},
      {"trace tail", {"trace", "tail"}, true, false, 3, true},
  };
}

class FailingCalls : public ::testing::TestWithParam<Verb> {
 protected:
  FailingCalls() : folder_(temporary_.path()) {
    fs::create_directory(folder_ / "filled");
    // The trace log lies beside the library, so this one is a copy.
    fs::create_directory(folder_ / "filled/lib");
    fs::copy_file(NERIO_LIBRARY, folder_ / "filled/lib" / fs::path(NERIO_LIBRARY).filename());
    work_ = folder_ / "filled";
    Write("filled/one.reg", "Windows Registry Editor Version 5.00\r\n\r\n[" + Full(kKey) +
                                "]\r\n\"Nome\"=\"importato\"\r\n"
                                "\"Altro\"=\"importato\"\r\n");
    Write("filled/old.xml", "<a/>");
    Write("filled/two.xml", "<a><b/></a>");
    for (const char* name : {"Nome", "Lingua", "Nota"}) {
      EXPECT_EQ(Run({"reg", "set", kKey, name, std::string("di ") + name}, "").exit, 0);
    }
    EXPECT_EQ(Run({"reg", "set", std::string(kKey) + R"(\Finestre)", "Larghezza", "640"}, "").exit, 0);
    EXPECT_EQ(Run({"reg", "export", kKey, "-o", "same.reg"}, "").exit, 0);
    if (GetParam().traced) Write("filled/lib/Nerio.log", "GetDate IN : ieri\r\nGetDate OUT : 00:00:00\r\n");
    Start();
    oldSettings_ = Settings();
    oldFiles_ = Files();
    outcome_ = Undisturbed();
    EXPECT_EQ(outcome_.run.exit, 0) << outcome_.run.err;
  }

  static std::string Full(const std::string& key) { return "HKEY_CURRENT_USER" + key.substr(4); }

  void Write(const std::string& name, const std::string& content) { std::ofstream(folder_ / name) << content; }

  // Makes the folder that a run works in anew.
  void Start() {
    work_ = folder_ / "work";
    fs::remove_all(work_);
    fs::copy(folder_ / "filled", work_, fs::copy_options::recursive);
  }

  // Runs the tool in the work folder. `plan`: what NERIO_FAILING_CALL takes, "" for no failure.
  ProgramRun Run(const std::vector<std::string>& arguments, const std::string& plan) {
    const fs::path out = folder_ / "out";
    const fs::path err = folder_ / "err";
    failed_ = folder_ / "failed";
    std::ofstream(failed_, std::ios::trunc);
    std::fflush(stdout);  // not once more by the child
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(kSecondsForOneRun);
      const bool ready = ::chdir(work_.c_str()) == 0 && std::freopen("/dev/null", "r", stdin) != nullptr &&
                         std::freopen(out.c_str(), "w", stdout) != nullptr &&
                         std::freopen(err.c_str(), "w", stderr) != nullptr;
      if (!ready) ::_exit(125);
      ::setenv("NERIO_REGISTRY", (work_ / "registry").c_str(), 1);
      ::setenv("LD_LIBRARY_PATH", (work_ / "lib").c_str(), 1);
      ::setenv("LC_ALL", "C.UTF-8", 1);
      if (!plan.empty()) {
        ::setenv("NERIO_FAILING_CALL", plan.c_str(), 1);
        ::setenv("NERIO_FAILED_CALL", failed_.c_str(), 1);
        ::setenv("LD_PRELOAD", NERIO_FAILING_CALLS, 1);
      }
      std::vector<char*> pointers{const_cast<char*>("nerio")};
      for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
      pointers.push_back(nullptr);
      ::execv(NERIO_PROGRAM, pointers.data());
      ::_exit(126);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), ContentOf(out), ContentOf(err)};
  }

  std::string FailedCall() const { return ContentOf(failed_); }

  // All settings as a text.
  std::string Settings() {
    const ProgramRun run = Run({"reg", "export", R"(HKCU\Software)"}, "");
    return std::to_string(run.exit) + run.out;
  }

  // The files of the work folder but for the registry's, and the trace log, with their contents.
  std::map<std::string, std::string> Files() {
    std::map<std::string, std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(work_)) {
      if (entry.is_regular_file()) found[entry.path().filename()] = ContentOf(entry.path());
    }
    if (fs::exists(work_ / "lib/Nerio.log")) found["Nerio.log"] = ContentOf(work_ / "lib/Nerio.log");
    return found;
  }

  // What the verb does when nothing fails.
  struct Outcome {
    ProgramRun run;
    std::string settings;
    std::map<std::string, std::string> files;
  };
  Outcome Undisturbed() {
    Start();
    Outcome outcome;
    outcome.run = Run(GetParam().arguments, "");
    outcome.settings = Settings();
    outcome.files = Files();
    return outcome;
  }

  // Runs the verb with one fault.
  void RunWith(const std::string& plan, bool mustSucceed);

  // Lets the calls that the verb makes fail one after the other: all of them, or as many as kMostCalls that are spread over
  // them.
  void SweepWith(const std::string& fault, bool mustSucceed = false) {
    Start();
    Run(GetParam().arguments, "0 " + fault);
    const int calls = std::stoi(FailedCall());
    ASSERT_GT(calls, 0) << "no call that could fail: " << fault;
    const int step = EveryCall() ? 1 : calls / kMostCalls + 1;
    for (int call = calls; call > 0; call -= step) RunWith(std::to_string(call) + " " + fault, mustSucceed);
  }

  testing::TemporaryFolder temporary_;
  fs::path folder_;
  fs::path work_;
  fs::path failed_;
  std::string oldSettings_;
  std::map<std::string, std::string> oldFiles_;
  Outcome outcome_;
  bool faultIsPlanted_ = false;  // every run is taken for one that succeeded
};

void FailingCalls::RunWith(const std::string& plan, bool mustSucceed) {
  Start();
  ProgramRun run = Run(GetParam().arguments, plan);
  ++runs;
  if (faultIsPlanted_) run.exit = 0;
  const std::string failed = FailedCall();
  SCOPED_TRACE(plan + ": " + failed + ", exit " + std::to_string(run.exit) + ", " + run.err);
  // Short of memory the JSON library ends the program; the system's library says so.
  const bool ended = (run.exit == -SIGABRT && run.err.find("std::bad_alloc") != std::string::npos) ||
                     (run.exit < 0 && GetParam().looksUpNames && plan.ends_with("memory"));
  EXPECT_TRUE(run.exit >= 0 || ended) << "ended by a signal";
  if (mustSucceed) {
    EXPECT_EQ(run.exit, 0);
  }
  const std::string settings = Settings();
  std::map<std::string, std::string> files = Files();
  // A file that could not be deleted stays, under a name that says whose it is.
  if (failed == "unlink" || ended) {
    std::erase_if(files, [](const auto& file) { return file.first.rfind(".nerio-", 0) == 0; });
  }
  const bool done = settings == outcome_.settings && files == outcome_.files;
  if (run.exit == 0) {
    EXPECT_TRUE(done) << settings;
    if (GetParam().sameOutput) {
      EXPECT_EQ(run.out, outcome_.run.out);
    }
    return;
  }
  // Short of memory the tool may not come to the verb, whose codes are its own.
  const bool shortOfMemory = run.err.find("not enough memory") != std::string::npos;
  const bool denied = plan.ends_with(" " + std::to_string(EACCES));  // such a key is passed over
  EXPECT_TRUE(run.exit != GetParam().never || shortOfMemory || denied);
  EXPECT_TRUE(!run.err.empty() || run.out != outcome_.run.out) << "failed without a word";
  if (done) return;
  if (!GetParam().inSteps) {
    EXPECT_EQ(settings, oldSettings_);
    EXPECT_EQ(files, oldFiles_);
  }
  EXPECT_EQ(Run(GetParam().arguments, "").exit, 0) << "does not work again";
  EXPECT_EQ(Settings(), outcome_.settings);
}

TEST_P(FailingCalls, EachSystemCallAnswersAnError) {
  for (const int error : kErrors) {
    SweepWith(std::to_string(error));
    if (!EveryCall()) break;
  }
}

TEST_P(FailingCalls, EachCallThatMayBeIsInterrupted_WhichNobodySees) { SweepWith("interrupt", true); }

TEST_P(FailingCalls, EachTransferIsShort_WhichNobodySees) { SweepWith("short", true); }

TEST_P(FailingCalls, EachAllocationGetsNothing) { SweepWith("memory"); }

class PlantedFault : public FailingCalls {};

TEST_P(PlantedFault, ToolThatAlwaysSaysDone_IsSeen) {
  faultIsPlanted_ = true;
  ::testing::TestPartResultArray found;
  {
    const ::testing::ScopedFakeTestPartResultReporter reporter(&found);
    SweepWith(std::to_string(EIO));
  }
  EXPECT_GT(found.size(), 0);
}

std::string NameOf(const ::testing::TestParamInfo<Verb>& info) {
  std::string name = info.param.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}
void PrintTo(const Verb& verb, std::ostream* out) { *out << verb.name; }
INSTANTIATE_TEST_SUITE_P(Tool, FailingCalls, ::testing::ValuesIn(Verbs()), NameOf);

std::vector<Verb> ChangingVerbs() {
  std::vector<Verb> verbs = Verbs();
  std::erase_if(verbs, [](const Verb& verb) {
    return verb.name != std::string("overwrite") && verb.name != std::string("xml set");
  });
  return verbs;
}
INSTANTIATE_TEST_SUITE_P(Tool, PlantedFault, ::testing::ValuesIn(ChangingVerbs()), NameOf);

class Count : public ::testing::Environment {
  void TearDown() override { std::cout << runs << " runs of " << Verbs().size() << " verbs with one fault each\n"; }
};
[[maybe_unused]] const ::testing::Environment* const count = ::testing::AddGlobalTestEnvironment(new Count);

}  // namespace
}  // namespace nerio::tool
