#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "tools/nerio/command_line.h"

namespace nerio::tool {

/// The trace file of the library that the tool works with.
struct TraceFile {
  std::filesystem::path path;
  Text layerPath;          ///< the path as the layer's file services take it
  std::string shown;       ///< the path in UTF-8
  bool present = false;    ///< tracing is on
  std::uint64_t size = 0;  ///< in bytes; 0 when off
};

/// Opens the trace file as the layer does for a line, and closes it again.
/// @throws Failure when this user may not append to it, saying what that does to programs.
void RequireAppending(Session& session, const TraceFile& trace);

/// Finds the trace file as the layer does. @throws Failure when the system cannot tell.
TraceFile FindTraceFile(Session& session);

}  // namespace nerio::tool
