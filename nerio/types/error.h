#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Carries an error that an operation raises: a number, a source and a description; there is never a help file or a
/// help context. Every number is legal, 0 included: that an Error was caught is what tells that an operation raised.
class NERIO_PUBLIC Error : public std::exception {
 public:
  /// @param number 32-bit error number: a small plain number, a COM error code, or the platform's own number.
  /// @param source name of the raising operation, or of the caller that the operation speaks for.
  /// @param description the message, ready to show.
  Error(std::int32_t number, Text source, Text description);

  std::int32_t number() const noexcept { return number_; }
  const Text& source() const noexcept { return source_; }
  const Text& description() const noexcept { return description_; }

  /// Returns the description in UTF-8. The pointer lives as long as this object.
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  std::int32_t number_;
  Text source_;
  Text description_;
  std::string what_;
};

/// Error of the Variant type: a numeric operation left its range.
constexpr std::int32_t kErrOverflow = 6;
/// Error of the Variant type: a value has a type that the operation cannot take.
constexpr std::int32_t kErrTypeMismatch = 13;
/// Error of an empty document, node, field or record set where an object is needed.
constexpr std::int32_t kErrObjectNotSet = 91;
/// Error of the Variant type: a null value was used where a value is needed.
constexpr std::int32_t kErrInvalidUseOfNull = 94;

/// Raises error 91: an empty reference to a document, a node, a field or a record set was used where an object is
/// needed.
/// @throws Error 91, without source, always.
[[noreturn]] NERIO_PUBLIC void RaiseObjectNotSet();

}  // namespace nerio
