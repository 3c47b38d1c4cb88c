#pragma once

#include <windows.h>
// The order matters: the COM headers need the types above.
#include <objbase.h>

namespace nerio::component {

/// Makes the component's automation objects. There is one, which lives as long as the library is loaded; a reference to
/// it keeps the library loaded.
class ClassFactory final : public IClassFactory {
 public:
  HRESULT WINAPI QueryInterface(REFIID id, void** object) override;
  ULONG WINAPI AddRef() override;
  ULONG WINAPI Release() override;
  HRESULT WINAPI CreateInstance(IUnknown* outer, REFIID id, void** object) override;
  HRESULT WINAPI LockServer(BOOL lock) override;
};

}  // namespace nerio::component
