#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace nerio::equal_answers {

/// A kind of difference that is none of this project's: what stands in for the system under test is known to answer
/// otherwise than the system itself there.
struct Excuse {
  const char* reason;
  /// Returns the answer of an operation without what this kind of difference is about.
  std::string (*without)(const std::string& operation, const std::string& answer);
};

/// All of them.
extern const std::array<Excuse, 6> kExcuses;

/// How the answers of two hosts compare.
struct Comparison {
  std::size_t operations = 0;
  std::size_t succeeded = 0;
  std::size_t failed = 0;  ///< quietly
  std::size_t raised = 0;
  std::array<std::size_t, 6> excused{};  ///< answers that needed each excuse
  std::vector<std::string> differences;  ///< each one told in some lines
  std::vector<std::string> complaints;   ///< why the comparison is worth nothing, such as too few answers

  bool Equal() const { return differences.empty() && complaints.empty(); }
};

/// Writes the line of one operation and its answer.
std::string AnswerLine(const std::string& operation, const std::string& answer);

/// Compares the answers of two hosts to the same script, line by line. An excuse that is used for more than one
/// operation in fifty is a complaint, and so are answers of which hardly any is a success, a quiet failure or an error.
/// @param operations how many there must be.
Comparison Compare(const std::vector<std::string>& onLinux, const std::vector<std::string>& onWindows,
                   std::size_t operations);

}  // namespace nerio::equal_answers
