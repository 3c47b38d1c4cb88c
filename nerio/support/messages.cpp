#include "nerio/support/messages.h"

namespace nerio {

Text GetErrorMessage(std::int32_t code) {
  switch (code) {
    case ErrNullOrEmptyParameter:
      return u"Il parametro [{0}] non può essere nullo o vuoto";
    case ErrUnsupportedInitMessageVersion:
      return u"La versione [{0}] del messaggio di inizializzazione non è supportata";
    case ErrFeatureNotAvailable:
      return u"La funzionalità richiesta non è disponibile";
    default:
      return u"Errore non definito";
  }
}

}  // namespace nerio
