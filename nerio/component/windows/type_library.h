#pragma once

#include <windows.h>
// The order matters: the automation headers need the types above.
#include <oleauto.h>

namespace nerio::component {

/// Gives the description of the component's interface or class, out of the type library in the library's own file,
/// which is read once in a process.
/// @param id of the interface or the class.
/// @param[out] info one reference, the caller's; null on failure.
HRESULT Describe(REFGUID id, ITypeInfo** info) noexcept;

/// Lends the description of the component's interface, which each object needs: it is looked up once in a process and
/// lives as long. It serves every thread and apartment.
/// @param[out] info null on failure.
HRESULT DescribeInterface(ITypeInfo*& info) noexcept;

}  // namespace nerio::component
