#pragma once

#include <concepts>
#include <cstddef>

#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"

namespace nerio {

/// A text parameter that is read and may be written. It takes a variable of type `Text`, which receives what is
/// written; or a value without a name (a literal, `Text(...)`, the result of a call), whose changes nobody sees. Any
/// other variable (a const `Text`, a `TextView`, a pointer, an array filled at run time) does not compile: it could not
/// receive what is written, and its owner would not notice. A constexpr array counts as a literal.
///
/// Only for parameters: the object refers to the argument, which it does not own.
class TextInOut {
 public:
  // An argument becomes the parameter by itself, and only arguments of exactly these types.
  // NOLINTBEGIN(google-explicit-constructor, bugprone-forwarding-reference-overload)
  TextInOut(Text& variable) noexcept : variable_(&variable) {}
  template <std::same_as<Text> Value>
  TextInOut(Value&& value) noexcept : variable_(&value) {}
  template <std::same_as<TextView> Value>
  TextInOut(Value&& value) noexcept : literal_(value) {}
  template <std::size_t kSize>
  consteval TextInOut(const char16_t (&literal)[kSize]) noexcept : literal_(literal) {}
  template <std::size_t kSize>
  TextInOut(char16_t (&array)[kSize]) = delete;
  // NOLINTEND(google-explicit-constructor, bugprone-forwarding-reference-overload)

  /// Returns the text to read and write: the caller's, or `own` after it was given the literal.
  Text& In(Text& own) const { return variable_ != nullptr ? *variable_ : own = literal_; }

 private:
  Text* variable_ = nullptr;
  TextView literal_;
};

/// A root parameter that is in/out by declaration and never written. It takes a variable of type `KeyHandle` or a value
/// without a name, such as one of the constants of `PredefinedRoot`. Any other variable does not compile.
class RootInOut {
 public:
  // NOLINTBEGIN(google-explicit-constructor, bugprone-forwarding-reference-overload): as above
  RootInOut(platform::KeyHandle& variable) noexcept : root_(variable) {}
  template <typename Value>
  requires(std::same_as<Value, platform::KeyHandle> || std::same_as<Value, platform::PredefinedRoot>)
      RootInOut(Value&& value)
  noexcept : root_(value) {}

  operator platform::KeyHandle() const noexcept { return root_; }
  // NOLINTEND(google-explicit-constructor, bugprone-forwarding-reference-overload)

 private:
  platform::KeyHandle root_;
};

}  // namespace nerio
