#pragma once

#include <cstdint>
#include <exception>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "nerio/types/error.h"

namespace nerio::tool {

/// What --json shows: its members stay in the order in which they were put in.
using Json = nlohmann::ordered_json;

/// What the tool's exit code says.
enum class Exit : int {
  kDone = 0,
  kFailed = 1,
  kRefused = 2,  ///< the command line was not understood, or a question was not answered with yes
  kNotFound = 3,
  kAccessDenied = 4,
  kBadInput = 5,
};

/// Ends a verb: what went wrong and where, and what to do about it.
class Failure : public std::exception {
 public:
  /// @param what one or more sentences in UTF-8, without a full stop at the end.
  /// @param advice what to do about it; may be empty.
  Failure(Exit exit, std::string what, std::string advice = {});

  /// Gives it another exit code.
  Failure WithExit(Exit exit) &&;
  /// Adds the platform's number to the failure, for --json.
  Failure WithStatus(std::int64_t status) &&;
  /// Adds the line of the input where it stands, for --json.
  Failure AtLine(std::size_t line) &&;
  /// Adds an Error's number, source and description, for --json.
  Failure WithError(const Error& error) &&;

  Exit exit() const noexcept { return exit_; }
  const char* what() const noexcept override { return what_.c_str(); }
  const std::string& advice() const noexcept { return advice_; }
  /// Returns the failure as the object that --json shows under "error".
  Json ToJson() const;

 private:
  Exit exit_;
  std::string what_;
  std::string advice_;
  std::optional<std::int64_t> status_;
  std::optional<std::size_t> line_;
  std::optional<Error> error_;
};

/// Makes the failure that an Error of the library stands for: its number, source and description in full.
Failure FailureOf(const Error& error);

/// Writes results to one stream and everything said about them to another. With --json a result is one JSON object on
/// one line; without, it is text.
class Output {
 public:
  Output(std::ostream& data, std::ostream& talk) : data_(data), talk_(talk) {}

  void SetJson(bool json) { json_ = json; }
  bool json() const { return json_; }

  /// Writes a result: `object` with --json, else `text` and a line end.
  void Result(const Json& object, std::string_view text);
  /// Writes a line of text before the result; nothing with --json.
  void Line(std::string_view text);
  /// Writes bytes exactly as they are.
  void Bytes(std::string_view bytes);
  /// Says something to the user, apart from the result.
  void Say(std::string_view text);
  /// Writes a piece of a line that is said and written over later, as it is.
  void Status(std::string_view text);
  /// Puts a question to the user and leaves the line open for the answer.
  void Ask(std::string_view question);
  /// Says what failed, and with --json gives it as the result {"error": ...}.
  void Fail(const Failure& failure);
  /// Tells whether all results so far have left the program.
  bool Flush();

 private:
  std::ostream& data_;
  std::ostream& talk_;
  bool json_ = false;
};

}  // namespace nerio::tool
