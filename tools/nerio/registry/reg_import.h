#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "nerio/platform/code_page.h"
#include "nerio/platform/registry_api.h"
#include "tools/nerio/registry/reg_file.h"
#include "tools/nerio/registry/registry_access.h"

namespace nerio::tool {

/// One change that an import makes.
struct Change {
  enum Kind { kCreateKey, kDeleteKey, kSetValue, kChangeValue, kDeleteValue };

  Kind kind = kCreateKey;
  RegistryKey key;
  std::size_t keys = 0;  ///< kCreateKey: how many levels are missing; kDeleteKey: how many keys go; this one included
  StoredValue before;    ///< kChangeValue, kDeleteValue
  StoredValue after;     ///< kSetValue, kChangeValue
};

/// Counts what an import did or would do.
struct ImportCounts {
  std::size_t keysCreated = 0;
  std::size_t keysDeleted = 0;
  std::size_t valuesSet = 0;
  std::size_t valuesChanged = 0;
  std::size_t valuesDeleted = 0;
  std::size_t valuesKept = 0;  ///< stored already exactly as the file has them
};

/// Applies a .reg file to the registry, entry by entry in the file's order, all or nothing: when a call fails, every
/// change made before it is undone in reverse order. A key that was deleted and made again by that is a new key (its
/// old handles stay dead) with the creator's rights.
/// @throws Failure with the line of the file, what the registry answered, and whether everything was undone.
ImportCounts Import(const std::vector<RegSection>& sections, platform::RegistryApi& registry,
                    platform::CodePage& codePage);

/// Finds what `Import` would change, without changing anything.
/// @param report receives each change in order.
/// @throws Failure when the registry refuses to be read.
ImportCounts PreviewImport(const std::vector<RegSection>& sections, platform::RegistryApi& registry,
                           platform::CodePage& codePage, const std::function<void(const Change&)>& report);

}  // namespace nerio::tool
