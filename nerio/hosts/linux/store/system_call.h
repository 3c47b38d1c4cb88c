#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// Repeats a system call that a signal interrupted before it did anything. Not for `close`: the descriptor is free even
/// when a signal interrupts it.
/// @param call answers a negative number on failure and leaves the reason in errno.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// Returns the registry's return code for an error number of the system: 2 for what is missing, 5 for what is refused,
/// 8 for lack of memory or descriptors, 19 for a disk that cannot be written to, 112 for a full one, 1015 for something
/// else than a file or folder where one belongs, 1016 for everything else.
Status RegistryStatus(int systemError);

/// Makes a system call as `Uninterrupted` does. @return 0, or the return code for its failure.
template <typename Call>
Status StatusOf(Call call) {
  return Uninterrupted(call) < 0 ? RegistryStatus(errno) : kSuccess;
}

/// Owns a file descriptor and closes it.
class Descriptor {
 public:
  Descriptor() = default;
  /// Takes over `descriptor`; a negative number owns nothing.
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  int get() const { return descriptor_; }
  /// Hands the descriptor over to the caller, who closes it.
  int release() { return std::exchange(descriptor_, -1); }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

}  // namespace nerio::platform
