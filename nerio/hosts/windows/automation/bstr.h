#pragma once

#include <windows.h>
// The order matters: the automation headers need the types above.
#include <oleauto.h>

#include <new>
#include <utility>

#include "nerio/hosts/windows/automation/wide.h"

namespace nerio::platform {

/// Owns one automation string, or none. A BSTR counts its code units, so NULs inside are content.
class Bstr {
 public:
  Bstr() = default;
  /// Copies a text. @throws std::bad_alloc.
  explicit Bstr(TextView text) : value_(::SysAllocStringLen(Wide(text), static_cast<UINT>(text.size()))) {
    if (value_ == nullptr) throw std::bad_alloc();
  }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { ::SysFreeString(value_); }

  /// Lends the string, null when there is none.
  BSTR get() const noexcept { return value_; }
  /// Lends the place for a call to leave a new string in; what was there is freed.
  BSTR* put() noexcept {
    ::SysFreeString(std::exchange(value_, nullptr));
    return &value_;
  }
  /// Gives the string away.
  BSTR release() noexcept { return std::exchange(value_, nullptr); }
  /// Views the content; no string is the empty text.
  TextView view() const noexcept { return ViewOf(value_, ::SysStringLen(value_)); }

 private:
  BSTR value_ = nullptr;
};

/// Copies what a borrowed automation string holds; null is the empty text.
inline Text FromBstr(BSTR borrowed) { return Text(ViewOf(borrowed, ::SysStringLen(borrowed))); }

}  // namespace nerio::platform
