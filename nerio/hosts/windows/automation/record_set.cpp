#include "nerio/hosts/windows/automation/record_set.h"

#include <new>

#include "nerio/hosts/windows/automation/automation.h"
#include "nerio/hosts/windows/automation/com_error.h"

namespace nerio::platform {
namespace {

Boolean Flag(IDispatch* object, const wchar_t* name) {
  NativeVariant answer;
  Invoke(object, name, DISPATCH_PROPERTYGET, {}, answer);
  if (FAILED(answer.ChangeType(VT_BOOL))) RaiseTypeMismatch();
  return static_cast<Boolean>(V_BOOL(&answer.get()));
}

}  // namespace

Variant AutomationField::get_Value() {
  NativeVariant answer;
  Invoke(field_, L"Value", DISPATCH_PROPERTYGET, {}, answer);
  Variant value = FromNative(answer.get());
  // A reference is followed: what it refers to is the object's own. The source is declared writable and only read.
  if (FAILED(::VariantCopyInd(native_.put(), const_cast<VARIANT*>(&answer.get())))) throw std::bad_alloc();
  return value;
}

Boolean AutomationRecordSet::get_BOF() { return Flag(records_, L"BOF"); }

Boolean AutomationRecordSet::get_EOF() { return Flag(records_, L"EOF"); }

void AutomationRecordSet::MoveLast(std::int32_t options) {
  VARIANT argument;
  ::VariantInit(&argument);
  V_VT(&argument) = VT_I4;
  V_I4(&argument) = options;
  NativeVariant nothing;
  try {
    Invoke(records_, L"MoveLast", DISPATCH_METHOD, {argument}, nothing);
  } catch (const Error& error) {
    if (error.number() != DISP_E_BADPARAMCOUNT) throw;
    Invoke(records_, L"MoveLast", DISPATCH_METHOD, {}, nothing);
  }
}

void AutomationRecordSet::MoveFirst() {
  NativeVariant nothing;
  Invoke(records_, L"MoveFirst", DISPATCH_METHOD, {}, nothing);
}

}  // namespace nerio::platform
