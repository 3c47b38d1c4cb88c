#include "tools/nerio/progress.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace nerio::tool {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kFirst(1000);
constexpr milliseconds kInterval(200);

std::string TimeLeft(seconds left) {
  const std::int64_t count = std::max<std::int64_t>(left.count(), 1);
  return count < 60 ? std::to_string(count) + " s left"
                    : std::to_string(count / 60) + " min " + std::to_string(count % 60) + " s left";
}

}  // namespace

Progress::Progress(Session& session, const char* doing, Results results, Clock clock)
    : session_(session),
      isShown_(session.terminals.talk && (results == Results::kLater || !session.terminals.results)),
      doing_(doing),
      clock_(std::move(clock)),
      begun_(clock_()),
      shown_(begun_) {}

Progress::~Progress() {
  if (width_ > 0) session_.output.Status("\r" + std::string(width_, ' ') + "\r");
}

bool Progress::IsDue() {
  if (!isShown_) return false;
  const auto now = clock_();
  if (now - begun_ < kFirst || (width_ > 0 && now - shown_ < kInterval)) return false;
  shown_ = now;
  return true;
}

void Progress::At(std::uint64_t done, std::uint64_t all) {
  if (done == 0 || done > all || !IsDue()) return;
  const std::uint64_t percent = done * 100 / all;
  // So little says nothing about the rest.
  if (percent == 0) return Show("0 %");
  const double share = static_cast<double>(done) / static_cast<double>(all);
  const auto elapsed = duration_cast<milliseconds>(shown_ - begun_);
  const seconds left(std::llround(static_cast<double>(elapsed.count()) * (1 - share) / share / 1000));
  Show(std::to_string(percent) + " %, " + TimeLeft(left));
}

void Progress::At(double share) {
  constexpr std::uint64_t kWhole = 1000;
  At(static_cast<std::uint64_t>(share * kWhole), kWhole);
}

void Progress::AtBytes(std::uint64_t done) {
  if (IsDue()) Show(std::to_string(done >> 20) + " MiB");
}

// What is longer than the line before hides it; what is shorter is filled up.
void Progress::Show(std::string line) {
  line = std::string("nerio: ") + doing_ + " " + line;
  const std::size_t width = line.size();
  if (width < width_) line.append(width_ - width, ' ');
  width_ = std::max(width, width_);
  session_.output.Status("\r" + line);
}

}  // namespace nerio::tool
