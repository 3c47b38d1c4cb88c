#include "tests/hosts/linux/store/disk/killed_cases.h"

#include "tests/testing/ansi_literal.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

const AnsiText kA = "a"_ansi;
const AnsiText kAbc = "a\\b\\c"_ansi;

Status Nothing(const Calls& calls) { return calls.Create("other"_ansi); }

Work Creates(const AnsiText& path) {
  return [path](const Calls& calls) { return calls.Create(path); };
}

Work Sets(const AnsiText& path, const AnsiText& name, const std::string& data) {
  return [=](const Calls& calls) { return calls.Set(path, name, data); };
}

Work CreatesAndSets(const AnsiText& path) {
  return [path](const Calls& calls) {
    const Status status = calls.Create(path);
    return status == kSuccess ? calls.Set(path, "v"_ansi, "written") : status;
  };
}

// An open that says that the key is there, or else the creation that follows it, as `CreaRamo` does.
Work OpensOrCreates(const AnsiText& path) {
  return [path](const Calls& calls) {
    const Status status = calls.Open(path);
    return status == kSuccess ? status : calls.Create(path);
  };
}

std::function<std::string(const Calls&)> LacksKey(const AnsiText& path) {
  return [path](const Calls& calls) {
    const Status status = calls.Open(path);
    return status == kSuccess ? "" : path.bytes() + ": " + std::to_string(NumberOf(status));
  };
}

std::function<std::string(const Calls&)> LacksValue(const AnsiText& path, const AnsiText& name,
                                                    const std::string& expected) {
  return [=](const Calls& calls) {
    const std::string value = calls.Get(path, name);
    return value == expected ? "" : path.bytes() + ": " + value.substr(0, 20);
  };
}

}  // namespace

std::vector<KilledCase> KilledCases() {
  const AnsiText v = "v"_ansi;
  const Work replaced = Sets(kA, v, std::string(9000, 'r'));
  const Work replacedAgain = Sets(kA, v, std::string(9001, 's'));
  const Work overwritten = Sets(kA, v, "written");
  const Work first = Sets(kA, v, "first");
  const auto written = LacksValue(kA, v, "written");
  const auto withA = [first](const Calls& calls) {
    const Status status = calls.Create(kA);
    return status == kSuccess ? first(calls) : status;
  };
  const Work deletes = [](const Calls& calls) { return calls.Delete(kA); };
  return {
      {"the same key created", Nothing, {Creates(kA)}, Creates(kA), LacksKey(kA)},
      {"the same key found", Nothing, {Creates(kA)}, OpensOrCreates(kA), LacksKey(kA), true},
      {"the same key found after a kill at work on its first value",
       Nothing,
       {CreatesAndSets(kA)},
       OpensOrCreates(kA),
       LacksKey(kA)},
      {"value in it", Nothing, {Creates(kA)}, CreatesAndSets(kA), written},
      {"levels below it", Nothing, {Creates(kA)}, CreatesAndSets(kAbc), LacksValue(kAbc, v, "written")},
      {"three levels", Nothing, {Creates(kAbc)}, CreatesAndSets(kAbc), LacksValue(kAbc, v, "written"), true},
      {"three levels, two kills, found",
       Nothing,
       {Creates(kAbc), Creates(kAbc)},
       OpensOrCreates(kAbc),
       LacksKey(kAbc),
       true},
      {"two kills, a level further each",
       Nothing,
       {Creates(kA), Creates(kAbc)},
       CreatesAndSets(kAbc),
       LacksValue(kAbc, v, "written")},
      {"the roots", nullptr, {Creates(kA)}, CreatesAndSets(kA), written},
      {"the folders of the roots", nullptr, {Creates(kA)}, CreatesAndSets(kA), written, false, "x/y"},
      {"replaced file, value written", withA, {replaced}, overwritten, written, true},
      {"replaced file, two kills", withA, {replaced, replacedAgain}, overwritten, written, true},
      {"replaced file, value deleted",
       withA,
       {replaced},
       [v](const Calls& calls) { return calls.DeleteValue(kA, v); },
       LacksValue(kA, v, "[2]")},
      {"replaced file, subkey created", withA, {replaced}, Creates("a\\b"_ansi), LacksKey("a\\b"_ansi)},
      {"created, then its file replaced", Nothing, {Creates(kA), replaced}, CreatesAndSets(kA), written},
      {"deleted, then created", withA, {deletes}, CreatesAndSets(kA), written},
  };
}

Status Do(const Work& work, const std::filesystem::path& folder) {
  LinuxRegistry registry(folder);
  return work ? work(Calls(registry)) : kSuccess;
}

void KillMoments::Kill(const std::filesystem::path& folder) {
  wasKilled_.clear();
  for (std::size_t i = 0; i < killed_.size(); ++i) {
    DieAfter(moments_[i], counted_);
    Do(killed_[i], folder / place_);
    wasKilled_.push_back(EndFaults());
  }
}

void KillMoments::Next() {
  // The last one is killed a moment later each time; when it comes to its end, it begins anew and the one before it goes
  // a moment further.
  std::size_t next = moments_.size();
  while (next > 0 && !wasKilled_[next - 1]) moments_[--next] = 1;
  more_ = next > 0;
  if (more_) ++moments_[next - 1];
}

std::string KillMoments::Told() const {
  std::string told = "killed after events";
  for (const std::size_t moment : moments_) told += " " + std::to_string(moment);
  return told + ": ";
}

}  // namespace nerio::testing
