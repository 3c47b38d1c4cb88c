#include <iostream>

#include "nerio/component/version.h"
#include "nerio/platform/console.h"
#include "nerio/platform/host.h"
#include "tools/nerio/command_line.h"

int main(int argc, char** argv) {
  namespace platform = nerio::platform;
  std::ios::sync_with_stdio(false);
  platform::PrepareStandardStreams();
  const auto host = platform::OpenHost();
  return nerio::tool::CommandLine(nerio::NerioVersion())
      .Run(platform::Arguments(argc, argv), host->Services(), std::cin, std::cout, std::cerr,
           platform::IsSomebodyAtTerminal());
}
