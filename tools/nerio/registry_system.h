#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "nerio/platform/registry_api.h"

namespace nerio::tool {

/// Says where one predefined root of the registry is kept.
struct RegistryPlace {
  platform::KeyHandle root = 0;
  /// Where it is, in UTF-8: the folder of the root, or the root's own name where the system keeps its registry itself.
  std::string place;
  /// False when the root is not there yet: the first change makes it, or answers 2 to whoever may not.
  bool present = false;
};

/// Says which place the machine's roots have for this user.
struct MachineRoots {
  enum class Place {
    System,   ///< the system keeps its registry itself
    Named,    ///< the folder that NERIO_REGISTRY names
    Machine,  ///< the machine's, which its users share
    User,     ///< the user's own
    None,     ///< the user's own, and nothing says where that is
  };
  Place place = Place::System;
  /// What decided it, in English: the rest of a sentence that begins with "because".
  std::string why;
  /// Roots that are there in the other one of the machine's place and the user's, where no call looks.
  std::vector<RegistryPlace> unused;
};

/// One thing that a check of the registry found.
struct RegistryFinding {
  enum class Kind {
    Damage,    ///< stored bytes that do not check; calls that need them fail
    Refused,   ///< something that this user may not read, so that nothing can be said about it
    Leftover,  ///< what a killed process left behind, or looks like it; no call ever sees it
    Exposed,   ///< a file that more users have rights on than should
  };
  Kind kind = Kind::Damage;
  /// The file or folder, in UTF-8.
  std::string place;
  /// Where in the file, in bytes from its start; 0 for a folder.
  std::uint64_t offset = 0;
  /// What is wrong there, in English.
  std::string what;
};

/// Says which view of the system's registry every call goes to.
struct RegistryView {
  /// The programs that have this view: 32 for those of 32 bits; 0 where the system shows every program the same.
  std::uint32_t bits = 0;
  /// The system has no other view.
  bool only = true;

  friend bool operator==(const RegistryView&, const RegistryView&) = default;
};

/// What to do about a disk that cannot be written to, and about a key that another program keeps locked.
extern const char* const kReadOnlyDiskAdvice;
extern const char* const kBusyAdvice;

/// The rights that the deletion of a key asks for on the key above it; 0 where that key is not asked.
extern const std::uint32_t kDeletionRightsAbove;

/// Tells whether this user may make a root that is missing. @return 0 or 5; 0 also where the root is there.
platform::Status CheckRootCreation(platform::KeyHandle root);

/// Returns the view that this process has. Raises nothing.
RegistryView ViewOfRegistry() noexcept;

/// Returns where the registry of this system keeps each root. Makes nothing and changes nothing.
/// @throws std::bad_alloc and nothing else.
std::vector<RegistryPlace> RegistryPlaces();

/// Says which place the machine's roots have for this user, and why. Makes nothing and changes nothing.
/// @throws std::bad_alloc and nothing else.
MachineRoots ChosenMachineRoots();

/// Tells whether a root that is there can be written to at all, whoever asks.
/// @return 0, or 19 where its disk cannot be written to.
platform::Status CheckDisk(platform::KeyHandle root);

/// What opening the machine's registry to a group came upon.
struct SharedRegistry {
  std::string folder;               ///< that of the machine's roots
  std::vector<std::string> made;    ///< roots that were missing
  std::vector<std::string> opened;  ///< the folders of roots, and of all of them, that belong to the group from now on
  std::size_t keys = 0;             ///< how many keys below those roots were opened with them
  std::vector<std::string> kept;    ///< keys with rights of their own, which were left as they are
  std::string closed;               ///< a folder above that members of the group cannot go through; empty: none
  std::string failed;               ///< the folder or file at which it ended
};

/// Makes the machine's registry where it is missing and gives it to the members of a group: they may change every key of
/// it, and those that they make. Keys that were there before and have the group and the permissions of their root are
/// opened with it.
/// @param[out] shared what was done, also on failure.
/// @throws Failure where it is refused before anything is done: another user than root, a group that does not exist, a
/// registry that is somewhere else, or a system that keeps its registry itself.
platform::Status ShareRegistry(const std::string& group, SharedRegistry& shared);

/// What became of the repair of a key.
struct RepairedKey {
  bool isRepaired = false;   ///< false: nothing was changed, as nothing was damaged
  std::string place;         ///< the damaged file, in UTF-8
  std::uint64_t offset = 0;  ///< where in it, and what was wrong there
  std::string what;
  bool otherVersion =
      false;               ///< it is not damaged, but of a version of the format that is not read: nothing was changed
  std::size_t values = 0;  ///< how many values the key has now
  std::string kept;        ///< the damaged file as it is kept, in UTF-8; empty where there was none
};

/// Why a key needs no repair: the rest of a sentence.
extern const char* const kNothingToRepair;

/// Brings back the values of a damaged key whose stored bytes have a right checksum, the last one of each name, and keeps
/// the damaged file beside. Does nothing to a key that is in order, or where the system keeps its registry itself; whether
/// there is such a key it need not tell then.
/// @param[out] repaired undefined on failure; nothing was changed then.
platform::Status RepairKey(platform::KeyHandle root, const AnsiText& path, RepairedKey& repaired);

/// Checks every key of the registry of this system, and returns what is wrong with it, in the order of the places.
/// Changes nothing. Empty where the system keeps and checks its registry itself.
/// @param reached told the share that is done, from 0 to 1.
/// @throws std::bad_alloc and what `reached` throws.
std::vector<RegistryFinding> CheckRegistry(const std::function<void(double share)>& reached = {});

}  // namespace nerio::tool
