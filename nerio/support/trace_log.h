#pragma once

#include "nerio/platform/host.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// The name of the trace file in the folder of the component's own library file.
inline constexpr TextView kTraceFileName = u"Nerio.log";

/// Appends one record to the trace file, if there is one: the message exactly as passed, then CR LF, converted to the
/// host's ANSI code page. Nothing else is added: no time stamp, no process, no level.
///
/// The file switches tracing on by being there: an ordinary file, neither hidden nor a system file, called
/// `kTraceFileName` in the folder of the component's library file. It is looked for on every call and never created.
/// Without it the call does nothing. The record is in the file when the call returns; nothing is kept between calls,
/// and writers are not coordinated.
///
/// The file's path is computed twice, on purpose: once to look for the file and once to open it.
///
/// Traps nothing: a failure to find the library's folder, to look for the file, to open, write or close it is raised.
/// If the write fails, the file stays open for the rest of the process, on purpose; every other failure leaves no
/// handle.
///
/// @param message any text, also empty or with line ends of its own.
/// @throws Error number: the platform's own error number; source: "WriteLog"; description: the platform's text for it.
NERIO_PUBLIC void WriteLog(TextView message, const platform::Host& host = platform::ThisHost());

}  // namespace nerio
