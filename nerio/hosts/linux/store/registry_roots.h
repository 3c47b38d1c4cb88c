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

/// Knows where the roots are kept. Any thread may call it; none waits for another's calls to the system.
class RegistryRoots {
 public:
  /// @param folder the folder of all roots. Empty: that of the environment variable NERIO_REGISTRY; where that is not
  /// set, the system's for the machine's roots and the user's own for HKEY_CURRENT_USER. The environment is asked on
  /// first use, not here.
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

 private:
  struct Parent {
    std::string folder;
    unsigned mode = 0;
  };
  struct Parents {
    Parent machine;
    Parent user;
  };
  static Status Decide(const std::filesystem::path& folder, Parents& parents);
  Status ParentOf(KeyHandle root, Parent& parent);
  std::string Known(KeyHandle root);
  bool Remember(KeyHandle root, const std::string& found);

  std::filesystem::path folder_;
  std::optional<Parents> parents_;
  std::array<std::string, kRoots.size()> found_;
};

}  // namespace nerio::platform
