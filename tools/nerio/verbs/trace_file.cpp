#include "tools/nerio/verbs/trace_file.h"

#include <system_error>

#include "nerio/support/build_path.h"
#include "nerio/support/trace_log.h"
#include "tools/nerio/files.h"
#include "tools/nerio/whole_file.h"

namespace nerio::tool {

using platform::SystemStatus;

TraceFile FindTraceFile(Session& session) {
  TraceFile trace;
  Text folder;
  SystemStatus status = session.host.module.Folder(folder);
  if (status != SystemStatus::kSuccess) throw FileFailure(session, status, "cannot find the folder of the library");
  const Text path = BuildPath(folder, kTraceFileName);
  trace.path = SystemPath(path);
  const std::u8string shown = trace.path.u8string();
  trace.shown.assign(shown.begin(), shown.end());
  status = session.host.files.FindOrdinaryFile(path, trace.present);
  if (status != SystemStatus::kSuccess) throw FileFailure(session, status, "cannot look for " + trace.shown);
  if (trace.present) {
    std::error_code failure;
    trace.size = std::filesystem::file_size(trace.path, failure);
    if (failure) throw FileFailure(session, SystemStatus{failure.value()}, "cannot get the size of " + trace.shown);
  }
  return trace;
}

}  // namespace nerio::tool
