#include "nerio/registry/messages.h"

namespace nerio::registry {

Text MessaggioErrore(std::int32_t number) {
  switch (number) {
    case kErrDefaultBranch:
      return u"Ramo predefinito non valido";
    case kErrCreateBranch:
      return u"Errore durante la creazione del ramo";
    case kErrKeyNotFound:
      return u"Chiave non trovata";
    case kErrCreateKey:
      return u"Errore durante la creazione delle chiave";
    case kErrStoreValue:
      return u"Errore durante la memorizzazione del valore";
    case kErrDeleteKeys:
      return u"Errore durante la rimozione delle chiave";
    default:
      return {};
  }
}

}  // namespace nerio::registry
