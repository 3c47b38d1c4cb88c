#include "nerio/component/windows/class_factory.h"

#include "nerio/component/windows/automation_object.h"
#include "nerio/component/windows/module.h"

namespace nerio::component {
namespace {

// Callers of a lasting object learn nothing from its counts; any number above 0 says that it is there.
constexpr ULONG kStillThere = 1;

class ClassFactory final : public IClassFactory {
 public:
  HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id != IID_IUnknown && id != IID_IClassFactory) return E_NOINTERFACE;
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }

  ULONG WINAPI AddRef() override {
    AddModuleReference();
    return kStillThere;
  }

  ULONG WINAPI Release() override {
    ReleaseModuleReference();
    return kStillThere;
  }

  HRESULT WINAPI CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return MakeAutomationObject(id, object);
  }

  HRESULT WINAPI LockServer(BOOL lock) override {
    if (lock != FALSE) {
      AddModuleReference();
    } else {
      ReleaseModuleReference();
    }
    return S_OK;
  }
};

}  // namespace

IClassFactory& Factory() noexcept {
  // Holds nothing, so nothing has to run when the library is unloaded.
  static ClassFactory factory;
  return factory;
}

}  // namespace nerio::component
