#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "tools/nerio/command_line.h"

namespace nerio::tool {

/// The trace file of the library that the tool works with.
struct TraceFile {
  std::filesystem::path path;
  std::string shown;       ///< the path in UTF-8
  bool present = false;    ///< tracing is on
  std::uint64_t size = 0;  ///< in bytes; 0 when off
};

/// Finds the trace file as the layer does. @throws Failure when the system cannot tell.
TraceFile FindTraceFile(Session& session);

}  // namespace nerio::tool
