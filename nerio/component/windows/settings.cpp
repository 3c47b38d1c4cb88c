#include "nerio/component/windows/settings.h"

#include "nerio/registry/cregistry.h"

namespace nerio::component {
namespace {

CRegistry RegistryAt(TextView sRamo, const platform::Host& host) {
  CRegistry registry(host);
  registry.RamoPredefinito(sRamo);
  registry.RitornaErrori(True);
  return registry;
}

}  // namespace

Text LeggiImpostazione(TextView sRamo, TextView sChiave, TextView sDefault, const platform::Host& host) {
  return RegistryAt(sRamo, host).LeggiRegistro(sChiave, sDefault);
}

void ScriviImpostazione(TextView sRamo, TextView sChiave, TextView sValore, const platform::Host& host) {
  RegistryAt(sRamo, host).ScriviRegistroEx(sChiave, sValore);
}

void CancellaImpostazione(TextView sRamo, TextView sChiave, const platform::Host& host) {
  RegistryAt(sRamo, host).CancellaRegistro(sChiave);
}

}  // namespace nerio::component
