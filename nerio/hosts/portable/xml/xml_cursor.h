#pragma once

#include <cstddef>
#include <utility>

#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// Is thrown where a text is not well-formed, and caught in `Parse`.
struct Failure {
  const char16_t* place;
  Text reason;
};

[[noreturn]] void Fail(const char16_t* place, Text reason);

/// Quotes a piece of the document for a reason; a long one is shortened.
Text Quoted(TextView piece);

/// Reads along a text. What fails is thrown as a `Failure`.
class Cursor {
 public:
  explicit Cursor(TextView text) : place_(text.data()), end_(text.data() + text.size()) {}

 protected:
  [[noreturn]] void FailHere(Text reason) const { Fail(place_, std::move(reason)); }

  bool AtEnd() const { return place_ == end_; }
  TextView Rest() const { return {place_, static_cast<std::size_t>(end_ - place_)}; }
  bool At(char16_t unit) const { return place_ != end_ && *place_ == unit; }

  // Passes over a text if it stands here.
  bool Take(TextView expected) {
    if (!Rest().starts_with(expected)) return false;
    place_ += expected.size();
    return true;
  }

  // Passes over a text that must stand here. `where` says where that is.
  void Require(TextView expected, TextView where);

  bool SkipBlanks() {
    const char16_t* const start = place_;
    while (place_ != end_ && IsBlank(*place_)) ++place_;
    return place_ != start;
  }

  // Passes over a piece that goes up to a mark, and over the mark. Returns the piece.
  TextView TakeUpTo(TextView mark, TextView what);

  // Passes over a quoted piece and its quotes. Returns it without them.
  TextView TakeQuoted();

  void TakeEquals();

  const char16_t* place_;
  const char16_t* end_;
};

/// Reads an XML declaration.
class DeclarationReader : public Cursor {
 public:
  using Cursor::Cursor;

  /// Returns whether one stands here, and passes over it.
  bool Read();

  TextView Encoding() const { return encoding_; }
  TextView Standalone() const { return standalone_; }
  const char16_t* Place() const { return place_; }

 private:
  TextView Value();

  const char16_t* valueStart_ = nullptr;
  TextView encoding_;
  TextView standalone_;
};

}  // namespace nerio::platform::xml
