#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "nerio/types/text.h"

namespace nerio::tool {

// What those who read and write .reg and .ini files share.

inline constexpr TextView kRegHeader = u"Windows Registry Editor Version 5.00";
inline constexpr std::string_view kUtf16Mark = "\xFF\xFE";

/// Cuts the next line off the front of a text that is not empty. It ends with CR LF, LF or CR, which is cut off too.
template <typename Char>
std::basic_string_view<Char> CutLine(std::basic_string_view<Char>& rest) {
  std::size_t end = 0;
  while (end < rest.size() && rest[end] != Char{'\r'} && rest[end] != Char{'\n'}) ++end;
  const std::basic_string_view<Char> line = rest.substr(0, end);
  const bool both = end + 1 < rest.size() && rest[end] == Char{'\r'} && rest[end + 1] == Char{'\n'};
  rest.remove_prefix(std::min(rest.size(), end + (both ? 2 : 1)));
  return line;
}

/// Returns a line without the blanks and tabs at its ends.
TextView WithoutBlanks(TextView text);

/// Decodes UTF-16, low byte first. An odd byte at the end is left out.
Text DecodeUtf16(std::string_view bytes);

/// Decodes a file in UTF-16LE with byte-order mark, or in UTF-8 with or without one.
/// @param otherwise what to do about a file in neither.
/// @throws BadRegFile for anything else, with the first line that is not so.
Text DecodeFile(std::string_view bytes, const char* otherwise);

/// Tells whether the name of a key holds what could as well be its end and a comment.
inline bool LooksCommented(TextView key) {
  for (std::size_t close = key.find(u']'); close != TextView::npos; close = key.find(u']', close + 1)) {
    const std::size_t next = key.find_first_not_of(u" \t", close + 1);
    if (next != TextView::npos && key[next] == u';') return true;
  }
  return false;
}

}  // namespace nerio::tool
