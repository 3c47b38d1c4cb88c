#include "tools/nerio/console.h"

#include <unistd.h>

namespace nerio::tool {

bool IsSomebodyAtTerminal() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

void PrepareStandardStreams() {}

std::vector<std::string> Arguments(int argc, const char* const* argv) {
  return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

}  // namespace nerio::tool
