#pragma once

#include <ostream>

#include "nerio/platform/status.h"

namespace nerio::platform {

// Here, where the tests find them for their messages and failed comparisons; the library itself writes no status.
inline std::ostream& operator<<(std::ostream& out, Status status) { return out << NumberOf(status); }
inline std::ostream& operator<<(std::ostream& out, SystemStatus status) { return out << NumberOf(status); }
inline std::ostream& operator<<(std::ostream& out, AutomationStatus status) { return out << NumberOf(status); }

}  // namespace nerio::platform
