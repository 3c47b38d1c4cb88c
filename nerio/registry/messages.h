#pragma once

#include <cstdint>

#include "nerio/types/text.h"

namespace nerio::registry {

constexpr std::int32_t kErrDefaultBranch = 0;
constexpr std::int32_t kErrCreateBranch = 1;
constexpr std::int32_t kErrKeyNotFound = 2;  ///< in the table, never raised
constexpr std::int32_t kErrCreateKey = 3;    ///< in the table, never raised
constexpr std::int32_t kErrStoreValue = 4;
constexpr std::int32_t kErrDeleteKeys = 5;

/// The message of a listing that failed, `SubKeyNames` or `ValueNames`. It has no number of its own.
constexpr TextView kReadBranchMessage = u"Errore durante la lettura del ramo";

/// Returns the message of one of the class's error numbers, the empty text for any number outside 0 to 5. The grammar
/// of the messages is the product's own.
Text MessaggioErrore(std::int32_t number);

}  // namespace nerio::registry
