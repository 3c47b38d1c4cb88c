#pragma once

#include <windows.h>
// The order matters: the automation headers need the types above.
#include <oleauto.h>

#include <deque>
#include <random>
#include <vector>

#include "tests/hosts/windows/automation/fake_dispatch.h"

namespace nerio::testing {

/// The arguments of a random call of `IDispatch::Invoke`, all that the protocol allows: any number of them, of every
/// type, by value and by reference, arrays, null strings, objects and arrays. What they own goes with this object.
class RandomArguments {
 public:
  /// @param objects those that an argument may be; null is always among them.
  /// @param fitting what most of the arguments are to be, in order: "s" a text, "o" an object, "n" a number, "v" anything;
  ///   null for any number of anything.
  RandomArguments(std::mt19937& random, const std::vector<IDispatch*>& objects, const char* fitting);
  RandomArguments(const RandomArguments&) = delete;
  RandomArguments& operator=(const RandomArguments&) = delete;
  ~RandomArguments();

  DISPPARAMS* parameters() { return &parameters_; }

  /// The texts that an argument may be, so that whoever cleans up knows them.
  static const std::vector<std::u16string>& Texts();

 private:
  std::uint32_t Below(std::uint32_t limit) { return random_() % limit; }
  BSTR NewText();
  SAFEARRAY* NewArray(VARTYPE type);
  VARTYPE SomeType();
  VARIANT NewValue(VARTYPE type);
  VARIANT NewArgument();

  std::mt19937& random_;
  const std::vector<IDispatch*>& objects_;
  std::vector<VARIANT> arguments_;
  std::vector<DISPID> names_;
  std::deque<VARIANT> variables_;  // what the references lead to
  DISPPARAMS parameters_{};
};

}  // namespace nerio::testing
