#include "tests/component/windows/long_runs/random_arguments.h"

#include <iterator>
#include <string_view>

#include "nerio/hosts/windows/automation/wide.h"

namespace nerio::testing {
namespace {

constexpr VARTYPE kTypes[] = {VT_EMPTY, VT_NULL,     VT_I2,    VT_I4,   VT_R4,      VT_R8,      VT_CY, VT_DATE,
                              VT_BSTR,  VT_DISPATCH, VT_ERROR, VT_BOOL, VT_UNKNOWN, VT_DECIMAL, VT_I1, VT_UI1,
                              VT_UI2,   VT_UI4,      VT_I8,    VT_UI8,  VT_INT,     VT_UINT};
// Those that an array may have as its elements' type.
constexpr VARTYPE kElementTypes[] = {VT_VARIANT, VT_BSTR, VT_I4, VT_R8, VT_UI1, VT_DATE, VT_BOOL, VT_CY, VT_DISPATCH};

}  // namespace

const std::vector<std::u16string>& RandomArguments::Texts() {
  static const std::vector<std::u16string> texts = {u"",
                                                    u"Prova a caso",
                                                    u"Prova a caso\\sotto",
                                                    u"citt\u00E0",
                                                    u"nome",
                                                    u"1 a",
                                                    u"31/12/1999",
                                                    u"-2147483647",
                                                    u"2147483649",
                                                    u"1,5",
                                                    u"QQA=",
                                                    u"{0} di {1}",
                                                    u"{1}{1}{1}",
                                                    u"C:\\Dir",
                                                    u"\\",
                                                    std::u16string(u"a\0b", 3),
                                                    u"\xD800",
                                                    std::u16string(300, u'x'),
                                                    std::u16string(5000, u'{')};
  return texts;
}

RandomArguments::RandomArguments(std::mt19937& random, const std::vector<IDispatch*>& objects, const char* fitting)
    : random_(random), objects_(objects) {
  const std::string_view wanted = fitting != nullptr ? fitting : std::string_view("vvvvvv").substr(Below(7));
  // The last one stands first.
  for (auto kind = wanted.rbegin(); kind != wanted.rend(); ++kind) {
    if (*kind == 'v' || Below(20) == 0) {
      arguments_.push_back(NewArgument());
    } else {
      arguments_.push_back(NewValue(*kind == 's' ? VT_BSTR : *kind == 'o' ? VT_DISPATCH : VT_I4));
    }
  }
  if (fitting == nullptr && Below(5) == 0) {
    // The last ones are named, each otherwise.
    for (DISPID id = static_cast<DISPID>(Below(3)); names_.size() < arguments_.size() && Below(3) != 0; ++id) {
      names_.push_back(id);
    }
    if (names_.size() == 1 && Below(2) == 0) names_.front() = DISPID_PROPERTYPUT;
  }
  parameters_ = {arguments_.data(), names_.data(), static_cast<UINT>(arguments_.size()),
                 static_cast<UINT>(names_.size())};
}

RandomArguments::~RandomArguments() {
  for (VARIANT& argument : arguments_) ::VariantClear(&argument);
  for (VARIANT& variable : variables_) ::VariantClear(&variable);
}

BSTR RandomArguments::NewText() {
  if (Below(8) == 0) return nullptr;
  const std::u16string& text = Texts()[Below(static_cast<std::uint32_t>(Texts().size()))];
  return ::SysAllocStringLen(platform::Wide(text), static_cast<UINT>(text.size()));
}

SAFEARRAY* RandomArguments::NewArray(VARTYPE type) {
  if (Below(8) == 0) return nullptr;
  const LONG bounds[] = {0, 1, -1, 5, -2147483647 - 1, 2147483640};
  SAFEARRAYBOUND each[2];
  const UINT dimensions = Below(6) == 0 ? 2 : 1;
  for (SAFEARRAYBOUND& bound : each) bound = {Below(5), bounds[Below(Below(3) == 0 ? 6 : 2)]};
  SAFEARRAY* const array = ::SafeArrayCreate(type, dimensions, each);
  if (array == nullptr || dimensions != 1) return array;
  auto* const elements = static_cast<std::byte*>(array->pvData);
  for (ULONG i = 0; i < each[0].cElements; ++i) {
    std::byte* const element = elements + i * ::SafeArrayGetElemsize(array);
    if (type == VT_VARIANT) {
      *reinterpret_cast<VARIANT*>(element) = NewValue(SomeType());
    } else if (type == VT_BSTR) {
      *reinterpret_cast<BSTR*>(element) = NewText();
    }
  }
  return array;
}

VARTYPE RandomArguments::SomeType() {
  if (Below(3) == 0) return VT_BSTR;
  return kTypes[Below(std::size(kTypes))];
}

VARIANT RandomArguments::NewValue(VARTYPE type) {
  VARIANT value;
  ::VariantInit(&value);
  const LONG numbers[] = {0, 1, -1, 3, 255, 65536, -2147483647 - 1, 2147483647, -2147221501, -2147483647};
  switch (type) {
    case VT_BSTR:
      V_BSTR(&value) = NewText();
      break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
      V_DISPATCH(&value) = Below(4) == 0 ? nullptr : objects_[Below(static_cast<std::uint32_t>(objects_.size()))];
      if (V_DISPATCH(&value) != nullptr) V_DISPATCH(&value)->AddRef();
      break;
    case VT_R4:
      V_R4(&value) = static_cast<float>(numbers[Below(10)]) / 3;
      break;
    case VT_R8:
    case VT_DATE:
      V_R8(&value) = Below(5) == 0 ? 1e300 : static_cast<double>(numbers[Below(10)]) / 3;
      break;
    case VT_DECIMAL:
      V_DECIMAL(&value).Lo64 = random_();
      V_DECIMAL(&value).scale = static_cast<BYTE>(Below(29));
      V_DECIMAL(&value).sign = Below(2) == 0 ? 0 : 0x80;
      break;
    case VT_ERROR:
      V_ERROR(&value) = Below(2) == 0 ? DISP_E_PARAMNOTFOUND : E_FAIL;
      break;
    case VT_BOOL:
      V_BOOL(&value) = Below(2) == 0 ? VARIANT_FALSE : VARIANT_TRUE;
      break;
    default:
      // Each of the others is a number of at most 8 bytes.
      V_I8(&value) = Below(4) == 0 ? static_cast<LONGLONG>(random_()) << 20 : numbers[Below(10)];
  }
  V_VT(&value) = type;
  return value;
}

VARIANT RandomArguments::NewArgument() {
  const std::uint32_t form = Below(8);
  VARIANT value;
  if (form == 0) {
    const VARTYPE element = kElementTypes[Below(std::size(kElementTypes))];
    ::VariantInit(&value);
    V_ARRAY(&value) = NewArray(element);
    V_VT(&value) = static_cast<VARTYPE>(VT_ARRAY | element);
  } else {
    value = NewValue(SomeType());
  }
  const VARTYPE type = V_VT(&value);
  if (form > 2 || type == VT_EMPTY || type == VT_NULL) return value;
  // By reference, to the value itself or to a variant that holds it.
  VARIANT& variable = variables_.emplace_back(value);
  VARIANT reference;
  ::VariantInit(&reference);
  if (form == 1) {
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = &variable;
  } else {
    V_VT(&reference) = static_cast<VARTYPE>(VT_BYREF | type);
    V_BYREF(&reference) = type == VT_DECIMAL ? static_cast<void*>(&V_DECIMAL(&variable)) : &V_I4(&variable);
  }
  return reference;
}

}  // namespace nerio::testing
