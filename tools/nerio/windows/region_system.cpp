#include "tools/nerio/region_system.h"

namespace nerio::tool {

std::vector<NamedRegion> NamedRegions() { return {}; }

}  // namespace nerio::tool
