#pragma once

#include "nerio/platform/host.h"
#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"

namespace nerio::component {

// The settings of the component's clients: text values of the branch Software\Nerio\sRamo below the root `eHKEYRoot`.
// Each call works with a registry object of its own and raises its errors. An empty `sRamo` is the component's own error
// `ErrNullOrEmptyParameter`, with the routine's name as its source and "sRamo" as its detail.

/// Reads a setting.
/// @return the text; `sDefault` when the setting, or its branch, is missing or cannot be read.
/// @throws Error `ErrNullOrEmptyParameter` when `sRamo` is empty.
Text LeggiImpostazione(TextView sRamo, TextView sChiave, TextView sDefault, platform::KeyHandle eHKEYRoot,
                       const platform::Host& host = platform::ThisHost());

/// Writes a setting; makes its branch where it is missing, below the root that it is written to: other than
/// `CRegistry::ScriviRegistroEx`, it touches no key of HKEY_LOCAL_MACHINE for another root. So a user who may not write
/// there has settings in HKEY_CURRENT_USER. Levels made before a failure stay.
/// @throws Error `ErrNullOrEmptyParameter` when `sRamo` is empty; 1, source "ScriviRegistro", when a level of the
///   branch cannot be made; 4, source "ScriviRegistro", when the value cannot be written.
void ScriviImpostazione(TextView sRamo, TextView sChiave, TextView sValore, platform::KeyHandle eHKEYRoot,
                        const platform::Host& host = platform::ThisHost());

/// Deletes a setting.
/// @throws Error `ErrNullOrEmptyParameter` when `sRamo` is empty; 5, source "CancellaChiave", when there is no such
///   setting or when it cannot be deleted.
void CancellaImpostazione(TextView sRamo, TextView sChiave, platform::KeyHandle eHKEYRoot,
                          const platform::Host& host = platform::ThisHost());

}  // namespace nerio::component
