#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "nerio/types/utf8.h"
#include "tools/nerio/file_rights.h"
#include "tools/nerio/files.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/trace_file.h"
#include "tools/nerio/whole_file.h"

namespace nerio::tool {
namespace {

using platform::SystemStatus;

constexpr std::chrono::milliseconds kPollInterval(200);

std::string Bytes(std::uint64_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

struct OnOptions {
  bool forAll = false;
};

std::string Writers(Session& session, const TraceFile& trace) {
  std::string names;
  const SystemStatus status = WhoMayWrite(trace.path, names);
  if (status != SystemStatus::kSuccess) throw FileFailure(session, status, "cannot read the rights of " + trace.shown);
  return names;
}

Exit On(Session& session, const OnOptions& options) {
  const TraceFile trace = FindTraceFile(session);
  if (!trace.present) {
    const SystemStatus status = CreateWholeFile(trace.path, {});
    if (status != SystemStatus::kSuccess) {
      const Failure failure = FileFailure(session, status, "cannot create " + trace.shown);
      throw Failure(
          failure.exit(), failure.what(),
          "tracing is switched on by a file beside the library, so you need the right to write to that folder");
    }
    if (!FindTraceFile(session).present) {
      throw Failure(Exit::kFailed, trace.shown + " was created, but is not an ordinary file");
    }
  }
  if (options.forAll) {
    const SystemStatus status = LetEverybodyWrite(trace.path);
    if (status != SystemStatus::kSuccess)
      throw FileFailure(session, status, "cannot let everybody write to " + trace.shown);
  }
  const std::string writers = Writers(session, trace);
  session.output.Line(trace.shown + (trace.present ? " was there already" : " created"));
  session.output.Line("who can write to it: " + writers);
  session.output.Result({{"tracing", true}, {"file", trace.shown}, {"created", !trace.present}, {"writers", writers}},
                        "on");
  return Exit::kDone;
}

struct OffOptions {
  bool yes = false;
};

Exit Off(Session& session, const OffOptions& options) {
  const TraceFile trace = FindTraceFile(session);
  if (trace.present) {
    if (trace.size > 0)
      Confirm(session, options.yes, "delete " + trace.shown + " and the " + Bytes(trace.size) + " in it");
    std::error_code failure;
    std::filesystem::remove(trace.path, failure);
    if (failure) throw FileFailure(session, SystemStatus{failure.value()}, "cannot delete " + trace.shown);
  }
  session.output.Line(trace.shown + (trace.present ? " deleted" : " was not there"));
  session.output.Result({{"tracing", false}, {"file", trace.shown}, {"deleted", trace.present}}, "off");
  return Exit::kDone;
}

Exit ShowStatus(Session& session) {
  const TraceFile trace = FindTraceFile(session);
  Json object{{"tracing", trace.present}, {"file", trace.shown}};
  Exit exit = Exit::kDone;
  if (trace.present) {
    object["bytes"] = trace.size;
    object["writers"] = Writers(session, trace);
    try {
      RequireAppending(session, trace);
      object["writable"] = true;
    } catch (const Failure& failure) {
      object["writable"] = false;
      session.output.Say(failure.what());
      exit = failure.exit();
    }
  }
  session.output.Line(trace.present ? trace.shown + ", " + Bytes(trace.size) : "no " + trace.shown);
  session.output.Result(object, trace.present ? "on" : "off");
  return exit;
}

struct TailOptions {
  std::uint32_t lines = 10;
  bool follow = false;
};

// Reads a log that others append to.
class Tail {
 public:
  Tail(Session& session, const TraceFile& trace) : session_(session), trace_(trace) {}

  // The last records, complete or not.
  std::vector<std::string> Last(std::size_t lines) {
    std::string block;
    std::uint64_t start = trace_.size;
    // One line end more than lines: the one that ends the record before.
    while (start > 0 && static_cast<std::size_t>(std::count(block.begin(), block.end(), '\n')) <= lines) {
      const std::uint64_t from = start > kBlock ? start - kBlock : 0;
      block.insert(0, Read(from, start - from));
      start = from;
    }
    position_ = trace_.size;
    std::vector<std::string> all = Split(block);
    if (all.size() > lines) all.erase(all.begin(), all.end() - static_cast<std::ptrdiff_t>(lines));
    return all;
  }

  // The complete records that came since; nothing when the file is gone.
  std::optional<std::vector<std::string>> Next() {
    const TraceFile now = FindTraceFile(session_);
    if (!now.present) return std::nullopt;
    if (now.size < position_) {
      session_.output.Say("the log starts over");
      position_ = 0;
      rest_.clear();
    }
    rest_ += Read(position_, now.size - position_);
    position_ = now.size;
    const std::size_t complete = rest_.rfind('\n') + 1;
    std::vector<std::string> lines = Split(rest_.substr(0, complete));
    rest_.erase(0, complete);
    return lines;
  }

 private:
  static constexpr std::uint64_t kBlock = 1 << 16;

  std::string Read(std::uint64_t from, std::uint64_t count) {
    std::ifstream file(trace_.path, std::ios::binary);
    if (!file) ReadFile(session_, trace_.shown);  // which says why not
    std::string bytes(static_cast<std::size_t>(count), '\0');
    file.seekg(static_cast<std::streamoff>(from));
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    if (bytes.size() < count) throw Failure(Exit::kFailed, "cannot read " + trace_.shown);
    return bytes;
  }

  std::vector<std::string> Split(const std::string& bytes) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < bytes.size();) {
      const std::size_t end = std::min(bytes.find('\n', start), bytes.size());
      const bool carriageReturn = end > start && bytes[end - 1] == '\r';
      const auto line = std::string_view(bytes).substr(start, end - start - (carriageReturn ? 1 : 0));
      lines.push_back(ToUtf8(session_.host.codePage.ToText(line)));
      start = end + 1;
    }
    return lines;
  }

