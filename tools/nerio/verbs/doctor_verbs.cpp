#include <nlohmann/json.hpp>

#include "nerio/support/conversions.h"
#include "nerio/support/xml.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/progress.h"
#include "tools/nerio/region_system.h"
#include "tools/nerio/registry_system.h"
#include "tools/nerio/verbs/main_branch.h"
#include "tools/nerio/verbs/reg_verbs.h"
#include "tools/nerio/verbs/registry_output.h"
#include "tools/nerio/verbs/trace_file.h"

namespace nerio::tool {
namespace {

// A day and a time, and a number, whose texts show the conventions of the region: 31 December 1999, 17:04.
constexpr Date kSampleDate{36525.0 + (17 * 60 + 4) / 1440.0};
constexpr double kSampleNumber = 1234.5;

const char* KindName(RegistryFinding::Kind kind) {
  switch (kind) {
    case RegistryFinding::Kind::Damage:
      return "damage";
    case RegistryFinding::Kind::Refused:
      return "refused";
    case RegistryFinding::Kind::Leftover:
      return "leftover";
    case RegistryFinding::Kind::Exposed:
      break;
  }
  return "exposed";
}

// What the exit code says about the findings. With leftovers and exposed files every call works.
Exit ExitOf(const std::vector<RegistryFinding>& findings) {
  Exit exit = Exit::kDone;
  for (const RegistryFinding& finding : findings) {
    if (finding.kind == RegistryFinding::Kind::Damage) return Exit::kFailed;
    if (finding.kind == RegistryFinding::Kind::Refused) exit = Exit::kAccessDenied;
  }
  return exit;
}

std::string Verdict(const std::vector<RegistryFinding>& findings) {
  switch (ExitOf(findings)) {
    case Exit::kDone:
      return "no damage";
    case Exit::kAccessDenied:
      return "no damage found, but not everything may be read";
    default:
      return "damaged";
  }
}

struct RegistryReport {
  explicit RegistryReport(Session& session) : mainBranch(ExamineMainBranch(session)) {
    Progress progress(session, "checking");
    findings = CheckRegistry([&](double share) { progress.At(share); });
  }

  std::vector<RegistryPlace> places = RegistryPlaces();
  MachineRoots machineRoots = ChosenMachineRoots();
  MainBranch mainBranch;
  std::vector<RegistryFinding> findings;
};

// How --json names the place of the machine's roots, and how a sentence does.
struct PlaceName {
  const char* word;
  const char* sentence;
};

PlaceName NameOf(MachineRoots::Place place) {
  switch (place) {
    case MachineRoots::Place::System:
      return {"system", "the machine's roots are the system's"};
    case MachineRoots::Place::Named:
      return {"named", "all roots are in one folder"};
    case MachineRoots::Place::Machine:
      return {"machine", "the machine's roots are the machine's"};
    case MachineRoots::Place::User:
      return {"user", "the machine's roots are your own"};
    case MachineRoots::Place::None:
      break;
  }
  return {"none", "the machine's roots are nowhere"};
}

Json ToJson(Session& session, const RegistryPlace& place) {
  return {{"root", Shown(session, {place.root, {}})}, {"place", place.place}, {"present", place.present}};
}

Json ToJson(Session& session, const RegistryReport& report) {
  Json object{{"places", Json::array()},
              {"machineRoots", {{"place", NameOf(report.machineRoots.place).word}, {"why", report.machineRoots.why}}},
              {"unused", Json::array()},
              {"mainBranch",
               {{"present", report.mainBranch.present},
                {"canRead", report.mainBranch.canRead},
                {"canChange", report.mainBranch.canChange},
                {"status", NumberOf(report.mainBranch.status)},
                {"what", report.mainBranch.what}}},
              {"findings", Json::array()},
              {"verdict", Verdict(report.findings)}};
  for (const RegistryPlace& place : report.places) object["places"].push_back(ToJson(session, place));
  for (const RegistryPlace& place : report.machineRoots.unused) object["unused"].push_back(ToJson(session, place));
  for (const RegistryFinding& finding : report.findings) {
    object["findings"].push_back({{"kind", KindName(finding.kind)},
                                  {"place", finding.place},
                                  {"offset", finding.offset},
                                  {"what", finding.what}});
  }
  return object;
}

void Show(Session& session, const RegistryReport& report) {
  for (const RegistryPlace& place : report.places) {
    session.output.Line("registry: " + Shown(session, {place.root, {}}) + " in " + place.place +
                        (place.present ? "" : " (not there yet)"));
  }
  session.output.Line("registry: " + std::string(NameOf(report.machineRoots.place).sentence) + ", because " +
                      report.machineRoots.why);
  session.output.Line("registry: " + report.mainBranch.what);
  for (const RegistryPlace& place : report.machineRoots.unused) {
    session.output.Line("unused: " + place.place + ": no program of yours looks there");
  }
  for (const RegistryFinding& finding : report.findings) {
    std::string line = std::string(KindName(finding.kind)) + ": " + finding.place;
    if (finding.offset > 0) line += ", byte " + std::to_string(finding.offset);
    session.output.Line(line + ": " + finding.what);
  }
}

Exit CheckRegistryFiles(Session& session) {
  const RegistryReport report(session);
  Show(session, report);
  session.output.Result(ToJson(session, report), Verdict(report.findings));
  return ExitOf(report.findings);
}

// One line of the report about everything, and what it is as JSON.
class Report {
 public:
  explicit Report(Session& session) : session_(session) {}

