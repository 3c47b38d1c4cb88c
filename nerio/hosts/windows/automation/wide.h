#pragma once

#include <cstddef>

#include "nerio/types/text.h"

namespace nerio::platform {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "the system's texts are UTF-16 code units");

/// Lends a text's code units as the system's functions take them; they end with a NUL of their own.
inline const wchar_t* Wide(const Text& text) { return reinterpret_cast<const wchar_t*>(text.c_str()); }

/// Lends the code units of a view, which need not end with a NUL.
inline const wchar_t* Wide(TextView text) { return reinterpret_cast<const wchar_t*>(text.data()); }

/// Lends a text's own memory for the system to write to.
inline wchar_t* WritableWide(Text& text) { return reinterpret_cast<wchar_t*>(text.data()); }

/// Views `length` code units that the system owns; null is the empty text.
inline TextView ViewOf(const wchar_t* units, std::size_t length) {
  return units == nullptr ? TextView() : TextView(reinterpret_cast<const char16_t*>(units), length);
}

}  // namespace nerio::platform
