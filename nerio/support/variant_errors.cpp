#include "nerio/support/variant_errors.h"

#include "nerio/platform/regional_settings.h"

namespace nerio {
namespace {

Error VariantError(std::int32_t number, TextView description) {
  return {number, Text(kVariantErrorSource), Text(description)};
}

}  // namespace

Error OverflowError() { return VariantError(kErrOverflow, u"Overflow"); }

Error InvalidUseOfNullError() { return VariantError(kErrInvalidUseOfNull, u"Utilizzo non valido di Null"); }

Error FailedConversionError(platform::Status status) {
  switch (status) {
    case platform::kTypeMismatch:
      return VariantError(status, u"Tipo non corrispondente");
    case platform::kInvalidArgument:
      return VariantError(status, u"Parametro non corretto");
    case platform::kOutOfMemory:
      return VariantError(status, u"Memoria esaurita");
    default:
      return VariantError(status, u"Errore di automazione");
  }
}

}  // namespace nerio
