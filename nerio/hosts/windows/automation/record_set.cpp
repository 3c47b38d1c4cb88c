#include "nerio/hosts/windows/automation/record_set.h"

#include "nerio/hosts/windows/automation/automation.h"
#include "nerio/hosts/windows/automation/com_error.h"
#include "nerio/hosts/windows/automation/variant.h"

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
  return FromNative(answer.get());
}

Boolean AutomationRecordSet::get_BOF() { return Flag(records_, L"BOF"); }

Boolean AutomationRecordSet::get_EOF() { return Flag(records_, L"EOF"); }

void AutomationRecordSet::MoveLast(std::int32_t options) {
  VARIANT argument;
  ::VariantInit(&argument);
  V_VT(&argument) = VT_I4;
  V_I4(&argument) = options;
  NativeVariant nothing;
  Invoke(records_, L"MoveLast", DISPATCH_METHOD, {argument}, nothing);
}

void AutomationRecordSet::MoveFirst() {
  NativeVariant nothing;
  Invoke(records_, L"MoveFirst", DISPATCH_METHOD, {}, nothing);
}

}  // namespace nerio::platform
