#include "support/templates.h"

#include <cstddef>
#include <limits>
#include <string>
#include <utility>

#include "support/messages.h"
#include "support/variant_errors.h"
#include "support/variant_text.h"
#include "types/error.h"
#include "types/utf8.h"

namespace nerio {
namespace {

using IndexLimits = std::numeric_limits<std::int16_t>;

Text Placeholder(std::int64_t index) {
  Text placeholder(1, u'{');
  return placeholder.append(FromUtf8(std::to_string(index))).append(1, u'}');
}

// Inserted text is not searched: the search goes on behind it.
void ReplaceAll(Text& text, TextView wanted, TextView value) {
  std::size_t found = text.find(wanted);
  if (found == Text::npos) return;
  Text replaced;
  std::size_t copied = 0;
  for (; found != Text::npos; found = text.find(wanted, copied)) {
    replaced.append(text, copied, found - copied).append(value);
    copied = found + wanted.size();
  }
  text = std::move(replaced.append(text, copied));
}

}  // namespace

Text FormatTemplate(TextView messageTemplate, const ArgumentList& arguments, const platform::Host& host) {
  Text text(messageTemplate);
  if (arguments.values.empty()) return text;
  std::int64_t index = arguments.lowerBound;
  const std::int64_t last = index + static_cast<std::int64_t>(arguments.values.size()) - 1;
  if (index < IndexLimits::min() || last > IndexLimits::max()) throw OverflowError();

  // Each pass works on what the one before left, deliberately.
  for (const Variant& value : arguments.values) {
    ReplaceAll(text, Placeholder(index), VariantToText(value, host.regional));
    ++index;
  }
  if (index > IndexLimits::max()) throw OverflowError();
  return text;
}

void RaiseError(std::int32_t code, TextView operation, TextView detail, const platform::Host& host) {
  const ArgumentList details{{Text(detail)}, 0};
  throw Error(code, Text(operation), FormatTemplate(GetErrorMessage(code), details, host));
}

void ValidateParam(TextView value, TextView parameterName, const platform::Host& host) {
  if (value.empty()) RaiseError(ErrNullOrEmptyParameter, u"ValidateParam", parameterName, host);
}

}  // namespace nerio
