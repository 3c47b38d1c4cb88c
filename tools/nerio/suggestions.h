#pragma once

#include <string>
#include <vector>

namespace nerio::tool {

/// Returns the name that a mistyped word comes nearest to: one that differs by a letter or two, or in upper and lower
/// case, or that begins with the word. Empty when none comes near.
std::string Nearest(const std::string& word, const std::vector<std::string>& names);

/// Returns the name of what other tools call by a word, such as `diff` for `compare`. Empty when there is none.
std::string SameMeaning(const std::string& word, const std::vector<std::string>& names);

/// Returns the command line of this tool for one that was written as the platform's own registry tool takes it, with
/// `query`, `add`, `compare` or options such as `/v`. Its arguments are quoted for a shell. Empty when it was not written so.
/// @param arguments as they were given, `reg` in front or not.
std::string InOurWords(const std::vector<std::string>& arguments);

}  // namespace nerio::tool
