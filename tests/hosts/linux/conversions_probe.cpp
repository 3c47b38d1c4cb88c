// Prints what the conversions answer on the process's own host: the region, the date check of each argument, a GUID.

#include <iostream>

#include "nerio/platform/host.h"
#include "nerio/support/conversions.h"
#include "nerio/types/utf8.h"

int main(int argc, char** argv) {
  std::cout << nerio::ToUtf8(nerio::platform::ThisHost().regional.RegionName()) << '\n';
  for (int i = 1; i < argc; ++i) std::cout << nerio::ToUtf8(nerio::GetDate(nerio::FromUtf8(argv[i]))) << '\n';
  std::cout << nerio::ToUtf8(nerio::GetGuid()) << '\n';
}
