// What the library offers to COM and to regsvr32.
#include "nerio/component/windows/class_factory.h"
#include "nerio/component/windows/module.h"
#include "nerio/component/windows/registration.h"
#include "nerio_automation.h"

STDAPI DllGetClassObject(REFCLSID id, REFIID interfaceId, LPVOID* object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (id != CLSID_Component) return CLASS_E_CLASSNOTAVAILABLE;
  return nerio::component::Factory().QueryInterface(interfaceId, object);
}

STDAPI DllCanUnloadNow() { return nerio::component::HasModuleReferences() ? S_FALSE : S_OK; }

STDAPI DllRegisterServer() { return nerio::component::Register(nerio::component::Users::kAll); }

STDAPI DllUnregisterServer() { return nerio::component::Unregister(nerio::component::Users::kAll); }

// With regsvr32 /i:user for the user alone; without a text the same as the two above.
STDAPI DllInstall(BOOL install, PCWSTR text) {
  using nerio::component::Users;
  const bool forAll = text == nullptr || *text == L'\0';
  if (!forAll && ::lstrcmpiW(text, L"user") != 0) return E_INVALIDARG;
  const Users users = forAll ? Users::kAll : Users::kCurrent;
  return install != FALSE ? nerio::component::Register(users) : nerio::component::Unregister(users);
}