  // Runs one part of the examination; a part that fails is reported as such and the others go on.
  template <typename Part>
  void Examine(const char* name, Part part) {
    try {
      auto [object, line] = part();
      session_.output.Line(std::string(name) + ": " + line);
      json_[name] = std::move(object);
    } catch (const Failure& failure) {
      Failed(name, failure);
    } catch (const Error& error) {
      Failed(name, FailureOf(error));
    }
  }

  // Says what is no failure and yet not as the user may think.
  void Warn(const std::string& what) {
    session_.output.Line("warning: " + what);
    json_["warnings"].push_back(what);
  }

  void Add(const char* name, Json object) { json_[name] = std::move(object); }
  void Worsen(Exit exit) {
    if (exit_ == Exit::kDone) exit_ = exit;
  }

  Exit Finish() {
    json_["exit"] = static_cast<int>(exit_);
    const char* const well = json_.contains("warnings") ? "all is well but for a warning" : "all is well";
    session_.output.Result(json_, exit_ == Exit::kDone ? well : "not all is well");
    return exit_;
  }

 private:
  void Failed(const char* name, const Failure& failure) {
    session_.output.Line(std::string(name) + ": " + failure.what());
    json_[name] = {{"error", failure.ToJson()}};
    Worsen(Exit::kFailed);
  }

  Session& session_;
  Json json_;
  Exit exit_ = Exit::kDone;
};

std::string Converted(platform::AutomationStatus status, const Text& text) {
  if (status != platform::AutomationStatus::kSuccess)
    throw Failure(Exit::kFailed, "the regional settings answer " + std::to_string(NumberOf(status)));
  return ToUtf8(text);
}

// Says what the environment names where that is not what is used.
void ExamineNamedRegions(Report& report, Session& session) {
  Json names = Json::array();
  for (const NamedRegion& named : NamedRegions()) {
    names.push_back({{"what", named.what}, {"locale", named.locale}, {"region", named.region}});
    const std::string missing = named.locale + " is named for " + named.what + " and is not installed";
    if (named.match == NamedRegion::Match::kStandIn) {
      session.output.Line("region: " + missing + "; " + named.region + " has the same customs and is used");
    } else if (named.match == NamedRegion::Match::kMissing) {
      report.Warn(missing + "; " + named.region + " is used");
    }
  }
  report.Add("named regions", std::move(names));
}

Exit ExamineAll(Session& session) {
  const platform::Host& host = session.host;
  Report report(session);
  report.Examine("version", [&] { return std::pair<Json, std::string>(session.version, session.version); });
  report.Examine("host", [&] { return std::pair<Json, std::string>(NERIO_HOST, NERIO_HOST); });

  const RegistryReport registry(session);
  Show(session, registry);
  report.Add("registry", ToJson(session, registry));
  report.Worsen(ExitOf(registry.findings));
  const MainBranch& branch = registry.mainBranch;
  if (!branch.canRead && !branch.canChange) report.Worsen(Exit::kAccessDenied);

  report.Examine("trace", [&] {
    const TraceFile trace = FindTraceFile(session);
    if (trace.present) RequireAppending(session, trace);
    return std::pair<Json, std::string>({{"file", trace.shown}, {"tracing", trace.present}, {"bytes", trace.size}},
                                        (trace.present ? "on, " : "off, ") + trace.shown);
  });
  report.Examine("code page", [&] {
    const std::uint32_t number = host.codePage.Identifier();
    return std::pair<Json, std::string>(number, std::to_string(number));
  });
  report.Examine("region", [&] {
    Text text;
    const std::string name = ToUtf8(host.regional.RegionName());
    const std::string date = Converted(host.regional.TextFromDate(kSampleDate, text), text);
    const std::string zero = Converted(host.regional.TextFromDate(Date{}, text), text);
    const std::string number = Converted(host.regional.TextFromDouble(kSampleNumber, text), text);
    return std::pair<Json, std::string>({{"name", name}, {"date", date}, {"zeroDate", zero}, {"number", number}},
                                        name + ", as in " + date + " and " + number + "; the zero date is " + zero);
  });
  ExamineNamedRegions(report, session);
  report.Examine("guid", [&] {
    const std::string guid = ToUtf8(GetGuid(host));
    if (guid.empty()) throw Failure(Exit::kFailed, "the system cannot make a GUID");
    return std::pair<Json, std::string>(true, "can be made");
  });
  report.Examine("dom", [&] {
    if (!CheckXMLParser(host)) throw Failure(Exit::kFailed, "the XML DOM, version 4.0, is not there");
    return std::pair<Json, std::string>(true, "the XML DOM is there");
  });
  return report.Finish();
}

}  // namespace

void AddRegistryDoctor(Verb reg) {
  reg.Leaf("doctor", "Check the registry's files and say what is damaged, where", "nerio reg doctor",
           CheckRegistryFiles);
}

void AddDoctor(Verb program) {
  program.Leaf("doctor", "Examine everything: registry, trace log, code page, region, GUIDs, XML DOM",
               "nerio doctor\n"
               "nerio doctor --json",
               ExamineAll);
}

}  // namespace nerio::tool
