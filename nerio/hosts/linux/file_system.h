#pragma once

#include "nerio/platform/file_system.h"

namespace nerio::platform {

/// Gives the trace log's files by POSIX calls. The statuses are those of `errno`. Paths take the form of
/// `nerio/hosts/linux/native_path.h` and end at their first NUL.
///
/// There are no hidden or system files here: a file whose name begins with a dot is an ordinary one. Links are
/// followed: a link to an ordinary file counts, a FIFO, a socket, a device or a folder does not.
class PosixFileSystem final : public FileSystem {
 public:
  SystemStatus FindOrdinaryFile(const Text& path, bool& found) override;

  /// Never waits: a file that another process holds under a lease answers EAGAIN, a FIFO put in the file's place ENXIO.
  /// The descriptor is not inherited by programs that the process starts.
  SystemStatus OpenForAppend(const Text& path, FileHandle& opened) override;

  /// Appends in one write, which no other appending writer can split. Only when the system takes a part of the bytes (a
  /// full disk, a limit on the file's size) is the rest written by another one; if that fails, the part stays in the
  /// file. A file beyond the process's size limit answers EFBIG where the program ignores SIGXFSZ.
  SystemStatus Append(FileHandle file, std::span<const char> bytes) override;

  SystemStatus Close(FileHandle file) override;

  /// Answers in the language that the program has set for messages, whatever the encoding of its locale is.
  Text Describe(SystemStatus status) override;
};

}  // namespace nerio::platform
