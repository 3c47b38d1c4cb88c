#include "nerio/component/windows/class_factory.h"

#include "nerio/component/windows/automation_object.h"
#include "nerio/component/windows/module.h"

namespace nerio::component {
namespace {

// Callers of a lasting object learn nothing from its counts; any number above 0 says that it is there.
constexpr ULONG kStillThere = 1;

}  // namespace

HRESULT ClassFactory::QueryInterface(REFIID id, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (id != IID_IUnknown && id != IID_IClassFactory) return E_NOINTERFACE;
  *object = static_cast<IClassFactory*>(this);
  AddRef();
  return S_OK;
}

ULONG ClassFactory::AddRef() {
  AddModuleReference();
  return kStillThere;
}

ULONG ClassFactory::Release() {
  ReleaseModuleReference();
  return kStillThere;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID id, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  return AutomationObject::Create(id, object);
}

HRESULT ClassFactory::LockServer(BOOL lock) {
  if (lock != FALSE) {
    AddModuleReference();
  } else {
    ReleaseModuleReference();
  }
  return S_OK;
}

}  // namespace nerio::component