  Session& session_;
  TraceFile trace_;
  std::uint64_t position_ = 0;
  std::string rest_;
};

Exit ShowTail(Session& session, const TailOptions& options) {
  const TraceFile trace = FindTraceFile(session);
  if (!trace.present) {
    throw Failure(Exit::kNotFound, "tracing is off: there is no " + trace.shown, "nerio trace on switches it on");
  }
  Tail tail(session, trace);
  const std::vector<std::string> last = tail.Last(options.lines);
  if (session.output.json() && !options.follow) {
    session.output.Result({{"file", trace.shown}, {"lines", last}}, {});
    return Exit::kDone;
  }
  for (const std::string& line : last) session.output.Result({{"line", line}}, line);
  while (options.follow && session.output.Flush()) {
    std::this_thread::sleep_for(kPollInterval);
    const std::optional<std::vector<std::string>> lines = tail.Next();
    if (!lines) {
      session.output.Say("tracing was switched off");
      break;
    }
    for (const std::string& line : *lines) session.output.Result({{"line", line}}, line);
  }
  return Exit::kDone;
}

}  // namespace

void AddTraceVerbs(Verb program) {
  Verb trace = program.Group("trace", "Switch the trace log on and off, and read it",
                             "nerio trace on\n"
                             "nerio trace tail -f\n"
                             "nerio trace off");
  const auto on = std::make_shared<OnOptions>();
  Verb verb = trace.Leaf("on", "Switch tracing on: create the trace file beside the library",
                         "nerio trace on\n"
                         "nerio trace on --for-all",
                         on, On);
  verb.Switch("--for-all", on->forAll, "Let everybody write to it, so that other users' programs are not denied");

  const auto off = std::make_shared<OffOptions>();
  verb = trace.Leaf("off", "Switch tracing off: delete the trace file; asks first when something is in it",
                    "nerio trace off\n"
                    "nerio trace off --yes",
                    off, Off);
  verb.Switch("-y,--yes", off->yes, "Do not ask");

  trace.Leaf("status", "Tell whether tracing is on, where the trace file is, and whether you can write to it",
             "nerio trace status", ShowStatus);

  const auto tail = std::make_shared<TailOptions>();
  verb = trace.Leaf("tail", "Show the last lines of the trace file",
                    "nerio trace tail\n"
                    "nerio trace tail -n 100\n"
                    "nerio trace tail -f",
                    tail, ShowTail);
  verb.Number("-n,--lines", tail->lines, 0, 1000000, "How many lines (10)");
  verb.Switch("-f,--follow", tail->follow, "Keep showing new lines until tracing is switched off");
}

}  // namespace nerio::tool
