// A stranger's program: what it includes and links is what was installed.
#include <nerio/registry/cregistry.h>
#include <nerio/support/messages.h>

int main() {
  nerio::CRegistry registry;
  registry.RamoPredefinito(u"Consumer");
  if (registry.ScriviRegistroEx(u"Nome", u"x") != u"True") return 1;
  if (registry.LeggiRegistro(u"Nome") != u"x") return 2;
  return nerio::GetErrorMessage(0) == u"Errore non definito" ? 0 : 3;
}
