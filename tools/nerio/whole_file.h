#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "nerio/platform/status.h"
#include "nerio/types/text.h"

namespace nerio::tool {

/// Turns a path in the layer's form, with "\" as separator, into the system's own.
std::filesystem::path SystemPath(TextView path);

/// Reads everything that a file, a pipe or a device gives.
/// @param[out] bytes the content; untouched on failure.
/// @param most of a content with more bytes than this, some more than these are read.
/// @return 0, or the system's own error number.
platform::SystemStatus ReadWholeFile(const std::filesystem::path& path, std::string& bytes,
                                     std::size_t most = std::string::npos);

/// Writes a new file. It appears with its whole content or not at all.
/// @return 0, or the system's own error number; one of them when there is something of that name already.
platform::SystemStatus CreateWholeFile(const std::filesystem::path& path, std::string_view bytes);

/// Writes a file in place of the one that may be there, whose rights it keeps. Whatever happens, power cuts included,
/// the path names the old content or the new one, whole. A link is followed; anything but an ordinary file is refused.
/// @return 0, or the system's own error number; the old content is untouched then.
platform::SystemStatus ReplaceWholeFile(const std::filesystem::path& path, std::string_view bytes);

}  // namespace nerio::tool
