#pragma once

#include <atomic>

#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio_automation.h"

// The order matters: it needs the automation types.
#include <ocidl.h>

namespace nerio::component {

/// The component's automation object: the support routines under their own names, and the settings. It holds nothing
/// but the description of its interface; what lasts is in the registry and the trace file. Its methods run on their
/// caller's thread, answer a failure with error information and let no exception through.
class AutomationObject final : public INerioComponent, public ISupportErrorInfo, public IProvideClassInfo {
 public:
  /// Makes an object and asks it for an interface.
  /// @param[out] object one reference, the caller's; null on failure.
  static HRESULT Create(REFIID id, void** object) noexcept;

  HRESULT WINAPI QueryInterface(REFIID id, void** object) override;
  ULONG WINAPI AddRef() override;
  ULONG WINAPI Release() override;

  HRESULT WINAPI GetTypeInfoCount(UINT* count) override;
  HRESULT WINAPI GetTypeInfo(UINT index, LCID, ITypeInfo** info) override;
  HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
  HRESULT WINAPI Invoke(DISPID member, REFIID, LCID, WORD kind, DISPPARAMS* parameters, VARIANT* answer,
                        EXCEPINFO* exception, UINT* badArgument) override;

  HRESULT WINAPI InterfaceSupportsErrorInfo(REFIID id) override;

  HRESULT WINAPI GetClassInfo(ITypeInfo** info) override;

  HRESULT WINAPI WriteLog(BSTR message) override;
  HRESULT WINAPI BuildPath(BSTR folder, BSTR fileName, BSTR* path) override;
  HRESULT WINAPI CheckXMLParser(VARIANT_BOOL* present) override;
  HRESULT WINAPI SetXMLAttribute(IDispatch* document, IDispatch* node, BSTR name, BSTR value) override;
  HRESULT WINAPI AddXMLElement(IDispatch* document, IDispatch* parent, BSTR name, BSTR text,
                               IDispatch** element) override;
  HRESULT WINAPI EncodeBase64(BSTR text, VARIANT* encoded, LONG* number) override;
  HRESULT WINAPI DecodeBase64(BSTR encoded, BSTR* text) override;
  HRESULT WINAPI GetGuid(BSTR* guid) override;
  HRESULT WINAPI GetDate(BSTR text, BSTR* date) override;
  HRESULT WINAPI GetFieldValue(IDispatch* field, BSTR defaultText, VARIANT* value) override;
  HRESULT WINAPI PopulateRecordset(IDispatch* recordSet) override;
  HRESULT WINAPI GetErrorMessage(LONG code, BSTR* message) override;
  HRESULT WINAPI FormatTemplate(BSTR messageTemplate, VARIANT arguments, BSTR* text) override;
  HRESULT WINAPI ValidateParam(BSTR value, BSTR parameterName) override;
  HRESULT WINAPI LeggiImpostazione(BSTR sRamo, BSTR sChiave, BSTR sDefault, BSTR* valore) override;
  HRESULT WINAPI ScriviImpostazione(BSTR sRamo, BSTR sChiave, BSTR sValore, VARIANT_BOOL* scritta) override;
  HRESULT WINAPI CancellaImpostazione(BSTR sRamo, BSTR sChiave, VARIANT_BOOL* cancellata) override;

 private:
  AutomationObject() noexcept;
  ~AutomationObject();

  std::atomic<ULONG> references_ = 1;
  platform::ComPointer<ITypeInfo> typeInfo_;
};

}  // namespace nerio::component
