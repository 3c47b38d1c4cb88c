#include "nerio/component/windows/type_library.h"

#include <atomic>
#include <utility>

#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/module_location.h"
#include "nerio_automation.h"

namespace nerio::component {
namespace {

// One reference each, kept as long as the process, in which this library stays.
std::atomic<ITypeLib*> sharedLibrary = nullptr;
std::atomic<ITypeInfo*> sharedInterface = nullptr;

// Shares what was found, unless another thread was first. Returns what is shared.
template <typename Described>
Described* Share(std::atomic<Described*>& shared, platform::ComPointer<Described> found) noexcept {
  Described* first = nullptr;
  return shared.compare_exchange_strong(first, found.get()) ? found.release() : first;
}

}  // namespace

HRESULT Describe(REFGUID id, ITypeInfo** info) noexcept {
  ITypeLib* library = sharedLibrary;
  if (library == nullptr) {
    Text path;
    const platform::SystemStatus status = platform::ModulePath(path);
    if (status != platform::SystemStatus::kSuccess) return HRESULT_FROM_WIN32(static_cast<DWORD>(NumberOf(status)));
    platform::ComPointer<ITypeLib> read;
    const HRESULT loaded = ::LoadTypeLibEx(platform::Wide(path), REGKIND_NONE, read.put());
    if (FAILED(loaded)) return loaded;
    library = Share(sharedLibrary, std::move(read));
  }
  return library->GetTypeInfoOfGuid(id, info);
}

HRESULT DescribeInterface(ITypeInfo*& info) noexcept {
  info = sharedInterface;
  if (info != nullptr) return S_OK;
  platform::ComPointer<ITypeInfo> found;
  const HRESULT described = Describe(IID_INerioComponent, found.put());
  if (SUCCEEDED(described)) info = Share(sharedInterface, std::move(found));
  return described;
}

}  // namespace nerio::component
