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
  trace.layerPath = BuildPath(folder, kTraceFileName);
  trace.path = SystemPath(trace.layerPath);
  const std::u8string shown = trace.path.u8string();
  trace.shown.assign(shown.begin(), shown.end());
  status = session.host.files.FindOrdinaryFile(trace.layerPath, trace.present);
  if (status != SystemStatus::kSuccess) throw FileFailure(session, status, "cannot look for " + trace.shown);
  if (trace.present) {
    std::error_code failure;
    trace.size = std::filesystem::file_size(trace.path, failure);
    if (failure) throw FileFailure(session, SystemStatus{failure.value()}, "cannot get the size of " + trace.shown);
  }
  return trace;
}

void RequireAppending(Session& session, const TraceFile& trace) {
  platform::FileHandle file{};
  SystemStatus status = session.host.files.OpenForAppend(trace.layerPath, file);
  if (status == SystemStatus::kSuccess) status = session.host.files.Close(file);
  if (status == SystemStatus::kSuccess) return;
  const Failure failure = FileFailure(session, status, "you cannot append to " + trace.shown);
  throw Failure(
      failure.exit(),
      failure.what() + std::string("; WriteLog raises this in your programs, and GetDate answers the zero date"),
      "nerio trace on --for-all lets everybody write to it; nerio trace off ends tracing")
      .WithStatus(NumberOf(status));
}

}  // namespace nerio::tool
