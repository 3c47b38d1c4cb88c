#include "nerio/component/windows/arguments.h"

#include <limits>
#include <string>

#include "nerio/hosts/windows/automation/automation.h"
#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_error.h"
#include "nerio/support/templates.h"
#include "nerio/support/variant_errors.h"

namespace nerio::component {
namespace {

using platform::Bstr;
using platform::FromNative;
using platform::NativeVariant;

// Reads the values of an array of one dimension.
ArgumentList FromArray(SAFEARRAY* array) {
  ArgumentList list;
  if (array == nullptr) return list;  // an array that was never given any elements
  VARTYPE type = VT_EMPTY;
  if (::SafeArrayGetDim(array) != 1 || FAILED(::SafeArrayGetVartype(array, &type))) platform::RaiseTypeMismatch();
  // Read here and not through the system's calls: there is no upper bound to ask for where it leaves 32 bits.
  const SAFEARRAYBOUND bound = array->rgsabound[0];
  CheckIndices(bound.lLbound, bound.cElements);
  list.lowerBound = bound.lLbound;
  list.values.reserve(bound.cElements);
  for (ULONG i = 0; i < bound.cElements; ++i) {
    LONG index = bound.lLbound + static_cast<LONG>(i);
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

// Reads a script's own array. Texts, functions and other objects have a length too; only arrays can be joined.
ArgumentList FromObject(IDispatch* object) {
  if (!platform::HasMember(object, L"join") || !platform::HasMember(object, L"length")) platform::RaiseTypeMismatch();
  NativeVariant length;
  platform::Invoke(object, L"length", DISPATCH_PROPERTYGET, {}, length);
  if (FAILED(length.ChangeType(VT_I8))) platform::RaiseTypeMismatch();
  const LONGLONG count = V_I8(&length.get());
  ArgumentList list;
  CheckIndices(list.lowerBound, count);
  for (LONGLONG i = 0; i < count; ++i) {
    const std::wstring index = std::to_wstring(i);
    NativeVariant element;
    // A place that was never given a value is not a member of the array.
    if (platform::HasMember(object, index.c_str())) {
      platform::Invoke(object, index.c_str(), DISPATCH_PROPERTYGET, {}, element);
    }
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

platform::KeyHandle ToRoot(const VARIANT& root) {
  const VARTYPE type = V_VT(&root);
  if (type == (VT_BYREF | VT_VARIANT)) return ToRoot(*V_VARIANTREF(&root));
  const bool leftOut = type == VT_EMPTY || (type == VT_ERROR && V_ERROR(&root) == DISP_E_PARAMNOTFOUND);
  if (leftOut) return platform::kHkeyLocalMachine;
  if ((type & ~VT_BYREF) == VT_BSTR) platform::RaiseTypeMismatch();
  NativeVariant number;
  // Read only. Null, objects and arrays are refused here.
  if (FAILED(::VariantChangeType(number.put(), const_cast<VARIANT*>(&root), 0, VT_I8))) platform::RaiseTypeMismatch();
  const LONGLONG value = V_I8(&number.get());
  if (value < std::numeric_limits<LONG>::min() || value > std::numeric_limits<ULONG>::max()) throw OverflowError();
  return static_cast<platform::KeyHandle>(value);
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
