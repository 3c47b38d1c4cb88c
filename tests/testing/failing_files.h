#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "nerio/platform/file_system.h"
#include "nerio/platform/module_location.h"

namespace nerio::testing {

/// The files of a host in memory, with the folder of its library. Keeps a transcript of every call and can make one of
/// them fail. Whoever implements `FileSystem` for a host shares its conformance suite with this model.
class FailingFiles final : public platform::FileSystem, public platform::ModuleLocation {
 public:
  enum class Kind : std::uint8_t { Ordinary, ReadOnly, Archived, Hidden, System, Folder };

  struct Entry {
    Kind kind = Kind::Ordinary;
    std::string content;
    /// The status that an open answers because somebody else holds the file; 0: nobody does.
    platform::SystemStatus heldByOther = platform::SystemStatus::kSuccess;

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  explicit FailingFiles(Text libraryFolder = u"C:\\Nerio") : folder(std::move(libraryFolder)) {}

  /// What there is, by full path.
  std::map<Text, Entry> entries;
  /// The folder that holds the library file.
  Text folder;
  /// Each call but `Describe`, in order, with its arguments: `Append(1, "abc\r\n")`.
  std::vector<std::string> calls;
  /// The handles that are open. A handle is the lowest free number from 1 on.
  std::set<platform::FileHandle> openHandles;

  /// Makes the `number`-th call of the transcript, counted from 1, answer `status` without doing anything else; a close
  /// still gives the handle back. 0 makes no call fail.
  void FailCall(std::size_t number, platform::SystemStatus status) {
    failingCall_ = number;
    failure_ = status;
  }

  platform::SystemStatus Folder(Text& answer) override;
  platform::SystemStatus FindOrdinaryFile(const Text& path, bool& found) override;
  platform::SystemStatus OpenForAppend(const Text& path, platform::FileHandle& opened) override;
  platform::SystemStatus Append(platform::FileHandle file, std::span<const char> bytes) override;
  platform::SystemStatus Close(platform::FileHandle file) override;
  /// Answers "fault" and the number.
  Text Describe(platform::SystemStatus status) override;

  /// What a path of which nothing exists, a folder, a read-only file and an unknown handle answer.
  static constexpr platform::SystemStatus kMissing{2};
  static constexpr platform::SystemStatus kDenied{5};
  static constexpr platform::SystemStatus kBadHandle{6};

 private:
  bool Fails(std::string call);

  std::map<platform::FileHandle, Text> pathOfHandle_;
  std::size_t failingCall_ = 0;
  platform::SystemStatus failure_ = platform::SystemStatus::kSuccess;
};

}  // namespace nerio::testing
