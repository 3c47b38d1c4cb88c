#include "nerio/hosts/windows/automation/variant.h"

#include <algorithm>
#include <new>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_error.h"

namespace nerio::platform {
namespace {

Bytes FromByteArray(SAFEARRAY* array) {
  if (array == nullptr) return {};  // an array variant without an array holds no element
  LONG low = 0;
  LONG high = -1;
  if (::SafeArrayGetDim(array) != 1 || FAILED(::SafeArrayGetLBound(array, 1, &low)) ||
      FAILED(::SafeArrayGetUBound(array, 1, &high))) {
    RaiseTypeMismatch();
  }
  void* data = nullptr;
  if (FAILED(::SafeArrayAccessData(array, &data))) RaiseTypeMismatch();
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  const std::size_t count = static_cast<std::size_t>(std::int64_t{high} - low + 1);
  try {
    Bytes copy(bytes, bytes + count);
    ::SafeArrayUnaccessData(array);
    return copy;
  } catch (...) {
    ::SafeArrayUnaccessData(array);
    throw;
  }
}

// Reads the value of type `type` that lies at `place`: inside the variant, or where a reference points to.
Variant Read(VARTYPE type, const void* place) {
  switch (type) {
    case VT_BOOL:
      return static_cast<Boolean>(*static_cast<const VARIANT_BOOL*>(place));
    case VT_I1:
      return *static_cast<const std::int8_t*>(place);
    case VT_UI1:
      return *static_cast<const std::uint8_t*>(place);
    case VT_I2:
      return *static_cast<const std::int16_t*>(place);
    case VT_UI2:
      return *static_cast<const std::uint16_t*>(place);
    case VT_I4:
    case VT_INT:
      return std::int32_t{*static_cast<const LONG*>(place)};
    case VT_UI4:
    case VT_UINT:
      return std::uint32_t{*static_cast<const ULONG*>(place)};
    case VT_I8:
      return std::int64_t{*static_cast<const LONGLONG*>(place)};
    case VT_UI8:
      return std::uint64_t{*static_cast<const ULONGLONG*>(place)};
    case VT_R4:
      return *static_cast<const float*>(place);
    case VT_R8:
      return *static_cast<const double*>(place);
    case VT_CY:
      return Currency{static_cast<const CY*>(place)->int64};
    case VT_DATE:
      return Date{*static_cast<const DATE*>(place)};
    case VT_BSTR:
      return FromBstr(*static_cast<const BSTR*>(place));
    case VT_DECIMAL: {
      const auto& native = *static_cast<const DECIMAL*>(place);
      return Decimal{native.scale, native.sign != 0, native.Hi32, native.Lo64};
    }
    case VT_ARRAY | VT_UI1:
      return FromByteArray(*static_cast<SAFEARRAY* const*>(place));
    default:
      RaiseTypeMismatch();
  }
}

SAFEARRAY* ToByteArray(std::span<const std::uint8_t> bytes) {
  SAFEARRAY* array = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
  if (array == nullptr) throw std::bad_alloc();
  std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(array->pvData));
  return array;
}

// Sets the type and the value of a fresh variant.
struct Writer {
  VARIANT& out;

  void operator()(const Empty&) const { V_VT(&out) = VT_EMPTY; }
  void operator()(Null) const { V_VT(&out) = VT_NULL; }
  void operator()(Boolean value) const { Set(VT_BOOL, V_BOOL(&out), value); }
  void operator()(std::int8_t value) const { Set(VT_I1, V_I1(&out), value); }
  void operator()(std::uint8_t value) const { Set(VT_UI1, V_UI1(&out), value); }
  void operator()(std::int16_t value) const { Set(VT_I2, V_I2(&out), value); }
  void operator()(std::uint16_t value) const { Set(VT_UI2, V_UI2(&out), value); }
  void operator()(std::int32_t value) const { Set(VT_I4, V_I4(&out), value); }
  void operator()(std::uint32_t value) const { Set(VT_UI4, V_UI4(&out), value); }
  void operator()(std::int64_t value) const { Set(VT_I8, V_I8(&out), value); }
  void operator()(std::uint64_t value) const { Set(VT_UI8, V_UI8(&out), value); }
  void operator()(float value) const { Set(VT_R4, V_R4(&out), value); }
  void operator()(double value) const { Set(VT_R8, V_R8(&out), value); }
  void operator()(Currency value) const { Set(VT_CY, V_CY(&out), ToNative(value)); }
  void operator()(Date value) const { Set(VT_DATE, V_DATE(&out), value.days); }
  void operator()(Decimal value) const {
    // The number covers the whole variant but for its type, which lies in the number's reserved word.
    V_DECIMAL(&out) = ToNative(value);
    V_VT(&out) = VT_DECIMAL;
  }
  void operator()(const Text& value) const {
    V_BSTR(&out) = Bstr(value).release();
    V_VT(&out) = VT_BSTR;
  }
  void operator()(const Bytes& value) const {
    V_ARRAY(&out) = ToByteArray(value);
    V_VT(&out) = VT_ARRAY | VT_UI1;
  }

  template <typename Place, typename Value>
  void Set(VARTYPE type, Place& place, Value value) const {
    V_VT(&out) = type;
    place = static_cast<Place>(value);
  }
};

}  // namespace

CY ToNative(Currency value) {
  CY native{};
  native.int64 = value.tenThousandths;
  return native;
}

DECIMAL ToNative(Decimal value) {
  DECIMAL native{};
  native.scale = value.scale;
  native.sign = value.negative ? DECIMAL_NEG : BYTE{0};
  native.Hi32 = value.high;
  native.Lo64 = value.low;
  return native;
}

Variant FromNative(const VARIANT& value) {
  const VARTYPE type = V_VT(&value);
  switch (type) {
    case VT_EMPTY:
      return Empty{};
    case VT_NULL:
      return Null{};
    case VT_DECIMAL:
      return Read(type, &V_DECIMAL(&value));
    case VT_BYREF | VT_VARIANT:
      return FromNative(*V_VARIANTREF(&value));
    default:
      if ((type & VT_BYREF) != 0) return Read(static_cast<VARTYPE>(type & ~VT_BYREF), V_BYREF(&value));
      return Read(type, &V_NONE(&value));
  }
}

NativeVariant::NativeVariant(const Variant& value) {
  ::VariantInit(&value_);
  std::visit(Writer{value_}, value);
}

NativeVariant::NativeVariant(std::span<const std::uint8_t> bytes) {
  ::VariantInit(&value_);
  V_ARRAY(&value_) = ToByteArray(bytes);
  V_VT(&value_) = VT_ARRAY | VT_UI1;
}

}  // namespace nerio::platform
