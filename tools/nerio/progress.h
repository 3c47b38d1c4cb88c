#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "tools/nerio/command_line.h"

namespace nerio::tool {

/// Shows on standard error how far something has come that takes over a second, where that is a terminal: the share
/// that is done and the time left, or the amount that is done where the whole is not known. The line is removed when this
/// ends.
class Progress {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  /// What is written to standard output meanwhile. Results that go to a terminal leave no line for anything else.
  enum class Results { kLater, kMeanwhile };

  /// @param doing what is done, as in "importing". @param clock the system's when it is left out.
  Progress(Session& session, const char* doing, Results results = Results::kLater,
           Clock clock = std::chrono::steady_clock::now);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Tells whether anybody would see it.
  bool IsShown() const { return isShown_; }
  /// Says that `done` of `all` is done.
  void At(std::uint64_t done, std::uint64_t all);
  /// Says which share is done, from 0 to 1.
  void At(double share);
  /// Says that so many bytes are done, of nobody knows how many.
  void AtBytes(std::uint64_t done);

 private:
  // Tells whether it is time to show something.
  bool IsDue();
  void Show(std::string line);

  Session& session_;
  bool isShown_;
  const char* doing_;
  Clock clock_;
  std::chrono::steady_clock::time_point begun_;
  std::chrono::steady_clock::time_point shown_;
  std::size_t width_ = 0;  // of the line that is shown
};

}  // namespace nerio::tool
