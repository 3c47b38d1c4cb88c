#include "nerio/component/windows/settings.h"

#include "nerio/registry/cregistry.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/messages.h"

namespace nerio::component {
namespace {

// The registry object of the member `member`.
CRegistry RegistryAt(TextView member, TextView sRamo, const platform::Host& host) {
  // The registry's own error for it has the number 0, which a script that tests Err.Number does not see.
  if (sRamo.empty()) RaiseError(ErrNullOrEmptyParameter, member, u"sRamo", host);
  CRegistry registry(host);
  registry.RamoPredefinito(sRamo);
  registry.RitornaErrori(True);
  return registry;
}

}  // namespace

Text LeggiImpostazione(TextView sRamo, TextView sChiave, TextView sDefault, const platform::Host& host) {
  return RegistryAt(u"LeggiImpostazione", sRamo, host).LeggiRegistro(sChiave, sDefault);
}

void ScriviImpostazione(TextView sRamo, TextView sChiave, TextView sValore, const platform::Host& host) {
  RegistryAt(u"ScriviImpostazione", sRamo, host).ScriviRegistroEx(sChiave, sValore);
}

void CancellaImpostazione(TextView sRamo, TextView sChiave, const platform::Host& host) {
  RegistryAt(u"CancellaImpostazione", sRamo, host).CancellaRegistro(sChiave);
}

}  // namespace nerio::component
