#pragma once

#include <new>

#include "nerio/platform/regional_settings.h"

namespace nerio::platform {

/// Makes a conversion and answers its status; a lack of memory is a status like every other failure.
template <typename Conversion>
AutomationStatus AnswerConversion(Conversion convert) {
  try {
    return convert();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
}

}  // namespace nerio::platform
