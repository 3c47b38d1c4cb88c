#include "nerio/support/component_errors.h"

#include "nerio/support/messages.h"
#include "nerio/support/templates.h"
#include "nerio/types/error.h"

namespace nerio {

void RaiseError(std::int32_t code, TextView operation, TextView detail, const platform::Host& host) {
  const ArgumentList details{{Text(detail)}, 0};
  throw Error(code, Text(operation), FormatTemplate(GetErrorMessage(code), details, host));
}

void ValidateParam(TextView value, TextView parameterName, const platform::Host& host) {
  if (value.empty()) RaiseError(ErrNullOrEmptyParameter, u"ValidateParam", parameterName, host);
}

}  // namespace nerio
