#include "platform/windows/record_set.h"

#include <vector>

#include "platform/windows/bstr.h"
#include "platform/windows/com_error.h"
#include "platform/windows/variant.h"

namespace nerio::platform {
namespace {

// Turns what the object reported into an Error and frees it.
[[noreturn]] void RaiseException(EXCEPINFO& exception) {
  if (exception.pfnDeferredFillIn != nullptr) exception.pfnDeferredFillIn(&exception);
  Bstr source;
  Bstr description;
  Bstr helpFile;
  *source.put() = exception.bstrSource;
  *description.put() = exception.bstrDescription;
  *helpFile.put() = exception.bstrHelpFile;
  // An object fills in either the short code or the long one.
  const std::int32_t number = exception.wCode != 0   ? std::int32_t{exception.wCode}
                              : exception.scode != 0 ? std::int32_t{exception.scode}
                                                     : std::int32_t{DISP_E_EXCEPTION};
  throw Error(number, Text(source.view()), Text(description.view()));
}

// Calls a member by its name, with plain arguments that own nothing; `kind` says how. Reading a property asks for the
// property alone: an object of a script would otherwise call a function that it holds as its value.
void Invoke(IDispatch* object, const wchar_t* name, WORD kind, std::vector<VARIANT> arguments, NativeVariant& answer) {
  if (object == nullptr) RaiseObjectNotSet();
  ClearErrorInfo();
  DISPID member = DISPID_UNKNOWN;
  auto* writableName = const_cast<wchar_t*>(name);
  HRESULT result = object->GetIDsOfNames(IID_NULL, &writableName, 1, LOCALE_USER_DEFAULT, &member);
  if (FAILED(result)) RaiseComError(result);
  DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  EXCEPINFO exception{};
  result = object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters, answer.put(), &exception, nullptr);
  if (result == DISP_E_EXCEPTION) RaiseException(exception);
  if (FAILED(result)) RaiseComError(result);
}

Boolean Flag(IDispatch* object, const wchar_t* name) {
  NativeVariant answer;
  Invoke(object, name, DISPATCH_PROPERTYGET, {}, answer);
  if (FAILED(answer.ChangeType(VT_BOOL))) throw Error(kErrTypeMismatch, u"", u"Tipo non corrispondente");
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
