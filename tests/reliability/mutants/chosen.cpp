// Which mutant is chosen, and which places a run reaches: when the process ends, the numbers of the mutants whose places it and
// its children reached go into the file of NERIO_MUTANTS_REACHED.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "tests/reliability/mutants/mutant.h"

namespace nerio_mutants {
namespace {

constexpr unsigned kMost = 1 << 14;

struct Run {
  Run() {
    if (const char* const text = std::getenv("NERIO_MUTANT"))
      chosen = static_cast<unsigned>(std::strtoul(text, nullptr, 10));
    file = std::getenv("NERIO_MUTANTS_REACHED");
    if (file == nullptr) return;
    void* const memory = ::mmap(nullptr, kMost, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory != MAP_FAILED) reached = static_cast<bool*>(memory);
  }

  ~Run() {
    if (reached == nullptr || process != ::getpid()) return;
    std::ofstream out(file);
    for (unsigned mutant = 1; mutant < kMost; ++mutant) {
      if (reached[mutant]) out << mutant << '\n';
    }
  }

  unsigned chosen = 0;
  const char* file = nullptr;
  pid_t process = ::getpid();
  bool* reached = nullptr;
};

// Made by the first place that asks: other files' constants may be earlier than those of this one.
Run& TheRun() {
  static Run run;
  return run;
}

}  // namespace

bool IsChosen(unsigned mutant) {
  Run& run = TheRun();
  if (run.reached != nullptr) run.reached[mutant] = true;
  return mutant == run.chosen;
}

}  // namespace nerio_mutants
