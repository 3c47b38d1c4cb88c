#include "nerio/component/version.h"

namespace nerio {

const char* NerioVersion() noexcept { return NERIO_VERSION; }

}  // namespace nerio
