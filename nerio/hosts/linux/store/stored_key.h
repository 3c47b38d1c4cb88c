#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "nerio/hosts/linux/store/handle_table.h"
#include "nerio/hosts/linux/store/key_cache.h"
#include "nerio/hosts/linux/store/key_folder.h"
#include "nerio/hosts/linux/store/values_file.h"
#include "nerio/platform/status.h"
#include "nerio/platform/whole_keys.h"

namespace nerio::platform {

/// How much of a key's values file is read.
enum class Extent { Header, Whole };

/// Reads a key, without its lock. What is not in order is read again until two looks see the same: a writer may be at
/// work. The pauses between looks take at most a second in the life of a process; then what is seen counts.
/// @param[out] file in order, or ended by a record that counts as not written.
/// @return 2 when there is no such key, 5 when it may not be read, 1015 when it is damaged.
Status ReadKey(const KeyFolder& key, Extent extent, ValuesFile& file);

/// The same for a key that was opened: 1018 when it is not there any more.
Status ReadKey(const HandleTarget& key, Extent extent, ValuesFile& file);

/// Stores a value, or replaces its type and data; its name keeps the spelling that it has. Durable when it returns 0.
/// @return 1018 when the key is not there any more, 5 when it may not be written, 1015 when it is damaged, 170 when
/// another process has it locked until the deadline.
Status StoreValue(KeyCache& cache, const HandleTarget& key, std::string_view name, std::uint32_t type,
                  std::string_view data, const Deadline& deadline);

/// Makes several changes of values, all of them or none, by one replacement of the file. @return as `StoreValue`.
Status StoreValues(KeyCache& cache, const HandleTarget& key, std::span<WholeKeys::ValueChange> changes,
                   const Deadline& deadline);

/// Removes a value. @return as `StoreValue`, and 2 when there is none of that name.
Status RemoveValue(KeyCache& cache, const HandleTarget& key, std::string_view name, const Deadline& deadline);

}  // namespace nerio::platform
