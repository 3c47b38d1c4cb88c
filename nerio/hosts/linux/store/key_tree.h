#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "nerio/hosts/linux/store/handle_table.h"
#include "nerio/hosts/linux/store/key_cache.h"
#include "nerio/platform/status.h"
#include "nerio/types/ansi_text.h"

namespace nerio::platform {

// The keys as a tree: how they are opened, created, deleted and listed, below a key that a handle stands for (`base`).
// The names of the levels that lead from there to the key are as `SplitKeyPath` gives them; without names it is `base`
// itself. Each answers 5 when the kernel refuses it, and 1015 when a key on the way is damaged; those with a deadline 170
// when another process keeps them waiting until then.

/// Tells whether the key of a handle is still there. @return 0, or 1018 when it was deleted, even if it was created
/// again.
Status CheckExists(const HandleTarget& base);

/// Opens a key. Whoever may change it is told that it is there only once its creation is durable.
/// @param access generic rights may be among them.
/// @param[out] key undefined on failure.
/// @param acknowledges whoever may not change it is told no earlier either.
/// @return 2 when there is no such key.
Status OpenExistingKey(KeyCache& cache, const HandleTarget& base, const std::vector<std::string_view>& names,
                       std::uint32_t access, HandleTarget& key, bool acknowledges = false);

/// Opens a key; whatever is missing of the levels that lead to it is created first.
/// @param[out] created whether the last level was missing.
/// @return 1018 when the key of `base` is not there any more.
Status CreateOrOpenKey(KeyCache& cache, const HandleTarget& base, const std::vector<std::string_view>& names,
                       std::uint32_t access, const Deadline& deadline, HandleTarget& key, bool& created);

/// Deletes a key with its values.
/// @return 2 when there is no such key, 1018 when it is that of `base`; 5 when it has subkeys or is a root.
Status RemoveKey(const HandleTarget& base, const std::vector<std::string_view>& names, const Deadline& deadline);

/// Gives the name of one subkey of `base`, as its creator spelt it. Subkeys are in the order of their folded names.
/// @return 259 when there are no more than `index`.
Status NameOfSubkey(const HandleTarget& base, std::uint32_t index, AnsiText& name);

}  // namespace nerio::platform
