#pragma once

#include <compare>
#include <cstddef>
#include <string>
#include <utility>

namespace nerio {

/// Holds a text as bytes in the system's ANSI code page, NULs included. It is a type of its own, so that such bytes are
/// never taken for UTF-8, or UTF-8 for them: it is made of bytes, and gives them back, only where that is written out.
/// `platform::CodePage` converts between it and `Text`.
class AnsiText {
 public:
  AnsiText() noexcept = default;
  /// @param bytes in the ANSI code page; taken as they are.
  explicit AnsiText(std::string bytes) noexcept : bytes_(std::move(bytes)) {}

  /// Returns the bytes; there is no terminator among them.
  const std::string& bytes() const& noexcept { return bytes_; }
  /// Moves the bytes out of a text that nobody needs any more.
  std::string bytes() && noexcept { return std::move(bytes_); }

  /// Lends the bytes with a terminating NUL after them, as long as this object lives and is not changed.
  const char* c_str() const noexcept { return bytes_.c_str(); }
  /// Returns how many bytes there are; no terminator counts.
  std::size_t size() const noexcept { return bytes_.size(); }
  bool empty() const noexcept { return bytes_.empty(); }

  /// Appends bytes, as when a path is made of its levels.
  AnsiText& operator+=(const AnsiText& more) {
    bytes_ += more.bytes_;
    return *this;
  }
  friend AnsiText operator+(AnsiText left, const AnsiText& right) { return std::move(left += right); }

  /// Compares byte by byte: upper and lower case differ.
  friend bool operator==(const AnsiText&, const AnsiText&) = default;
  friend auto operator<=>(const AnsiText&, const AnsiText&) = default;

 private:
  std::string bytes_;
};

}  // namespace nerio
