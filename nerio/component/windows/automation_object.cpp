#include "nerio/component/windows/automation_object.h"

#include <atomic>
#include <new>

#include "nerio/component/windows/arguments.h"
#include "nerio/component/windows/boundary.h"
#include "nerio/component/windows/module.h"
#include "nerio/component/windows/settings.h"
#include "nerio/component/windows/type_library.h"
#include "nerio/hosts/windows/automation/com_error.h"
#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/record_set.h"
#include "nerio/hosts/windows/automation/system_message.h"
#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/hosts/windows/automation/xml_dom.h"
#include "nerio/support/base64.h"
#include "nerio/support/build_path.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/conversions.h"
#include "nerio/support/messages.h"
#include "nerio/support/records.h"
#include "nerio/support/templates.h"
#include "nerio/support/trace_log.h"
#include "nerio/support/xml.h"
#include "nerio/types/utf8.h"
#include "nerio_automation.h"

// The order matters: it needs the automation types.
#include <ocidl.h>

namespace nerio::component {
namespace {

// Views a string argument; a missing one is the empty text.
TextView In(BSTR text) { return platform::ViewOf(text, ::SysStringLen(text)); }

// What EncodeBase64 answers as a number, as an error that is raised. The DOM's own numbers are codes that the system has
// words for.
Error EncodingError(std::int32_t number) {
  if (number < 0) return {number, u"EncodeBase64Text", platform::SystemMessage(number)};
  return {number, u"EncodeBase64Text", number == kErrOutOfMemory ? u"Memoria esaurita" : u"Errore interno"};
}

// It holds nothing but the description of its interface; what lasts is in the registry and the trace file.
class AutomationObject final : public INerioComponent, public ISupportErrorInfo, public IProvideClassInfo {
 public:
  // The description of the interface lives as long as the process.
  explicit AutomationObject(ITypeInfo& typeInfo) noexcept : typeInfo_(&typeInfo) { AddModuleReference(); }

  HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id == IID_IUnknown || id == IID_IDispatch || id == IID_INerioComponent) {
      *object = static_cast<INerioComponent*>(this);
    } else if (id == IID_ISupportErrorInfo) {
      *object = static_cast<ISupportErrorInfo*>(this);
    } else if (id == IID_IProvideClassInfo) {
      *object = static_cast<IProvideClassInfo*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }

  ULONG WINAPI AddRef() override { return ++references_; }

  ULONG WINAPI Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  HRESULT WINAPI GetTypeInfoCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = 1;
    return S_OK;
  }

