#include "nerio/component/windows/automation_object.h"

#include <new>

#include "nerio/component/windows/arguments.h"
#include "nerio/component/windows/boundary.h"
#include "nerio/component/windows/module.h"
#include "nerio/component/windows/settings.h"
#include "nerio/component/windows/type_library.h"
#include "nerio/hosts/windows/automation/com_error.h"
#include "nerio/hosts/windows/automation/record_set.h"
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

namespace nerio::component {
namespace {

// Views a string argument; a missing one is the empty text.
TextView In(BSTR text) { return platform::ViewOf(text, ::SysStringLen(text)); }

}  // namespace

HRESULT AutomationObject::Create(REFIID id, void** object) noexcept {
  *object = nullptr;
  const platform::ComPointer<AutomationObject> made(new (std::nothrow) AutomationObject);
  if (!made) return E_OUTOFMEMORY;
  const HRESULT described = Describe(IID_INerioComponent, made->typeInfo_.put());
  return SUCCEEDED(described) ? made->QueryInterface(id, object) : described;
}

AutomationObject::AutomationObject() noexcept { AddModuleReference(); }

AutomationObject::~AutomationObject() { ReleaseModuleReference(); }

HRESULT AutomationObject::QueryInterface(REFIID id, void** object) {
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

ULONG AutomationObject::AddRef() { return ++references_; }

ULONG AutomationObject::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

HRESULT AutomationObject::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 1;
  return S_OK;
}

HRESULT AutomationObject::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  *info = platform::ComPointer(typeInfo_).release();
  return S_OK;
}

HRESULT AutomationObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  return typeInfo_->GetIDsOfNames(names, count, ids);
}

HRESULT AutomationObject::Invoke(DISPID member, REFIID, LCID, WORD kind, DISPPARAMS* parameters, VARIANT* answer,
                                 EXCEPINFO* exception, UINT* badArgument) {
  platform::ClearErrorInfo();
  return typeInfo_->Invoke(static_cast<INerioComponent*>(this), member, kind, parameters, answer, exception,
                           badArgument);
}

HRESULT AutomationObject::InterfaceSupportsErrorInfo(REFIID id) {
  return id == IID_INerioComponent || id == IID_IDispatch ? S_OK : S_FALSE;
}

HRESULT AutomationObject::GetClassInfo(ITypeInfo** info) {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  return Describe(CLSID_Component, info);
}

HRESULT AutomationObject::WriteLog(BSTR message) {
  return AtBoundary([&] { nerio::WriteLog(In(message)); });
}

HRESULT AutomationObject::BuildPath(BSTR folder, BSTR fileName, BSTR* path) {
  return AnswerText(path, [&] { return nerio::BuildPath(In(folder), In(fileName)); });
}

HRESULT AutomationObject::CheckXMLParser(VARIANT_BOOL* present) {
  return AnswerFlag(present, [] { return nerio::CheckXMLParser(); });
}

HRESULT AutomationObject::SetXMLAttribute(IDispatch* document, IDispatch* node, BSTR name, BSTR value) {
  return AtBoundary([&] {
    platform::XmlDom& dom = platform::ThisHost().xml;
    nerio::SetXMLAttribute(platform::ShareXmlObject(dom, document), platform::ShareXmlObject(dom, node), In(name),
                           In(value));
  });
}

HRESULT AutomationObject::AddXMLElement(IDispatch* document, IDispatch* parent, BSTR name, BSTR text,
                                        IDispatch** element) {
  if (element == nullptr) return E_POINTER;
  *element = nullptr;
  return AtBoundary([&] {
    platform::XmlDom& dom = platform::ThisHost().xml;
    const platform::XmlNode added = nerio::AddXMLElement(
        platform::ShareXmlObject(dom, document), platform::ShareXmlObject(dom, parent), Text(In(name)), In(text));
    *element = platform::AutomationOf(added);
  });
}

HRESULT AutomationObject::EncodeBase64(BSTR text, VARIANT* encoded, LONG* number) {
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

HRESULT AutomationObject::DecodeBase64(BSTR encoded, BSTR* text) {
  return AnswerTextAlways(text, [&] { return nerio::DecodeBase64(Text(In(encoded))); });
}

HRESULT AutomationObject::GetGuid(BSTR* guid) {
  return AnswerTextAlways(guid, [] { return nerio::GetGuid(); });
}

HRESULT AutomationObject::GetDate(BSTR text, BSTR* date) {
  return AnswerTextAlways(date, [&] { return nerio::GetDate(In(text)); });
}

HRESULT AutomationObject::GetFieldValue(IDispatch* field, BSTR defaultText, VARIANT* value) {
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

HRESULT AutomationObject::PopulateRecordset(IDispatch* recordSet) {
  return AtBoundary([&] {
    platform::AutomationRecordSet borrowed(recordSet);
    nerio::PopulateRecordset(borrowed);
  });
}

HRESULT AutomationObject::GetErrorMessage(LONG code, BSTR* message) {
  return AnswerText(message, [&] { return nerio::GetErrorMessage(code); });
}

HRESULT AutomationObject::FormatTemplate(BSTR messageTemplate, VARIANT arguments, BSTR* text) {
  return AnswerText(text, [&] { return nerio::FormatTemplate(In(messageTemplate), ToArgumentList(arguments)); });
}

HRESULT AutomationObject::ValidateParam(BSTR value, BSTR parameterName) {
  return AtBoundary([&] { nerio::ValidateParam(In(value), In(parameterName)); });
}

HRESULT AutomationObject::LeggiImpostazione(BSTR sRamo, BSTR sChiave, BSTR sDefault, BSTR* valore) {
  return AnswerText(valore, [&] { return component::LeggiImpostazione(In(sRamo), In(sChiave), In(sDefault)); });
}

HRESULT AutomationObject::ScriviImpostazione(BSTR sRamo, BSTR sChiave, BSTR sValore, VARIANT_BOOL* scritta) {
  return AnswerFlag(scritta, [&] {
    component::ScriviImpostazione(In(sRamo), In(sChiave), In(sValore));
    return true;
  });
}

HRESULT AutomationObject::CancellaImpostazione(BSTR sRamo, BSTR sChiave, VARIANT_BOOL* cancellata) {
  return AnswerFlag(cancellata, [&] {
    component::CancellaImpostazione(In(sRamo), In(sChiave));
    return true;
  });
}

}  // namespace nerio::component
