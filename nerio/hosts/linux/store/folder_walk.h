#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "nerio/hosts/linux/store/system_call.h"
#include "nerio/platform/status.h"

namespace nerio::platform {

/// Opens a file or folder by its absolute path, which may be of any length. No symbolic link is followed on any level,
/// no terminal becomes the controlling one, and opening a FIFO does not block.
/// @param flags of `open`; closing on exec is added.
/// @return a return code of the registry: 2 when it or a folder above it is missing, 5 when it is refused, 1015 when a
/// link or another kind of file stands in the way.
Status OpenByPath(const std::string& path, int flags, Descriptor& opened);

/// The same for a path below an open folder, shorter than PATH_MAX.
Status OpenBelow(int folder, const std::string& path, int flags, Descriptor& opened);

/// The same for a name inside an open folder. A file that this makes is its user's alone.
Status OpenInside(int folder, const char* name, int flags, Descriptor& opened);

/// Tells whether the process, with its effective user and groups, has rights on the file or folder at an absolute path.
/// @param rights of `access`.
/// @return 5 when one is missing; 19, whoever asks, when writing is one of them and the disk cannot be written to: then
/// the others are not known.
Status CheckRights(const std::string& path, int rights);

/// Tells whether an open file or folder lies on a disk that cannot be written to, by the file system or by this mount.
bool IsReadOnly(int file);

/// Writes bytes at an offset of an open file, all of them unless it fails.
Status WriteAt(int file, std::string_view bytes, std::uint64_t offset);

/// Gives what is stored between two offsets of an open file, piece by piece, without its holes.
Status ForEachPiece(int file, std::uint64_t offset, std::uint64_t end,
                    const std::function<void(std::uint64_t offset, std::string_view bytes)>& act);

/// Gives an open file the owner and the group of another one, as far as this user may give a file away.
void KeepOwner(int file, const struct stat& old);

/// Tells whether an open file has a second name: whoever keeps one, in a snapshot for instance, keeps the file's bytes.
/// Any doubt counts as one.
bool HasOtherName(int file);

/// Makes a file's content durable, and its length.
Status SyncFile(int file);

/// Makes the entries of a folder durable: files and folders that were made, renamed or removed. Where the file system
/// cannot sync folders on their own, there is nothing to do. @param folder open for reading.
Status SyncFolder(int folder);

}  // namespace nerio::platform
