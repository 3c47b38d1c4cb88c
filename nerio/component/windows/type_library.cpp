#include "nerio/component/windows/type_library.h"

#include <atomic>

#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/module_location.h"

namespace nerio::component {
namespace {

// One reference, kept as long as the process, in which this library stays.
std::atomic<ITypeLib*> shared = nullptr;

}  // namespace

HRESULT Describe(REFGUID id, ITypeInfo** info) noexcept {
  ITypeLib* library = shared;
  if (library == nullptr) {
    Text path;
    const platform::SystemStatus status = platform::ModulePath(path);
    if (status != platform::SystemStatus::kSuccess) return HRESULT_FROM_WIN32(static_cast<DWORD>(NumberOf(status)));
    platform::ComPointer<ITypeLib> read;
    const HRESULT loaded = ::LoadTypeLibEx(platform::Wide(path), REGKIND_NONE, read.put());
    if (FAILED(loaded)) return loaded;
    // Another thread may have been first: then `library` is its.
    if (shared.compare_exchange_strong(library, read.get())) library = read.release();
  }
  return library->GetTypeInfoOfGuid(id, info);
}

}  // namespace nerio::component
