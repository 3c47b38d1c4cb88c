#include "nerio/component/windows/settings.h"

#include <cstddef>
#include <cstdint>

#include "nerio/registry/cregistry.h"
#include "nerio/registry/messages.h"
#include "nerio/registry/native_layer.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/messages.h"

namespace nerio::component {
namespace {

using platform::KeyHandle;

// The registry object of the member `member`.
CRegistry RegistryAt(TextView member, TextView sRamo, const platform::Host& host) {
  // The registry's own error for it has the number 0, which a script that tests Err.Number does not see.
  if (sRamo.empty()) RaiseError(ErrNullOrEmptyParameter, member, u"sRamo", host);
  CRegistry registry(host);
  registry.RamoPredefinito(sRamo);
  registry.RitornaErrori(True);
  return registry;
}

// The settings of a branch below a root other than HKEY_LOCAL_MACHINE, where the registry object makes branches and
// deletes values. They go through the native layer, and raise what the registry object does.
class OtherRoot {
 public:
  OtherRoot(const CRegistry& registry, KeyHandle root, const platform::Host& host)
      : root_(root), branch_(registry.RamoPrincipale() + u"\\" + registry.RamoPredefinito()), host_(host) {}

  void Write(TextView name, TextView value) {
    for (std::size_t end = 0; end < branch_.size();) {
      end = branch_.find(u'\\', end + 1);
      MakeLevel(branch_.substr(0, end));
    }
    if (Perform(registry::opScriviValore, branch_, name, value)) return;
    Raise(registry::kErrStoreValue, u"ScriviRegistro", u" nella chiave '" + Text(name) + u"'");
  }

  void Delete(TextView name) {
    if (Perform(registry::opCancellaValore, branch_, name)) return;
    Raise(registry::kErrDeleteKeys, u"CancellaChiave", u" '" + Text(name) + u"'");
  }

 private:
  void MakeLevel(const Text& path) {
    if (Perform(registry::opVerificaChiave, path) || Perform(registry::opCreaChiave, path)) return;
    Raise(registry::kErrCreateBranch, u"ScriviRegistro", u" " + path);
  }

  bool Perform(std::int32_t operation, Text path, TextView name = {}, TextView value = {}) {
    Text valueName(name);
    Text valueData(value);
    auto valueType = static_cast<std::int16_t>(platform::kRegSz);
    std::int16_t result = 0;
    registry::OperazioneRegistro(operation, root_, path, valueName, valueData, valueType, result, host_.registry,
                                 host_.codePage);
    return result != 0;
  }

  [[noreturn]] static void Raise(std::int32_t number, TextView source, const Text& what) {
    throw Error(number, Text(source), registry::MessaggioErrore(number) + what);
  }

  KeyHandle root_;
  Text branch_;
  const platform::Host& host_;
};

}  // namespace

Text LeggiImpostazione(TextView sRamo, TextView sChiave, TextView sDefault, KeyHandle eHKEYRoot,
                       const platform::Host& host) {
  return RegistryAt(u"LeggiImpostazione", sRamo, host).LeggiRegistroEx(sChiave, eHKEYRoot, Text(), sDefault);
}

void ScriviImpostazione(TextView sRamo, TextView sChiave, TextView sValore, KeyHandle eHKEYRoot,
                        const platform::Host& host) {
  CRegistry registry = RegistryAt(u"ScriviImpostazione", sRamo, host);
  if (eHKEYRoot == platform::kHkeyLocalMachine) {
    registry.ScriviRegistroEx(sChiave, sValore);
  } else {
    OtherRoot(registry, eHKEYRoot, host).Write(sChiave, sValore);
  }
}

void CancellaImpostazione(TextView sRamo, TextView sChiave, KeyHandle eHKEYRoot, const platform::Host& host) {
  CRegistry registry = RegistryAt(u"CancellaImpostazione", sRamo, host);
  if (eHKEYRoot == platform::kHkeyLocalMachine) {
    registry.CancellaRegistro(sChiave);
  } else {
    OtherRoot(registry, eHKEYRoot, host).Delete(sChiave);
  }
}

}  // namespace nerio::component
