#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// The longest name of a key, in bytes of the ANSI code page.
constexpr std::size_t kMaxKeyNameLength = 256;
/// The longest name of a value, in bytes of the ANSI code page.
constexpr std::size_t kMaxValueNameLength = 16383;

// What lies in a key's folder beside the folders of its subkeys. No key's name is ever encoded as one of these: in an
// encoded name two hexadecimal digits or a "~" follow each "%".
constexpr char kValuesFileName[] = "%values";
constexpr char kLockFileName[] = "%lock";
/// The values file that is about to replace the present one.
constexpr char kNewValuesFileName[] = "%new";
/// The folder of a key that is being created.
constexpr char kNewKeyName[] = "%make";
/// The folder of a key that was deleted.
constexpr char kDeletedKeyName[] = "%gone";
/// Begins the name of what was found under one of the two names above and not removed: it did not belong to the owner
/// of the folder it lies in, or could not be removed.
constexpr char kLeftoverPrefix[] = "%left-";

/// Tells whether a file or folder inside a key's folder is one of those above.
bool IsReservedName(std::string_view fileName);

/// Splits a key path into the names of its levels; empty names between backslashes are
/// ignored.
/// @param path ends at its first NUL.
/// @param[out] names views of `path`; empty for the empty path. Undefined on failure.
/// @return 161 when the path begins with a backslash, 87 when a name is longer than 256 bytes.
Status SplitKeyPath(std::string_view path, std::vector<std::string_view>& names);

/// Returns the name up to its first NUL.
std::string_view CutAtNul(std::string_view name);

/// Returns a number (FNV-1a, 32 bits) that names have in common when they differ in case only, and others rarely.
std::uint32_t HashOfName(std::string_view name);

/// Returns the name of the folder that holds the key called `keyName`: names that differ in case only have the same
/// one, different names have different ones. Readable ASCII stays, other bytes become "%XX"; a name that would be
/// longer than a file system takes is cut and ends in "%~" and a hash.
std::string FolderNameOfKey(std::string_view keyName);

/// Tells whether a folder's name is one that was cut, so that the key's name is only known from inside.
bool IsCutFolderName(std::string_view folderName);

/// Returns the folded name of the key whose folder has this name; nothing when no key's folder can have it, or when it
/// was cut.
std::optional<std::string> KeyNameOfFolder(std::string_view folderName);

}  // namespace nerio::platform
