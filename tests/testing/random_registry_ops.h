#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "nerio/platform/registry_api.h"

namespace nerio::testing {

/// Makes the same random calls on two registries and compares every answer, and at the end everything that they hold.
/// The calls are those of a busy program on few keys: all nine of the interface, with names in any case, paths of
/// several levels, handles of every kind (open, closed, of deleted keys, with fewer rights), values of any type and
/// size.
///
/// Works in the key `path` below HKEY_LOCAL_MACHINE of both, which it empties first and deletes at the end; all its
/// handles are closed.
/// @param seed gives the calls: the same seed, the same calls on every host.
/// @return what was answered differently first, with the seed and the number of the call; empty when all was the same.
std::string CompareRandomOperations(platform::RegistryApi& subject, platform::RegistryApi& model, const AnsiText& path,
                                    std::uint32_t seed, std::size_t operations);

}  // namespace nerio::testing
