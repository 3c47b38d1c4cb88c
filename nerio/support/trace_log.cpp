#include "nerio/support/trace_log.h"

#include <string>

#include "nerio/support/build_path.h"
#include "nerio/types/error.h"

namespace nerio {
namespace {

void RaiseUnlessSuccess(platform::SystemStatus status, const platform::Host& host) {
  if (status != platform::SystemStatus::kSuccess)
    throw Error(NumberOf(status), u"WriteLog", host.files.Describe(status));
}

Text TraceFilePath(const platform::Host& host) {
  Text folder;
  RaiseUnlessSuccess(host.module.Folder(folder), host);
  return BuildPath(folder, kTraceFileName);
}

}  // namespace

void WriteLog(TextView message, const platform::Host& host) {
  bool found = false;
  RaiseUnlessSuccess(host.files.FindOrdinaryFile(TraceFilePath(host), found), host);
  if (!found) return;

  const std::string record = host.codePage.ToAnsi(message).bytes() + "\r\n";
  // The path is computed a second time, deliberately.
  platform::FileHandle file{};
  RaiseUnlessSuccess(host.files.OpenForAppend(TraceFilePath(host), file), host);
  // A failed write leaves the file open, deliberately.
  RaiseUnlessSuccess(host.files.Append(file, record), host);
  RaiseUnlessSuccess(host.files.Close(file), host);
}

}  // namespace nerio
