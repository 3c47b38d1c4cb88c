#include "nerio/hosts/windows/automation/automation.h"

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_error.h"

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

HRESULT FindMember(IDispatch* object, const wchar_t* name, DISPID& member) {
  if (object == nullptr) RaiseObjectNotSet();
  ClearErrorInfo();
  auto* writableName = const_cast<wchar_t*>(name);
  return object->GetIDsOfNames(IID_NULL, &writableName, 1, LOCALE_USER_DEFAULT, &member);
}

}  // namespace

bool HasMember(IDispatch* object, const wchar_t* name) {
  DISPID member = DISPID_UNKNOWN;
  return SUCCEEDED(FindMember(object, name, member));
}

void Invoke(IDispatch* object, const wchar_t* name, WORD kind, std::vector<VARIANT> arguments, NativeVariant& answer) {
  DISPID member = DISPID_UNKNOWN;
  HRESULT result = FindMember(object, name, member);
  if (FAILED(result)) RaiseComError(result);
  DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  EXCEPINFO exception{};
  result = object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters, answer.put(), &exception, nullptr);
  if (result == DISP_E_EXCEPTION) RaiseException(exception);
  if (FAILED(result)) RaiseComError(result);
}

}  // namespace nerio::platform
