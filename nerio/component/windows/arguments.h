#pragma once

#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"
#include "nerio/types/variant.h"

namespace nerio::component {

/// Reads the values of a template from an automation array: of variants or of any single type that a value can have.
/// The array's own index of a value counts, whatever its lower bound. An array object of a script, which has a length,
/// can be joined and has members called 0, 1 and so on, serves too; a member that it lacks is an empty value.
/// @throws Error 13 for anything else, for an array of several dimensions, and for a value of another type; 6, before
///   any value is looked at, for bounds that `CheckIndices` refuses; 91 for no object.
ArgumentList ToArgumentList(const VARIANT& arguments);

/// Reads a root of the registry, which a caller may leave out: HKEY_LOCAL_MACHINE then. An empty value, such as a
/// script's undefined, counts as left out. The number may be signed or not: -2147483647 and 2147483649 are both
/// HKEY_CURRENT_USER. It is not looked up; a number that is no root fails in the registry.
/// @throws Error 13 for what is not a number, 6 for one beyond 32 bits.
platform::KeyHandle ToRoot(const VARIANT& root);

/// Writes a text to a caller's variable that was passed by reference, whatever it held before.
/// @param[in,out] variable a variant, or one that refers to another variant or to a string.
/// @throws Error 13 when the variable cannot hold a text.
void WriteText(VARIANT* variable, TextView text);

}  // namespace nerio::component
