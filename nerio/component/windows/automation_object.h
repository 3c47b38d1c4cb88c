#pragma once

#include <windows.h>

namespace nerio::component {

/// Makes the component's automation object: the support routines under their own names, and the settings. Its methods
/// run on their caller's thread, answer a failure with error information and let no exception through.
/// @param id the interface that is asked for.
/// @param[out] object one reference, the caller's; null on failure.
HRESULT MakeAutomationObject(REFIID id, void** object) noexcept;

}  // namespace nerio::component
