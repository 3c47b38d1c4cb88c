#include "nerio/component/windows/module.h"

#include <atomic>

namespace nerio::component {
namespace {

std::atomic<long> references = 0;

}  // namespace

void AddModuleReference() noexcept { ++references; }
void ReleaseModuleReference() noexcept { --references; }
bool HasModuleReferences() noexcept { return references != 0; }

}  // namespace nerio::component
