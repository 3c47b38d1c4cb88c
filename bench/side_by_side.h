// What every benchmark program shares: contenders of one piece of work take turns in one run, so that a busy moment of
// the machine does not fall on one of them alone.

#ifndef NERIO_BENCH_SIDE_BY_SIDE_H
#define NERIO_BENCH_SIDE_BY_SIDE_H

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace nerio::bench {

/// Repetitions of each benchmark; the report takes their median.
constexpr int kRepetitions = 9;

/// Adds a benchmark called `item/contender` or `item/contender/size`; run with a state, it does the work once an
/// iteration and calls `state.SkipWithError` when an answer is wrong.
///
/// The product's own contender is called "nerio", what the machine itself can do "limit". For work that waits (a disk),
/// call `UseRealTime` on the result.
template <typename Work>
benchmark::internal::Benchmark* Contender(const std::string& name, Work work) {
  return benchmark::RegisterBenchmark(name.c_str(), std::move(work))->Repetitions(kRepetitions)->ReportAggregatesOnly();
}

/// Runs what was added, with Google Benchmark's own arguments. Returns the program's exit status: 1 when a contender
/// gave a wrong answer or nothing ran.
inline int RunSideBySide(int argc, char** argv) {
  class Reporter final : public benchmark::ConsoleReporter {
   public:
    void ReportRuns(const std::vector<Run>& runs) override {
      for (const Run& run : runs) failed_ = failed_ || run.error_occurred;
      ConsoleReporter::ReportRuns(runs);
    }
    bool HasFailed() const { return failed_; }

   private:
    bool failed_ = false;
  };

  // Many short turns each rather than few long ones; the caller's own arguments come behind and win.
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  std::string turn = "--benchmark_min_time=0.1";
  std::vector<char*> arguments(argv, argv + argc);
  arguments.insert(arguments.begin() + 1, {interleaving.data(), turn.data()});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  Reporter reporter;
  return benchmark::RunSpecifiedBenchmarks(&reporter) == 0 || reporter.HasFailed() ? 1 : 0;
}

}  // namespace nerio::bench

#endif  // NERIO_BENCH_SIDE_BY_SIDE_H
