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

Error FailedConversionError(platform::AutomationStatus status) {
  switch (status) {
    case platform::kTypeMismatch:
      return VariantError(NumberOf(status), u"Tipo non corrispondente");
    case platform::kInvalidArgument:
      return VariantError(NumberOf(status), u"Parametro non corretto");
    case platform::kOutOfMemory:
      return VariantError(NumberOf(status), u"Memoria esaurita");
    default:
      return VariantError(NumberOf(status), u"Errore di automazione");
  }
}

}  // namespace nerio