  HRESULT WINAPI GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    typeInfo_->AddRef();
    *info = typeInfo_;
    return S_OK;
  }

  HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    return typeInfo_->GetIDsOfNames(names, count, ids);
  }

  HRESULT WINAPI Invoke(DISPID member, REFIID, LCID, WORD kind, DISPPARAMS* parameters, VARIANT* answer,
                        EXCEPINFO* exception, UINT* badArgument) override {
    platform::ClearErrorInfo();
    return typeInfo_->Invoke(static_cast<INerioComponent*>(this), member, kind, parameters, answer, exception,
                             badArgument);
  }

  HRESULT WINAPI InterfaceSupportsErrorInfo(REFIID id) override {
    return id == IID_INerioComponent || id == IID_IDispatch ? S_OK : S_FALSE;
  }

  HRESULT WINAPI GetClassInfo(ITypeInfo** info) override {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    return Describe(CLSID_Component, info);
  }

  HRESULT WINAPI WriteLog(BSTR message) override {
    return AtBoundary([&] { nerio::WriteLog(In(message)); });
  }

  HRESULT WINAPI BuildPath(BSTR folder, BSTR fileName, BSTR* path) override {
    return AnswerText(path, [&] { return nerio::BuildPath(In(folder), In(fileName)); });
  }

  HRESULT WINAPI CheckXMLParser(VARIANT_BOOL* present) override {
    return AnswerFlag(present, [] { return nerio::CheckXMLParser(); });
  }

  HRESULT WINAPI SetXMLAttribute(IDispatch* document, IDispatch* node, BSTR name, BSTR value) override {
    return AtBoundary([&] {
      platform::XmlDom& dom = platform::ThisHost().xml;
      nerio::SetXMLAttribute(platform::ShareXmlObject(dom, document), platform::ShareXmlObject(dom, node), In(name),
                             In(value));
    });
  }

  HRESULT WINAPI AddXMLElement(IDispatch* document, IDispatch* parent, BSTR name, BSTR text,
                               IDispatch** element) override {
    if (element == nullptr) return E_POINTER;
    *element = nullptr;
    return AtBoundary([&] {
      platform::XmlDom& dom = platform::ThisHost().xml;
      const platform::XmlNode added = nerio::AddXMLElement(
          platform::ShareXmlObject(dom, document), platform::ShareXmlObject(dom, parent), Text(In(name)), In(text));
      *element = platform::AutomationOf(added);
    });
  }

  HRESULT WINAPI EncodeBase64(BSTR text, VARIANT* encoded, LONG* number) override {
    if (encoded == nullptr || number == nullptr) return E_POINTER;
    try {
      Text written;
      *number = nerio::EncodeBase64(In(text), written);
      if (*number == 0) WriteText(encoded, written);
    } catch (const Error& error) {
      *number = error.number();
    } catch (const std::bad_alloc&) {
      *number = kErrOutOfMemory;
    }
    return S_OK;
  }

  HRESULT WINAPI DecodeBase64(BSTR encoded, BSTR* text) override {
    return AnswerTextAlways(text, [&] { return nerio::DecodeBase64(Text(In(encoded))); });
  }

  HRESULT WINAPI GetGuid(BSTR* guid) override {
    return AnswerTextAlways(guid, [] { return nerio::GetGuid(); });
  }

  HRESULT WINAPI GetDate(BSTR text, BSTR* date) override {
    return AnswerTextAlways(date, [&] { return nerio::GetDate(In(text)); });
  }

  HRESULT WINAPI GetFieldValue(IDispatch* field, BSTR defaultText, VARIANT* value) override {
    if (value == nullptr) return E_POINTER;
    ::VariantInit(value);
    return AtBoundary([&] {
      platform::AutomationField borrowed(field);
      platform::NativeVariant answer(nerio::GetFieldValue(borrowed, In(defaultText)));
      // A value that is there is answered as the field gave it, with nothing of its type lost.
      const bool there = V_VT(&borrowed.native().get()) != VT_NULL;
      (there ? borrowed.native() : answer).MoveTo(value);
    });
  }

  HRESULT WINAPI PopulateRecordset(IDispatch* recordSet) override {
    return AtBoundary([&] {
      platform::AutomationRecordSet borrowed(recordSet);
      nerio::PopulateRecordset(borrowed);
    });
  }

  HRESULT WINAPI GetErrorMessage(LONG code, BSTR* message) override {
    return AnswerText(message, [&] { return nerio::GetErrorMessage(code); });
  }

  HRESULT WINAPI FormatTemplate(BSTR messageTemplate, VARIANT arguments, BSTR* text) override {
    return AnswerText(text, [&] { return nerio::FormatTemplate(In(messageTemplate), ToArgumentList(arguments)); });
  }

  HRESULT WINAPI ValidateParam(BSTR value, BSTR parameterName) override {
    return AtBoundary([&] { nerio::ValidateParam(In(value), In(parameterName)); });
  }

  HRESULT WINAPI LeggiImpostazione(BSTR sRamo, BSTR sChiave, BSTR sDefault, VARIANT eHKEYRoot, BSTR* valore) override {
    return AnswerText(
        valore, [&] { return component::LeggiImpostazione(In(sRamo), In(sChiave), In(sDefault), ToRoot(eHKEYRoot)); });
  }

  HRESULT WINAPI ScriviImpostazione(BSTR sRamo, BSTR sChiave, BSTR sValore, VARIANT eHKEYRoot,
                                    VARIANT_BOOL* scritta) override {
    return AnswerFlag(scritta, [&] {
      component::ScriviImpostazione(In(sRamo), In(sChiave), In(sValore), ToRoot(eHKEYRoot));
      return true;
    });
  }

  HRESULT WINAPI CancellaImpostazione(BSTR sRamo, BSTR sChiave, VARIANT eHKEYRoot, VARIANT_BOOL* cancellata) override {
    return AnswerFlag(cancellata, [&] {
      component::CancellaImpostazione(In(sRamo), In(sChiave), ToRoot(eHKEYRoot));
      return true;
    });
  }

  HRESULT WINAPI EncodeBase64Text(BSTR text, BSTR* encoded) override {
    if (encoded == nullptr) return E_POINTER;
    std::int32_t number = 0;
    const HRESULT result = AnswerText(encoded, [&] {
      Text written;
      number = nerio::EncodeBase64(In(text), written);
      if (number != 0) throw EncodingError(number);
      return written;
    });
    // Without memory for the answer, or for the words of an error, the number is still that of EncodeBase64.
    return SUCCEEDED(result) ? result : AnswerToNumber(number != 0 ? number : kErrOutOfMemory);
  }

  HRESULT WINAPI get_Versione(BSTR* versione) override {
    return AnswerText(versione, [] { return FromUtf8(NERIO_VERSION); });
  }

 private:
  ~AutomationObject() { ReleaseModuleReference(); }

  std::atomic<ULONG> references_ = 1;
  ITypeInfo* typeInfo_;
};

}  // namespace

HRESULT MakeAutomationObject(REFIID id, void** object) noexcept {
  *object = nullptr;
  ITypeInfo* typeInfo = nullptr;
  const HRESULT described = DescribeInterface(typeInfo);
  if (FAILED(described)) return described;
  const platform::ComPointer<AutomationObject> made(new (std::nothrow) AutomationObject(*typeInfo));
  return made ? made->QueryInterface(id, object) : E_OUTOFMEMORY;
}

}  // namespace nerio::component
