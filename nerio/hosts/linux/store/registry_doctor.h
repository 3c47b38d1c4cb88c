#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "nerio/platform/host.h"
#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// Says where one predefined root of the registry is kept.
struct RegistryPlace {
  KeyHandle root = 0;
  /// The folder of the root, in UTF-8.
  std::string place;
  /// False when the root is not there yet: the first change makes it, or answers 2 to whoever may not.
  bool present = false;
};

/// One thing that a check of the registry found.
struct RegistryFinding {
  enum class Kind {
    /// Stored bytes that do not check, or something else where a key's file or folder belongs. Calls that need it
    /// fail, and no call changes it.
    Damage,
    /// Something that this user may not read, so that nothing can be said about it.
    Refused,
    /// What a killed process left behind, or looks like it. It is invisible to every call; the next writer removes it,
    /// or moves what does not belong to the key's owner out of the way.
    Leftover,
    /// A file that more users have rights on than should. Every call works; somebody could make changes wait.
    Exposed,
  };
  Kind kind = Kind::Damage;
  /// The file or folder, in UTF-8.
  std::string place;
  /// Where in the file, in bytes from its start; 0 for a folder.
  std::uint64_t offset = 0;
  /// What is wrong there, in English.
  std::string what;
};

/// Returns where the registry that `OpenHost(options)` opens keeps each root. Makes nothing and changes nothing.
/// @throws std::bad_alloc and nothing else.
std::vector<RegistryPlace> RegistryPlaces(const HostOptions& options = {});

/// Looks through every key of the registry that `OpenHost(options)` opens, and returns what is wrong with it, in the
/// order of the places. Changes nothing.
/// @param reached told the share that is done, from 0 to 1: a key counts as much as each of its subkeys with all below it.
/// @throws std::bad_alloc and what `reached` throws.
std::vector<RegistryFinding> CheckRegistry(const HostOptions& options = {},
                                           const std::function<void(double share)>& reached = {});

}  // namespace nerio::platform
