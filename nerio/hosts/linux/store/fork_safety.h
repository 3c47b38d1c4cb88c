#pragma once

#include <mutex>

#include "nerio/hosts/linux/store/system_call.h"

namespace nerio::platform {

// What `fork` must find in order, in a program that has other threads. Handlers are registered when the library is
// loaded and go with it; none does anything that can wait for more than a few instructions of another thread.

/// Returns the one mutex of what the registries of a process keep in memory. It is held for memory only, never across a
/// call to the system, and is free in a forked child.
std::mutex& MemoryMutex();

/// Notes a descriptor that is about to hold a key's lock. A forked child closes its copy: its parent's locks end with the
/// parent.
/// @return false when a child may have been forked since `before`, and have a copy that it does not know of.
bool NoteLockDescriptor(int descriptor, unsigned before);

/// Forgets a descriptor before it is closed.
void ForgetLockDescriptor(int descriptor);

/// Counts the forks of this process so far.
unsigned ForkCount();

}  // namespace nerio::platform
