#pragma once

namespace nerio::platform {

/// Keeps the current thread inside a COM apartment as long as it lives; a thread that is in one already stays in that.
/// Documents of the XML DOM can be created in an apartment only. A component lives in its host's apartment and makes
/// none of its own: this is for programs.
class ComApartment {
 public:
  /// Raises nothing: where no apartment can be had, the calls that need one report it.
  ComApartment() noexcept;
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
  /// Must run on the thread that made the object.
  ~ComApartment();

 private:
  bool entered_;
};

}  // namespace nerio::platform
