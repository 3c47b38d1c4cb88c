#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "nerio/platform/registry_api.h"

namespace nerio::testing {

/// One thing that a writer does to a registry.
struct Operation {
  enum class Kind {
    Set,
    Unset,
    ChangeThree,       ///< sets three values in one change
    Create,            ///< makes the key and those above it
    Delete,            ///< deletes the key
    DeleteOnFullDisk,  ///< the same where nothing can be renamed, so the key is deleted where it lies
    Damage,            ///< breaks the values file by hand, so that the value "broken" is lost
    Repair,            ///< as `nerio reg repair` does
  };
  Kind kind = Kind::Set;
  /// The folder of the registry on the disk.
  std::string place;
  /// The key's, below HKEY_LOCAL_MACHINE.
  std::string path;
  std::string name = {};
  /// Which data: no two operations have the same.
  std::uint64_t number = 0;
  std::size_t length = 0;
};

/// Returns what an operation with this number stores: text that tells its number, and whether it is whole.
std::string DataOf(std::uint64_t number, std::size_t length);

/// The names of the values that `ChangeThree` sets.
extern const std::vector<std::string> kThreeNames;
/// The value that `Damage` breaks.
extern const char* const kBrokenName;

/// Does it in the calling process, through a registry that is opened for it.
/// @param mounted the folder of the disk.
/// @return 2 also where there was nothing to delete or to repair.
platform::Status Perform(const Operation& operation, const std::filesystem::path& mounted);

/// What happened, kept where no power cut reaches it: a line before each operation and one after it, with how long the log
/// of the disk was.
class Journal {
 public:
  Journal(const std::string& file, std::string diskLog);

  void Begin(const Operation& operation);
  /// Writes down that the operation which was begun last has answered.
  void End(platform::Status status);
  /// Writes down that a sync was reached. @param place its name.
  void Reached(const std::string& place);

 private:
  void Add(const std::string& line) const;
  std::string Position() const;

  int file_;
  std::string diskLog_;
  std::string last_;
  std::uint64_t count_ = 0;
};

/// An operation as the journal tells it.
struct JournalEntry {
  Operation operation;
  std::uint64_t begun = 0;
  /// How long the log was when it had answered; the greatest number for one that never did.
  std::uint64_t ended = UINT64_MAX;
  std::int32_t status = 0;
  /// The places of the syncs that it came to; not certain where several writers were at work.
  std::vector<std::string> syncs = {};
};

std::vector<JournalEntry> ReadJournal(const std::string& file);

}  // namespace nerio::testing
