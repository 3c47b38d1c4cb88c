// A stranger's program: what it includes and links is what was installed.
#include <nerio/component/version.h>
#include <nerio/registry/cregistry.h>
#include <nerio/support/messages.h>
#include <nerio/types/error.h>

int main() {
  nerio::CRegistry registry;
  registry.RamoPredefinito(u"Consumer");
  if (registry.ScriviRegistroEx(u"Nome", u"x") != u"True") return 1;
  if (registry.LeggiRegistro(u"Nome") != u"x") return 2;
  if (nerio::GetErrorMessage(0) != u"Errore non definito") return 3;
  if (*nerio::NerioVersion() == '\0') return 4;
  registry.RamoPredefinito(u"");
  registry.RitornaErrori(nerio::True);
  try {
    registry.LeggiRegistro(u"Nome");
  } catch (const nerio::Error& error) {
    return error.source() == u"RamoLavoro" ? 0 : 5;
  }
  return 6;
}
