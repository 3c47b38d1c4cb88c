#pragma once

#include <cstdint>

#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/platform/status.h"

namespace nerio::platform {

/// Every right that a key has; what the handle of a predefined root grants.
constexpr std::uint32_t kAllRights = 0xF003F;

/// Tells whether rights allow a change of the key.
bool AllowChanges(std::uint32_t rights);

/// Returns the rights of a handle to a key that its caller has just created: all that were asked for, generic ones
/// replaced by what they stand for.
std::uint32_t RightsOfCreator(std::uint32_t asked);

/// Finds out which of the rights asked for this process has, by the permissions of the key's folder. All of them are
/// needed, unless only as many as possible are asked for. Those to change the key are not looked at on a disk that cannot
/// be written to.
/// @param[out] granted without generic rights; undefined on failure.
/// @return 5 when a right is refused, 2 when the folder is missing.
Status GrantRights(const KeyFolder& key, std::uint32_t asked, std::uint32_t& granted);

}  // namespace nerio::platform
