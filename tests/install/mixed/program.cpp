// A program with the static library inside that loads a plugin linked to the shared one, its only argument. Both have a
// ThisHost() of their own, or share the program's when it shows its symbols to what it loads; that makes no difference.
#include <dlfcn.h>

#include <cstdio>

#include <nerio/registry/cregistry.h>
#include <nerio/types/error.h>

namespace {

template <typename Function>
Function* Find(void* plugin, const char* name) {
  return reinterpret_cast<Function*>(dlsym(plugin, name));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 1;
  nerio::CRegistry registry;
  registry.RamoPredefinito(u"Mixed");
  if (registry.ScriviRegistroEx(u"Program", u"one") != u"True") return 2;

  void* plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) {
    std::fputs(dlerror(), stderr);
    return 3;
  }
  if (!Find<bool()>(plugin, "CopyValue")()) return 4;
  if (registry.LeggiRegistro(u"Plugin") != u"one") return 5;
  if (registry.ScriviRegistroEx(u"Program", u"two") != u"True") return 6;
  if (!Find<bool()>(plugin, "CopyValue")()) return 7;
  if (registry.LeggiRegistro(u"Plugin") != u"two") return 8;

  bool caught = false;
  try {
    Find<void()>(plugin, "RaiseFromPlugin")();
  } catch (const nerio::Error& error) {
    caught = error.number() == 0 && error.source() == u"RamoLavoro";
  }
  if (!caught) return 9;
  std::puts(Find<const void*()>(plugin, "PluginHost")() == &nerio::platform::ThisHost() ? "one host" : "two hosts");
  // What the program has stays in use when the plugin's library is gone.
  if (dlclose(plugin) != 0) return 10;
  return registry.LeggiRegistro(u"Plugin") == u"two" ? 0 : 11;
}
