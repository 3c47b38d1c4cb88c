#include <cstdio>
#include <iostream>
#include <new>

#include "nerio/component/version.h"
#include "nerio/platform/host.h"
#include "tools/nerio/command_line.h"
#include "tools/nerio/console.h"

int main(int argc, char** argv) try {
  std::ios::sync_with_stdio(false);
  nerio::tool::PrepareStandardStreams();
  const auto host = nerio::platform::OpenHost();
  return nerio::tool::CommandLine(nerio::NerioVersion())
      .Run(nerio::tool::Arguments(argc, argv), host->Services(), std::cin, std::cout, std::cerr,
           nerio::tool::IsSomebodyAtTerminal(), {nerio::tool::IsErrorTerminal(), nerio::tool::IsOutputTerminal()});
} catch (const std::bad_alloc&) {
  // Nothing that allocates, and nobody to tell if it fails.
  static_cast<void>(std::fputs("nerio: there is not enough memory\n", stderr));
  return static_cast<int>(nerio::tool::Exit::kFailed);
}
