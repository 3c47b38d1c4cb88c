#include "tests/hosts/windows/automation/fake_dispatch.h"

#include <iterator>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/types/utf8.h"

namespace nerio::testing {

HRESULT FakeDispatch::QueryInterface(REFIID id, void** object) {
  *object = nullptr;
  if (id != IID_IUnknown && id != IID_IDispatch) return E_NOINTERFACE;
  *object = static_cast<IDispatch*>(this);
  AddRef();
  return S_OK;
}

HRESULT FakeDispatch::GetTypeInfoCount(UINT* count) {
  *count = 0;
  return S_OK;
}

HRESULT FakeDispatch::GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) {
  const auto found = members_.find(Text(reinterpret_cast<const char16_t*>(names[0])));
  if (found == members_.end()) return DISP_E_UNKNOWNNAME;
  ids[0] = static_cast<DISPID>(std::distance(members_.begin(), found)) + 1;
  return S_OK;
}

HRESULT FakeDispatch::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* answer,
                             EXCEPINFO* exception, UINT*) {
  // The default member, which a conversion of the object to a value asks for, is none of them.
  if (id < 1 || id > static_cast<DISPID>(members_.size())) return DISP_E_MEMBERNOTFOUND;
  const auto& [name, member] = *std::next(members_.begin(), id - 1);
  const std::string kind = flags == DISPATCH_PROPERTYGET ? "get " : flags == DISPATCH_METHOD ? "call " : "??? ";
  std::string call = kind + ToUtf8(name);
  if (flags == DISPATCH_METHOD) {
    call += '(';
    for (UINT i = parameters->cArgs; i > 0; --i) {
      const VARIANT& argument = parameters->rgvarg[i - 1];
      call += V_VT(&argument) == VT_I4 ? std::to_string(V_I4(&argument)) : "?";
    }
    call += ')';
  }
  calls.push_back(call);
  return member(*parameters, answer, exception);
}

FakeDispatch::Member Answers(const VARIANT& value) {
  return [value](const DISPPARAMS&, VARIANT* answer, EXCEPINFO*) {
    *answer = value;
    return S_OK;
  };
}

FakeDispatch::Member AnswersFlag(bool flag) {
  VARIANT value;
  ::VariantInit(&value);
  V_VT(&value) = VT_BOOL;
  V_BOOL(&value) = flag ? VARIANT_TRUE : VARIANT_FALSE;
  return Answers(value);
}

}  // namespace nerio::testing
