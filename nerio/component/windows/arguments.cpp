#include "nerio/component/windows/arguments.h"

#include <string>

#include "nerio/hosts/windows/automation/automation.h"
#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_error.h"

namespace nerio::component {
namespace {

using platform::Bstr;
using platform::FromNative;
using platform::NativeVariant;

// Reads the values of an array of one dimension, whose bounds the caller knows to be its own.
ArgumentList FromArray(SAFEARRAY* array) {
  ArgumentList list;
  if (array == nullptr) return list;  // an array that was never given any elements
  VARTYPE type = VT_EMPTY;
  LONG low = 0;
  LONG high = -1;
  if (::SafeArrayGetDim(array) != 1 || FAILED(::SafeArrayGetVartype(array, &type)) ||
      FAILED(::SafeArrayGetLBound(array, 1, &low)) || FAILED(::SafeArrayGetUBound(array, 1, &high))) {
    platform::RaiseTypeMismatch();
  }
  list.lowerBound = low;
  for (std::int64_t at = low; at <= high; ++at) {
    auto index = static_cast<LONG>(at);
    void* element = nullptr;
    // The element's own place: no copy is needed, and a lock would have to be undone on each way out.
    if (FAILED(::SafeArrayPtrOfIndex(array, &index, &element))) platform::RaiseTypeMismatch();
    if (type == VT_VARIANT) {
      list.values.push_back(FromNative(*static_cast<const VARIANT*>(element)));
    } else {
      VARIANT reference;
      ::VariantInit(&reference);
      V_VT(&reference) = static_cast<VARTYPE>(type | VT_BYREF);
      V_BYREF(&reference) = element;
      list.values.push_back(FromNative(reference));
    }
  }
  return list;
}

ArgumentList FromObject(IDispatch* object) {
  NativeVariant length;
  platform::Invoke(object, L"length", DISPATCH_PROPERTYGET, {}, length);
  if (FAILED(length.ChangeType(VT_I4))) platform::RaiseTypeMismatch();
  ArgumentList list;
  for (LONG i = 0; i < V_I4(&length.get()); ++i) {
    NativeVariant element;
    platform::Invoke(object, std::to_wstring(i).c_str(), DISPATCH_PROPERTYGET, {}, element);
    list.values.push_back(FromNative(element.get()));
  }
  return list;
}

}  // namespace

ArgumentList ToArgumentList(const VARIANT& arguments) {
  const VARTYPE type = V_VT(&arguments);
  if (type == (VT_BYREF | VT_VARIANT)) return ToArgumentList(*V_VARIANTREF(&arguments));
  if ((type & VT_ARRAY) != 0) {
    return FromArray((type & VT_BYREF) != 0 ? *V_ARRAYREF(&arguments) : V_ARRAY(&arguments));
  }
  if (type == VT_DISPATCH) return FromObject(V_DISPATCH(&arguments));
  platform::RaiseTypeMismatch();
}

void WriteText(VARIANT* variable, TextView text) {
  const VARTYPE type = V_VT(variable);
  if (type == (VT_BYREF | VT_VARIANT)) return WriteText(V_VARIANTREF(variable), text);
  Bstr written(text);
  if (type == (VT_BYREF | VT_BSTR)) {
    ::SysFreeString(*V_BSTRREF(variable));
    *V_BSTRREF(variable) = written.release();
    return;
  }
  if ((type & VT_BYREF) != 0 || FAILED(::VariantClear(variable))) platform::RaiseTypeMismatch();
  V_VT(variable) = VT_BSTR;
  V_BSTR(variable) = written.release();
}

}  // namespace nerio::component
