#pragma once

#include "tools/nerio/command_line.h"

namespace nerio::tool {

/// How every verb of the registry describes its key.
inline constexpr const char* kKeyHelp =
    "Key below HKLM, HKCU, HKCR, HKU or HKCC (long names too), such as \"HKLM\\Software\\Nerio\"; put it in quotes, or "
    "write its levels with / as in HKLM/Software/Nerio";

// What stands below `nerio reg`, in the order of its help; a file each.
void AddReadingVerbs(Verb reg);  // get, test, list, tree
void AddFind(Verb reg);
void AddDiff(Verb reg);
void AddExport(Verb reg);
void AddChangingVerbs(Verb reg);  // set, create, delete
void AddCopying(Verb reg);        // copy, rename
void AddImport(Verb reg);
void AddWatch(Verb reg);
void AddRepair(Verb reg);
void AddInit(Verb reg);
void AddRegistryDoctor(Verb reg);

}  // namespace nerio::tool
