#pragma once

#include <windows.h>
// The order matters: the automation headers need the types above.
#include <oleauto.h>

#include <span>

#include "nerio/types/variant.h"

namespace nerio::platform {

CY ToNative(Currency value);
DECIMAL ToNative(Decimal value);

/// Copies a value out of an automation variant, with its own type. References to a value are followed; a binary field's
/// array of bytes becomes `Bytes`, whatever its lower bound; VT_INT and VT_UINT are 32-bit integers.
/// @throws Error 13 for every other type (objects, errors, arrays of anything else or of several dimensions).
Variant FromNative(const VARIANT& value);

/// Owns an automation variant.
class NativeVariant {
 public:
  NativeVariant() { ::VariantInit(&value_); }
  /// Makes the automation variant that holds the same value with the same type. @throws std::bad_alloc.
  explicit NativeVariant(const Variant& value);
  /// Makes the automation variant that holds an array of these bytes. @throws std::bad_alloc.
  explicit NativeVariant(std::span<const std::uint8_t> bytes);
  NativeVariant(const NativeVariant&) = delete;
  NativeVariant& operator=(const NativeVariant&) = delete;
  ~NativeVariant() { ::VariantClear(&value_); }

  const VARIANT& get() const noexcept { return value_; }
  /// Lends the place for a call to leave a value in; what was there is cleared.
  VARIANT* put() noexcept {
    ::VariantClear(&value_);
    return &value_;
  }
  /// Converts the value in place, without any regional word for a Boolean.
  HRESULT ChangeType(VARTYPE type) noexcept { return ::VariantChangeType(&value_, &value_, 0, type); }
  /// Gives the value away to `target`, whose old content is not cleared.
  void MoveTo(VARIANT* target) noexcept {
    *target = value_;
    ::VariantInit(&value_);
  }

 private:
  VARIANT value_;
};

}  // namespace nerio::platform
