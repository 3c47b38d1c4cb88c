#include "nerio/hosts/linux/store/fork_safety.h"

#include <pthread.h>

#include <algorithm>
#include <vector>

namespace nerio::platform {
namespace {

constinit std::mutex memoryMutex;
constinit unsigned forks = 0;
// Never destroyed, since other threads may be at work while the process ends; made without memory, since a program that
// loads the library when there is none must not be ended by it.
union LockDescriptorList {
  constexpr LockDescriptorList() : descriptors() {}
  ~LockDescriptorList() {}
  std::vector<int> descriptors;
};
constinit LockDescriptorList lockDescriptors;
std::vector<int>& LockDescriptors() { return lockDescriptors.descriptors; }

void BeforeFork() { memoryMutex.lock(); }

void AfterForkInParent() {
  ++forks;
  memoryMutex.unlock();
}

void AfterForkInChild() {
  for (const int descriptor : LockDescriptors()) ::close(descriptor);
  LockDescriptors().clear();
  AfterForkInParent();
}

// The C library takes the handlers out when it unloads the file that they are in.
[[maybe_unused]] const bool registered = ::pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild) == 0;

}  // namespace

std::mutex& MemoryMutex() { return memoryMutex; }

bool NoteLockDescriptor(int descriptor, unsigned before) {
  const std::scoped_lock hold(memoryMutex);
  LockDescriptors().push_back(descriptor);
  return forks == before;
}

void ForgetLockDescriptor(int descriptor) {
  const std::scoped_lock hold(memoryMutex);
  std::erase(LockDescriptors(), descriptor);
}

unsigned ForkCount() {
  const std::scoped_lock hold(memoryMutex);
  return forks;
}

}  // namespace nerio::platform
