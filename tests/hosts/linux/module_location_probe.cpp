// A library of its own and, with NERIO_PROBE_PROGRAM, a program: each tells the folder that it was found to lie in.

#include <cstddef>
#include <cstdio>
#include <string>

#include "nerio/hosts/linux/module_location.h"
#include "nerio/hosts/linux/native_path.h"

namespace {

std::string Folder() {
  nerio::Text folder;
  const nerio::platform::SystemStatus status = nerio::platform::LinuxModuleLocation().Folder(folder);
  return status == nerio::platform::SystemStatus::kSuccess ? nerio::platform::NativePath(folder)
                                                           : "status " + std::to_string(NumberOf(status));
}

}  // namespace

#ifdef NERIO_PROBE_PROGRAM
int main() { return std::fputs(Folder().c_str(), stdout) < 0 ? 1 : 0; }
#else
extern "C" std::size_t ProbeFolder(char* folder, std::size_t capacity) { return Folder().copy(folder, capacity); }
#endif
