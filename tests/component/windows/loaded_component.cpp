#include "tests/component/windows/loaded_component.h"

#include <filesystem>
#include <stdexcept>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/types/utf8.h"

namespace nerio::testing {
namespace {

template <typename Function>
Function Export(HMODULE module, const char* name) {
  const FARPROC address = ::GetProcAddress(module, name);
  if (address == nullptr) throw std::runtime_error(std::string("no export ") + name);
  return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

}  // namespace

Text ComponentPath() {
  // The build knows it by the building machine's path, which lacks the drive: the current one, until a test changes it.
  static const Text path = std::filesystem::absolute(FromUtf8(NERIO_COMPONENT_PATH)).u16string();
  return path;
}

LoadedComponent::LoadedComponent(const Text& path) : module_(::LoadLibraryW(platform::Wide(path))) {
  if (module_ == nullptr) {
    throw std::runtime_error("cannot load " + ToUtf8(path) + ": " + std::to_string(::GetLastError()));
  }
  getClassObject = Export<GetClassObjectFunction>(module_, "DllGetClassObject");
  canUnloadNow = Export<PlainFunction>(module_, "DllCanUnloadNow");
  registerServer = Export<PlainFunction>(module_, "DllRegisterServer");
  unregisterServer = Export<PlainFunction>(module_, "DllUnregisterServer");
  install = Export<InstallFunction>(module_, "DllInstall");
}

LoadedComponent::~LoadedComponent() { ::FreeLibrary(module_); }

platform::ComPointer<IClassFactory> LoadedComponent::Factory() const {
  platform::ComPointer<IClassFactory> factory;
  if (getClassObject(CLSID_Component, IID_IClassFactory, factory.putVoid()) != S_OK) {
    throw std::runtime_error("no class factory");
  }
  return factory;
}

platform::ComPointer<INerioComponent> LoadedComponent::Create() const {
  platform::ComPointer<INerioComponent> object;
  if (Factory()->CreateInstance(nullptr, IID_INerioComponent, object.putVoid()) != S_OK) {
    throw std::runtime_error("no object");
  }
  return object;
}

}  // namespace nerio::testing
