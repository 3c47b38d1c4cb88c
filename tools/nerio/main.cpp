#include <iostream>

#include "nerio/component/version.h"
#include "nerio/platform/host.h"
#include "tools/nerio/command_line.h"
#include "tools/nerio/console.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  nerio::tool::PrepareStandardStreams();
  const auto host = nerio::platform::OpenHost();
  return nerio::tool::CommandLine(nerio::NerioVersion())
      .Run(nerio::tool::Arguments(argc, argv), host->Services(), std::cin, std::cout, std::cerr,
           nerio::tool::IsSomebodyAtTerminal());
}
