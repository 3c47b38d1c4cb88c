#pragma once

#include <windows.h>

namespace nerio::component {

/// Enters the component in the system's registry: its class with the library's own path and apartment threading, its
/// two programmatic identifiers, its type library. May be repeated; after a failure nothing of it is left.
HRESULT Register() noexcept;

/// Takes out everything that `Register` entered. Nothing there is no failure.
HRESULT Unregister() noexcept;

}  // namespace nerio::component
