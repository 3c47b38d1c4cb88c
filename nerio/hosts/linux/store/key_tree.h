#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/hosts/linux/store/file_stamp.h"
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

/// The subkeys of a key as its folder listed them.
struct SubkeyList {
  struct Subkey {
    std::string folderName;
    /// As its creator spelt it; empty until it was read. Guarded by `MemoryMutex`, as is what follows.
    std::string name;
    /// Set when it could not be read: it is tried again each time.
    bool isRefused = false;
  };

  /// Tells whether these are still the subkeys of the key in `folder`, and the kernel lets this user list them, by one
  /// `lstat`. Only of a list that `lasts`.
  bool IsCurrent(const KeyFolder& folder) const;

  KeyFolder key;
  /// Of the key's folder. As long as it is unchanged, so are the names in it.
  FileStamp stamp;
  /// Whether the stamp shows every later change. Never for a list without subkeys: a key that is deleted has none, and
  /// not every way to delete it changes its folder.
  bool lasts = false;
  /// In the order of their folded names.
  std::vector<Subkey> subkeys;
  /// How many names are read when the next one is missing. Guarded by `MemoryMutex`.
  std::size_t namesToRead = 1;
};

/// Lists the subkeys of `base`. @return 1018 when it is not there any more.
Status ListSubkeys(const HandleTarget& base, std::shared_ptr<SubkeyList>& list);

/// Returns the name of a subkey as its creator spelt it, by its place in the list. Names are read once, more and more of
/// them at a time. Where one cannot be read, or the folder was renamed by hand since, the name of the folder counts.
AnsiText NameOfSubkey(SubkeyList& list, std::size_t index);

/// Gives the names of all subkeys of a list that are still there. @return 1018 when the key itself is not.
Status NamesOfSubkeys(const SubkeyList& list, std::vector<AnsiText>& names);

}  // namespace nerio::platform
