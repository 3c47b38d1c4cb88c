#pragma once

namespace nerio::component {

/// Keeps the library loaded: the count of living objects and of locks.
void AddModuleReference() noexcept;
void ReleaseModuleReference() noexcept;
/// Tells whether anything keeps the library loaded.
bool HasModuleReferences() noexcept;

}  // namespace nerio::component
