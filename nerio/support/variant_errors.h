#pragma once

#include "nerio/platform/status.h"
#include "nerio/types/error.h"

namespace nerio {

/// The source of the errors that the Variant type itself raises.
inline constexpr TextView kVariantErrorSource = u"Variant";

/// Makes the error of a number that leaves its range: `kErrOverflow`, "Overflow".
Error OverflowError();

/// Makes the error of a null value where a value is needed: `kErrInvalidUseOfNull`, "Utilizzo non valido di Null".
Error InvalidUseOfNullError();

/// Makes the error of a conversion that the regional settings refuse: the conversion's own failure code, which is never
/// 0, as number, and its text in Italian.
Error FailedConversionError(platform::AutomationStatus status);

}  // namespace nerio
