#pragma once

#include <windows.h>

namespace nerio::component {

/// For whom the component is registered.
enum class Users {
  kAll,     ///< below HKEY_LOCAL_MACHINE, which takes an administrator's rights
  kCurrent  ///< below HKEY_CURRENT_USER
};

/// Enters the component in the system's registry: its class with the library's own path and apartment threading, its
/// two programmatic identifiers, its type library and interface, and an application identifier with the system's
/// surrogate, through which clients that cannot load the library reach it in a process of its own. May be repeated;
/// after a failure everything is as it was before.
/// @return E_ACCESSDENIED where rights are missing; SELFREG_E_CLASS or SELFREG_E_TYPELIB for other failures.
HRESULT Register(Users users) noexcept;

/// Takes out everything that `Register` entered for these users. Nothing there is no failure.
/// @return as `Register`; whatever fails, the rest is taken out.
HRESULT Unregister(Users users) noexcept;

}  // namespace nerio::component
