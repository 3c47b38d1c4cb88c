#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace nerio::testing {

/// A user without rights of his own, for a child that root starts.
constexpr uid_t kNobody = 65534;

/// Runs `body` in a forked child and returns the text that it answered there: a place of its own for what a process can
/// change only for itself as a whole (limits, user, current folder). Assertions belong in the parent. A body that
/// throws answers "threw: " and why; a child that ends in any other way adds "[exit N]" or "[signal N]".
std::string AnswerOfChild(const std::function<std::string()>& body);

/// Starts a program and returns what it wrote to its standard output, with "[exit N]" or "[signal N]" added unless it
/// exited with 0.
/// @param file the program's file, looked for in PATH when it has no "/".
/// @param arguments all of them, the one that names the program (usually `file`) included.
/// @param environment "NAME=value" entries that are added to the test's own.
std::string OutputOfProgram(const std::string& file, const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment = {});

}  // namespace nerio::testing
