#pragma once

#include <windows.h>
// The order matters: the COM headers need the types above.
#include <objbase.h>

namespace nerio::component {

/// Returns what makes the component's automation objects. There is one, which lives as long as the library is loaded; a
/// reference to it keeps the library loaded.
IClassFactory& Factory() noexcept;

}  // namespace nerio::component
