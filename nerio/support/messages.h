#pragma once

#include <cstdint>

#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// The base of the errors that an object defines: 0x80040000.
constexpr std::int32_t ObjectErrorBase = static_cast<std::int32_t>(0x80040000u);
/// A required parameter is null or empty. The template names the parameter as {0}.
constexpr std::int32_t ErrNullOrEmptyParameter = ObjectErrorBase + 1;
/// The initialisation message has a version that is not supported. The template names the version as {0}.
constexpr std::int32_t ErrUnsupportedInitMessageVersion = ObjectErrorBase + 2;
/// The feature that was asked for is not there. The template has no placeholder.
constexpr std::int32_t ErrFeatureNotAvailable = ObjectErrorBase + 3;

/// Returns the message template of one of the component's error codes, its "{0}" unfilled; "Errore non definito" for
/// every other value, `ObjectErrorBase` itself and 0 included. Raises nothing but std::bad_alloc.
NERIO_PUBLIC Text GetErrorMessage(std::int32_t code);

}  // namespace nerio
