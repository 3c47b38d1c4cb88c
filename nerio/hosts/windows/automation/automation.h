#pragma once

#include <vector>

#include "nerio/hosts/windows/automation/variant.h"

namespace nerio::platform {

/// Tells whether an automation object has a member of this name.
/// @param object borrowed; null raises 91.
bool HasMember(IDispatch* object, const wchar_t* name);

/// Calls a member of an automation object by its name.
/// @param object borrowed; null raises 91.
/// @param kind how it is called: DISPATCH_METHOD, or DISPATCH_PROPERTYGET alone to read a property; together with
///   DISPATCH_METHOD an object of a script would call a function that it holds as the property's value.
/// @param arguments in the order of automation, the last one first; values that own nothing.
/// @param[out] answer what the member answers.
/// @throws Error what the object reports (EXCEPINFO): its number, source and description, unchanged. Without a report,
///   the call's own failure code with the system's text for it.
void Invoke(IDispatch* object, const wchar_t* name, WORD kind, std::vector<VARIANT> arguments, NativeVariant& answer);

}  // namespace nerio::platform
