#pragma once

#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/types/text.h"
#include "nerio_automation.h"

namespace nerio::testing {

/// Returns the path of the Nerio.dll that this build made.
Text ComponentPath();

/// The component's library, loaded without any registration, as long as this object lives.
class LoadedComponent {
 public:
  /// @throws std::runtime_error when the library or one of its exports cannot be had.
  explicit LoadedComponent(const Text& path = ComponentPath());
  LoadedComponent(const LoadedComponent&) = delete;
  LoadedComponent& operator=(const LoadedComponent&) = delete;
  ~LoadedComponent();

  using GetClassObjectFunction = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
  using PlainFunction = HRESULT(WINAPI*)();
  using InstallFunction = HRESULT(WINAPI*)(BOOL, const wchar_t*);

  GetClassObjectFunction getClassObject;
  PlainFunction canUnloadNow;
  PlainFunction registerServer;
  PlainFunction unregisterServer;
  InstallFunction install;

  platform::ComPointer<IClassFactory> Factory() const;
  platform::ComPointer<INerioComponent> Create() const;

 private:
  HMODULE module_;
};

}  // namespace nerio::testing
