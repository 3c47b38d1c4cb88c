#include "tools/nerio/verbs/reg_verbs.h"

namespace nerio::tool {

void AddRegistryVerbs(Verb program) {
  Verb reg = program.Group("reg", "Read, write, export and import the registry",
                           "nerio reg set \"HKLM\\Software\\Nerio\\App\" Nome \"prova\"\n"
                           "nerio reg get \"HKLM\\Software\\Nerio\\App\" Nome\n"
                           "nerio reg tree \"HKLM\\Software\\Nerio\" --values\n"
                           "nerio reg export \"HKLM\\Software\\Nerio\" -o nerio.reg");
  AddReadingVerbs(reg);
  AddFind(reg);
  AddDiff(reg);
  AddExport(reg);
  AddChangingVerbs(reg);
  AddCopying(reg);
  AddImport(reg);
  AddWatch(reg);
  AddRepair(reg);
  AddInit(reg);
  AddRegistryDoctor(reg);
}

}  // namespace nerio::tool
