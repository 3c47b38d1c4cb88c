#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>

#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// The predefined roots that this host has.
constexpr std::array<KeyHandle, 5> kRoots = {kHkeyClassesRoot, kHkeyCurrentUser, kHkeyLocalMachine, kHkeyUsers,
                                             kHkeyCurrentConfig};

/// What decided where the machine's roots are kept, all but HKEY_CURRENT_USER.
enum class PlaceReason {
  Named,        ///< the program or NERIO_REGISTRY names the folder of all roots
  Superuser,    ///< the machine's place: this is root
  HasRights,    ///< the machine's place: this user may read, write and search its HKEY_LOCAL_MACHINE
  MayMake,      ///< the machine's place: there is no HKEY_LOCAL_MACHINE yet, and this user may make it
  LacksRights,  ///< the user's own place: one of those rights is missing
  MayNotMake,   ///< the user's own place: there is no HKEY_LOCAL_MACHINE, and this user may not make it
};

/// Tells whether the machine's roots are in the machine's place.
constexpr bool IsMachinesPlace(PlaceReason reason) {
  return reason == PlaceReason::Superuser || reason == PlaceReason::HasRights || reason == PlaceReason::MayMake;
}

/// Knows where the roots are kept. Any thread may call it; none waits for another's calls to the system.
class RegistryRoots {
 public:
  /// @param folder the folder of all roots. Empty: that of the environment variable NERIO_REGISTRY. Where that is not set,
  /// HKEY_CURRENT_USER is in the user's own place, and the other roots are in the machine's for root and for whoever may
  /// read, write and search its HKEY_LOCAL_MACHINE (read and search it on a disk that cannot be written to), or may make
  /// that where it is missing; in the user's own for everybody else. The environment is asked on first use, not here; who
  /// has the rights, once in a process.
  explicit RegistryRoots(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Gives the path of a root as it was asked for, whether it is there or not.
  /// @return 6 when there is no such root, 2 when nothing says where it is.
  Status Place(KeyHandle root, std::string& folder);

  /// Gives the path of a root with all links resolved. They are resolved on first use and by the two below, not with
  /// each call.
  /// @return 6 when there is no such root, 2 when it is missing.
  Status Find(KeyHandle root, KeyFolder& folder);

  /// Looks again where a root is. @param[out] moved true when `Find` gives another answer now.
  /// @return as `Find` does.
  Status FindAgain(KeyHandle root, bool& moved);

  /// The same, and makes the root if it is missing.
  /// @return 2 when it is missing and this user may not make it, 170 when that had to wait until the deadline.
  Status Make(KeyHandle root, const Deadline& deadline, bool& moved);

  /// Tells whether a root is missing and this user may make it.
  bool MayMake(KeyHandle root);

  /// Tells what decided where the machine's roots are.
  Status Reason(PlaceReason& reason);

  /// Gives the path that a root would have in the other one of the machine's place and the user's own. Empty for
  /// HKEY_CURRENT_USER, which has one place, and where a folder of all roots is named.
  std::string UnusedPlace(KeyHandle root);

 private:
  struct Parent {
    std::string folder;
    /// Made with 0755, and new roots take the permissions of the folder as keys do; else all is made with 0700.
    bool isMachines = false;
  };
  struct Parents {
    Parent machine;
    Parent user;
    PlaceReason reason = PlaceReason::Named;
  };
  static Status Decide(const std::filesystem::path& folder, Parents& parents);
  Status Decided(Parents& parents);
  Status ParentOf(KeyHandle root, Parent& parent);
  std::string Known(KeyHandle root);
  bool Remember(KeyHandle root, const std::string& found);

  std::filesystem::path folder_;
  std::optional<Parents> parents_;
  std::array<std::string, kRoots.size()> found_;
};

}  // namespace nerio::platform
