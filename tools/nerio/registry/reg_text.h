#pragma once

#include <cstddef>
#include <string_view>

#include "nerio/types/text.h"

namespace nerio::tool {

// What the reader and the writer of .reg files share.

inline constexpr TextView kRegHeader = u"Windows Registry Editor Version 5.00";
inline constexpr std::string_view kUtf16Mark = "\xFF\xFE";

/// Tells whether the name of a key holds what could as well be its end and a comment.
inline bool LooksCommented(TextView key) {
  for (std::size_t close = key.find(u']'); close != TextView::npos; close = key.find(u']', close + 1)) {
    const std::size_t next = key.find_first_not_of(u" \t", close + 1);
    if (next != TextView::npos && key[next] == u';') return true;
  }
  return false;
}

}  // namespace nerio::tool
