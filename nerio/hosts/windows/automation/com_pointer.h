#pragma once

#include <utility>

namespace nerio::platform {

/// Owns one reference to a COM object, or nothing.
template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  /// Takes over a reference.
  explicit ComPointer(Interface* taken) noexcept : object_(taken) {}
  ComPointer(const ComPointer& other) noexcept : object_(other.object_) {
    if (object_ != nullptr) object_->AddRef();
  }
  ComPointer(ComPointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPointer& operator=(ComPointer other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPointer() {
    if (object_ != nullptr) object_->Release();
  }

  Interface* get() const noexcept { return object_; }
  Interface* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Lends the place for a call to leave a new reference in; the one that was there is released.
  Interface** put() noexcept {
    *this = ComPointer();
    return &object_;
  }
  /// The same for a call that takes the place without its type, as QueryInterface does.
  void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }
  /// Gives the reference away.
  Interface* release() noexcept { return std::exchange(object_, nullptr); }

 private:
  Interface* object_ = nullptr;
};

}  // namespace nerio::platform
