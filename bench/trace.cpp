// One trace line, with the trace file there and without it.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/support/trace_log.h"
#include "nerio/types/utf8.h"

namespace {

namespace fs = std::filesystem;

constexpr char kMessage[] = "Operazione conclusa: 42 righe scritte nel ramo di lavoro";
constexpr char kLine[] = "Operazione conclusa: 42 righe scritte nel ramo di lavoro\r\n";
constexpr std::size_t kLineLength = sizeof kLine - 1;

// The trace file of this program, beside it.
const fs::path& TraceFile() {
  static const fs::path file = fs::read_symlink("/proc/self/exe").parent_path() / nerio::ToUtf8(nerio::kTraceFileName);
  return file;
}

// Makes the trace file, empty, and takes it away again.
class Tracing {
 public:
  Tracing() { std::ofstream(TraceFile(), std::ios::trunc); }
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;
  ~Tracing() { fs::remove(TraceFile()); }
};

// Runs the work and then checks that each iteration left one line.
template <typename Work>
void Lines(benchmark::State& state, Work work) {
  const Tracing tracing;
  for (auto _ : state) work();
  if (fs::file_size(TraceFile()) != static_cast<std::uintmax_t>(state.iterations()) * kLineLength) {
    state.SkipWithError("not one line for each call");
  }
}

void AppendRaw(const char* file) {
  struct stat entry {};
  if (::stat(file, &entry) != 0 || !S_ISREG(entry.st_mode)) return;
  const int descriptor = ::open(file, O_WRONLY | O_APPEND | O_CLOEXEC);
  benchmark::DoNotOptimize(::write(descriptor, kLine, kLineLength));
  ::close(descriptor);
}

void AppendStdio(const char* file) {
  std::FILE* const stream = std::fopen(file, "a");
  std::fwrite(kLine, 1, kLineLength, stream);
  std::fclose(stream);
}

}  // namespace

int main(int argc, char** argv) {
  using nerio::bench::Contender;
  const std::string file = TraceFile().string();
  const nerio::Text message = nerio::FromUtf8(kMessage);

  Contender("trace_on/nerio", [&](benchmark::State& state) { Lines(state, [&] { nerio::WriteLog(message); }); });
  Contender("trace_on/limit", [&](benchmark::State& state) { Lines(state, [&] { AppendRaw(file.c_str()); }); });
  Contender("trace_on/stdio", [&](benchmark::State& state) { Lines(state, [&] { AppendStdio(file.c_str()); }); });
  Contender("trace_on/ofstream", [&](benchmark::State& state) {
    Lines(state, [&] { std::ofstream(file, std::ios::app | std::ios::binary).write(kLine, kLineLength); });
  });
  Contender("trace_on/qfile", [&](benchmark::State& state) {
    Lines(state, [&] {
      QFile log(QString::fromStdString(file));
      log.open(QIODevice::Append);
      log.write(kLine, kLineLength);
    });
  });

  Contender("trace_off/nerio", [&](benchmark::State& state) {
    for (auto _ : state) nerio::WriteLog(message);
    if (fs::exists(TraceFile())) state.SkipWithError("made a trace file");
  });
  Contender("trace_off/limit", [&](benchmark::State& state) {
    for (auto _ : state) {
      struct stat entry {};
      if (::stat(file.c_str(), &entry) == 0) state.SkipWithError("there is a trace file");
    }
  });
  return nerio::bench::RunSideBySide(argc, argv);
}
