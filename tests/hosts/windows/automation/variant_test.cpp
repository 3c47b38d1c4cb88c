#include "nerio/hosts/windows/automation/variant.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <optional>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/types/error.h"

namespace nerio::platform {
namespace {

// The value that an automation variant holds, or the error that it raises.
std::optional<Error> ErrorFrom(const VARIANT& value) {
  try {
    FromNative(value);
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

VARIANT OfType(VARTYPE type) {
  VARIANT value;
  ::VariantInit(&value);
  V_VT(&value) = type;
  return value;
}

struct Case {
  Variant value;
  VARTYPE type;
};

std::vector<Case> EveryType() {
  const Text text = u"perch\u00E9 \u20AC \xD800" + Text(1, u'\0') + u"dopo";
  return {
      {Empty{}, VT_EMPTY},
      {Null{}, VT_NULL},
      {True, VT_BOOL},
      {False, VT_BOOL},
      {static_cast<Boolean>(1), VT_BOOL},
      {std::int8_t{-128}, VT_I1},
      {std::uint8_t{255}, VT_UI1},
      {std::int16_t{-32768}, VT_I2},
      {std::uint16_t{65535}, VT_UI2},
      {std::numeric_limits<std::int32_t>::min(), VT_I4},
      {std::numeric_limits<std::uint32_t>::max(), VT_UI4},
      {std::numeric_limits<std::int64_t>::min(), VT_I8},
      {std::numeric_limits<std::uint64_t>::max(), VT_UI8},
      {std::numeric_limits<float>::denorm_min(), VT_R4},
      {std::numeric_limits<double>::denorm_min(), VT_R8},
      {-0.0, VT_R8},
      {Currency{std::numeric_limits<std::int64_t>::min()}, VT_CY},
      {Decimal{28, true, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF}, VT_DECIMAL},
      {Decimal{}, VT_DECIMAL},
      {Date{-657434.75}, VT_DATE},
      {text, VT_BSTR},
      {Text(), VT_BSTR},
      {Bytes{0, 255, 1}, VT_ARRAY | VT_UI1},
      {Bytes{}, VT_ARRAY | VT_UI1},
  };
}

TEST(NativeVariant, EveryTypeThatAFieldCanHold_GoesThereAndBackUnchanged) {
  for (const Case& each : EveryType()) {
    const NativeVariant native(each.value);
    EXPECT_EQ(V_VT(&native.get()), each.type);
    const Variant back = FromNative(native.get());
    EXPECT_EQ(back.index(), each.value.index()) << each.type;
    EXPECT_EQ(back, each.value) << each.type;
  }
  EXPECT_EQ(std::variant_size_v<Variant>, 18u) << "a new type belongs into the cases above";
}

TEST(NativeVariant, ReferenceToAValue_IsFollowed) {
  for (const Case& each : EveryType()) {
    NativeVariant inner(each.value);
    VARIANT reference = OfType(VT_BYREF | VT_VARIANT);
    V_VARIANTREF(&reference) = const_cast<VARIANT*>(&inner.get());
    EXPECT_EQ(FromNative(reference), each.value) << each.type;
  }
  LONG number = -7;
  VARIANT reference = OfType(VT_BYREF | VT_I4);
  V_I4REF(&reference) = &number;
  EXPECT_EQ(FromNative(reference), Variant(std::int32_t{-7}));
  const Bstr text(u"abc");
  BSTR lent = text.get();
  reference = OfType(VT_BYREF | VT_BSTR);
  V_BSTRREF(&reference) = &lent;
  EXPECT_EQ(FromNative(reference), Variant(Text(u"abc")));
  DECIMAL decimal = ToNative(Decimal{2, true, 1, 5});
  reference = OfType(VT_BYREF | VT_DECIMAL);
  V_DECIMALREF(&reference) = &decimal;
  EXPECT_EQ(FromNative(reference), Variant(Decimal{2, true, 1, 5}));
}

TEST(NativeVariant, MachineIntegers_Are32BitIntegers) {
  VARIANT value = OfType(VT_INT);
  V_INT(&value) = -5;
  EXPECT_EQ(FromNative(value), Variant(std::int32_t{-5}));
  value = OfType(VT_UINT);
  V_UINT(&value) = 5;
  EXPECT_EQ(FromNative(value), Variant(std::uint32_t{5}));
}

TEST(NativeVariant, NoString_IsTheEmptyText) {
  VARIANT value = OfType(VT_BSTR);
  V_BSTR(&value) = nullptr;
  EXPECT_EQ(FromNative(value), Variant(Text()));
}

TEST(NativeVariant, BytesWithAnotherLowerBoundOrNone_AreTheSameBytes) {
  SAFEARRAYBOUND bound{3, -5};
  NativeVariant value;
  V_ARRAY(value.put()) = ::SafeArrayCreate(VT_UI1, 1, &bound);
  V_VT(&const_cast<VARIANT&>(value.get())) = VT_ARRAY | VT_UI1;
  auto* data = static_cast<std::uint8_t*>(V_ARRAY(&value.get())->pvData);
  data[0] = 7;
  data[1] = 8;
  data[2] = 9;
  EXPECT_EQ(FromNative(value.get()), Variant(Bytes{7, 8, 9}));
  VARIANT none = OfType(VT_ARRAY | VT_UI1);
  V_ARRAY(&none) = nullptr;
  EXPECT_EQ(FromNative(none), Variant(Bytes{}));
}

TEST(NativeVariant, AnyOtherType_RaisesTypeMismatch) {
  std::array<SAFEARRAYBOUND, 2> bounds{{{1, 0}, {1, 0}}};
  NativeVariant table;
  V_ARRAY(table.put()) = ::SafeArrayCreate(VT_UI1, 2, bounds.data());
  V_VT(&const_cast<VARIANT&>(table.get())) = VT_ARRAY | VT_UI1;
  VARIANT error = OfType(VT_ERROR);
  V_ERROR(&error) = DISP_E_PARAMNOTFOUND;
  VARIANT object = OfType(VT_DISPATCH);
  V_DISPATCH(&object) = nullptr;
  VARIANT numbers = OfType(VT_ARRAY | VT_I4);
  V_ARRAY(&numbers) = nullptr;
  for (const VARIANT& value : {table.get(), error, object, numbers, OfType(VT_RECORD)}) {
    const std::optional<Error> raised = ErrorFrom(value);
    ASSERT_TRUE(raised.has_value()) << V_VT(&value);
    EXPECT_EQ(raised->number(), kErrTypeMismatch);
    EXPECT_EQ(raised->source(), u"Variant");
    EXPECT_EQ(raised->description(), u"Tipo non corrispondente");
  }
}

}  // namespace
}  // namespace nerio::platform
