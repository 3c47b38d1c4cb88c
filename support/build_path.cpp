#include "support/build_path.h"

#include <cstddef>

namespace nerio {

Text BuildPath(TextView folder, TextView fileName) {
  constexpr char16_t kSeparator = u'\\';
  Text path;
  path.reserve(folder.size() + 1 + fileName.size());
  path.append(folder).append(1, kSeparator).append(fileName);

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
