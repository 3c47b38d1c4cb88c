#include "tools/nerio/console.h"

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>

namespace nerio::tool {
namespace {

constexpr std::array<int, 3> kInterrupts = {SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, kInterrupts.size()> before;
volatile std::sig_atomic_t requested = 0;

}  // namespace

bool IsSomebodyAtTerminal() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

bool IsOutputTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

bool IsErrorTerminal() { return ::isatty(STDERR_FILENO) == 1; }

void PrepareStandardStreams() {}

std::vector<std::string> Arguments(int argc, const char* const* argv) {
  return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

HeldInterrupts::HeldInterrupts() {
  requested = 0;
  for (std::size_t i = 0; i < kInterrupts.size(); ++i) {
    ::sigaction(kInterrupts[i], nullptr, &before[i]);
    if (before[i].sa_handler == SIG_IGN) continue;
    struct sigaction note {};
    note.sa_handler = [](int) { requested = 1; };
    note.sa_flags = SA_RESTART;
    ::sigaction(kInterrupts[i], &note, nullptr);
  }
}

HeldInterrupts::~HeldInterrupts() {
  for (std::size_t i = 0; i < kInterrupts.size(); ++i) ::sigaction(kInterrupts[i], &before[i], nullptr);
}

bool HeldInterrupts::Requested() const { return requested != 0; }

}  // namespace nerio::tool
