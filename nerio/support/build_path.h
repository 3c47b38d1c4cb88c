#pragma once

#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Joins a folder and a file name: the folder, one "\", the file name, and then every pair of adjacent "\" folded to
/// one in a single pass from left to right over the whole result. The pass is not repeated: of three separators two
/// stay, of four also two.
///
/// Both arguments are taken literally; no file system is asked. On purpose, a folder in UNC form loses one of its two
/// leading separators ("\\server\share" and "a.log" give "\server\share\a.log"), and a folder that ends in "\" with a
/// name that begins with one keeps two ("C:\Dir\" and "\a.log" give "C:\Dir\\a.log").
///
/// @param folder a folder path with or without a trailing "\". Empty: the result begins with "\".
/// @param fileName a file name or relative path with or without a leading "\". Empty: the result ends with "\".
/// @return the joined path. Raises nothing but std::bad_alloc.
NERIO_PUBLIC Text BuildPath(TextView folder, TextView fileName);

}  // namespace nerio
