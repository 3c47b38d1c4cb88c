#pragma once

#include <array>
#include <filesystem>
#include <mutex>
#include <string>

#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// The predefined roots that this host has.
constexpr std::array<KeyHandle, 5> kRoots = {kHkeyClassesRoot, kHkeyCurrentUser, kHkeyLocalMachine, kHkeyUsers,
                                             kHkeyCurrentConfig};

/// Knows where the roots are kept. Any thread may call it.
class RegistryRoots {
 public:
  /// @param folder the folder of all roots. Empty: that of the environment variable NERIO_REGISTRY; where that is not
  /// set, the system's for the machine's roots and the user's own for HKEY_CURRENT_USER. The environment is asked on
  /// first use, not here.
  explicit RegistryRoots(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Gives the path of a root as it was asked for, whether it is there or not.
  /// @return 6 when there is no such root, 2 when nothing says where it is.
  Status Place(KeyHandle root, std::string& folder);

  /// Gives the path of a root with all links resolved, and makes a missing one. Links are resolved on first use and by
  /// `FindAgain`, not with each call.
  /// @return 6 when there is no such root, 2 when it is missing and this user may not make it.
  Status Find(KeyHandle root, KeyFolder& folder);

  /// The same, but a missing root stays missing.
  Status FindPresent(KeyHandle root, KeyFolder& folder);

  /// Looks again where a root is that `Find` gave, and makes it if it is gone.
  /// @param[out] moved true when `Find` gives another answer now, or the root had to be made.
  /// @return as `Find` does.
  Status FindAgain(KeyHandle root, bool& moved);

 private:
  struct Parent {
    std::string folder;
    unsigned mode = 0;
  };
  // These are called with the mutex held.
  Status PlaceOf(KeyHandle root, Parent& parent, std::string& folder);
  Status Resolve(KeyHandle root, bool mayMake, bool& made);

  std::mutex mutex_;
  std::filesystem::path folder_;
  bool decided_ = false;
  Parent machine_;
  Parent user_;
  std::array<std::string, kRoots.size()> found_;
};

}  // namespace nerio::platform
