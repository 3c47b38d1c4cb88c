// A plugin that is linked to the shared library, loaded by a program that has the static one inside.
#include <nerio/registry/cregistry.h>
#include <nerio/types/error.h>

extern "C" {
__attribute__((visibility("default"))) const void* PluginHost() { return &nerio::platform::ThisHost(); }

// Writes what it reads in the value Program to the value Plugin.
__attribute__((visibility("default"))) bool CopyValue() {
  nerio::CRegistry registry;
  registry.RamoPredefinito(u"Mixed");
  return registry.ScriviRegistroEx(u"Plugin", registry.LeggiRegistro(u"Program")) == u"True";
}

__attribute__((visibility("default"))) void RaiseFromPlugin() {
  nerio::CRegistry registry;
  registry.RitornaErrori(nerio::True);
  registry.LeggiRegistro(u"Program");
}
}
