#include "nerio/support/build_path.h"

#include <cstddef>
#include <cstdint>

namespace nerio {

Text BuildPath(TextView folder, TextView fileName) {
  constexpr char16_t kSeparator = u'\\';
  Text path;
  path.reserve(folder.size() + 1 + fileName.size());
  path.append(folder).append(1, kSeparator).append(fileName);

  // Most paths have no pair to fold. This look has no branches, so that compilers compare many characters at once.
  const char16_t* const units = path.data();
  std::uint16_t pairs = 0;
  for (std::size_t i = 1; i < path.size(); ++i) pairs |= (units[i - 1] == kSeparator) & (units[i] == kSeparator);
  if (pairs == 0) return path;

  // One pass only, on purpose: a separator that is left beside a folded pair stays.
  std::size_t kept = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    path[kept++] = path[i];
    if (path[i] == kSeparator && i + 1 < path.size() && path[i + 1] == kSeparator) ++i;
  }
  path.resize(kept);
  return path;
}

}  // namespace nerio
