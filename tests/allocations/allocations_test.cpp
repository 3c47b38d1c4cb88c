// Every public routine, with each of its allocations refused in turn, alone or with all after it: it raises
// std::bad_alloc or answers what it states, takes nothing with it, and answers as ever when it is called again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <new>
#include <optional>
#include <regex>
#include <set>

#include "nerio/support/base64.h"
#include "nerio/types/utf8.h"
#include "tests/allocations/counted_memory.h"
#include "tests/allocations/open_handles.h"
#include "tests/allocations/routines.h"

namespace nerio::testing {
namespace {

// How a call ended.
struct Outcome {
  Answer answer;
  bool outOfMemory = false;           // std::bad_alloc was raised
  std::optional<std::int32_t> error;  // an Error was
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
  if (outcome.outOfMemory) {
    *out << "std::bad_alloc";
  } else if (outcome.error) {
    *out << "Error " << *outcome.error;
  } else {
    *out << outcome.answer.number << " [" << ToUtf8(outcome.answer.text) << ']';
  }
}

// Makes the call with the allocation of this number refused; 0 refuses none.
Outcome Call(const Routine& routine, World& world, std::size_t failing, bool lasting) {
  world.Reset();
  Outcome outcome;
  memory.allocations = 0;
  memory.failing = failing;
  memory.lasting = lasting;
  memory.counting = failing != 0;
  try {
    routine.call(world, outcome.answer);
    memory.counting = false;
  } catch (const std::bad_alloc&) {
    memory.counting = false;
    outcome.outOfMemory = true;
  } catch (const Error& error) {
    memory.counting = false;
    outcome.error = error.number();
  }
  world.registry().CloseCreated();
  return outcome;
}

// Only CRegistry both raises and answers: it makes texts before it comes to the registry.
bool MayRaise(const Routine& routine) {
  return routine.shortAnswers.empty() || routine.name.starts_with("nerio::CRegistry::");
}

bool IsStated(const Routine& routine, const Outcome& outcome, const Answer& right) {
  if (outcome.outOfMemory) return MayRaise(routine);
  // A service answers its lack of memory as a number of its own, which the routine above it raises.
  if (outcome.error) {
    constexpr std::int32_t kNumbers[] = {kErrOutOfMemory, NumberOf(platform::kOutOfMemory), 8, 12, 14};
    return MayRaise(routine) &&
           std::find(std::begin(kNumbers), std::end(kNumbers), *outcome.error) != std::end(kNumbers);
  }
  return outcome.answer == right || std::find(routine.shortAnswers.begin(), routine.shortAnswers.end(),
                                              outcome.answer) != routine.shortAnswers.end();
}

// Does the sweep over one routine. Returns how many allocations were refused, and what was not as it must be.
std::size_t Sweep(const Routine& routine, World& world, std::string& wrong) {
  const Answer right = Call(routine, world, 0, false).answer;
  // Until all that is kept to be used again is there.
  for (int i = 0; i < 5; ++i) Call(routine, world, 0, false);
  const std::size_t open = CountOpen();
  std::size_t refused = 0;
  std::ptrdiff_t kept = 0;
  for (const bool lasting : {false, true}) {
    for (std::size_t failing = 1; wrong.empty(); ++failing) {
      const std::size_t before = memory.bytes;
      bool met = false;
      {
        const Outcome outcome = Call(routine, world, failing, lasting);
        met = memory.allocations >= failing;
        if (!IsStated(routine, outcome, right)) {
          wrong = ::testing::PrintToString(outcome);
        } else if (!met && outcome.answer != right) {
          wrong = "another answer without any refusal: " + ::testing::PrintToString(outcome);
        }
        const Outcome again = Call(routine, world, 0, false);
        if (again.outOfMemory || again.error || again.answer != right) {
          wrong += " then: " + ::testing::PrintToString(again);
        }
      }
      kept += static_cast<std::ptrdiff_t>(memory.bytes - before);
      if (!wrong.empty()) {
        wrong = "allocation " + std::to_string(failing) + (lasting ? " and all after it: " : ": ") + wrong;
      }
      if (!met) break;
      ++refused;
    }
  }
  // The cache of the registry may hold one key more or less; what each refusal keeps adds up.
  constexpr std::ptrdiff_t kOneKey = 2000;
  if (kept > kOneKey) wrong += " " + std::to_string(kept) + " bytes kept";
  const std::size_t now = CountOpen();
  if (now != open) wrong += " " + std::to_string(now) + " open instead of " + std::to_string(open);
  return refused;
}

TEST(Allocations, EveryPublicRoutine_ShortOfMemory_AnswersAsStatedAndKeepsNothing) {
  World world;
  // What the system opens once for a process is open after this.
  std::string opened;
  Sweep(AllRoutines().front(), world, opened);
  std::size_t all = 0;
  std::size_t routines = 0;
  for (const Routine& routine : AllRoutines()) {
    std::string wrong;
    all += Sweep(routine, world, wrong);
    ++routines;
    EXPECT_EQ(wrong, "") << routine.name;
  }
  std::cout << all << " allocations refused in " << routines << " routines\n";
  EXPECT_GT(all, routines);
}

TEST(Allocations, RoutinesWithAFault_AreSeen) {
  World world;
  static std::vector<std::unique_ptr<Text>> kept;
  kept.reserve(100'000);
  const Text text(300, u'k');
  const Routine leaking = {"leaking",
                           [&](World&, Answer& answer) {
                             kept.push_back(std::make_unique<Text>(text));
                             answer.text = text;
                           },
                           {}};
  const Routine raising = {"raising", [&](World&, Answer& answer) { answer.text = text; }, {{}}};
  const Routine wrongly = {"answering wrongly",
                           [&](World&, Answer& answer) {
                             try {
                               answer.text = text;
                             } catch (const std::bad_alloc&) {
                               answer.number = 5;
                             }
                           },
                           {{}}};
  std::vector<std::FILE*> files;
  files.reserve(1000);
  const Routine opening = {"keeping open",
                           [&](World&, Answer&) {
                             // Closed only where there is memory.
                             files.push_back(std::fopen(NERIO_EXPORTED_SYMBOLS, "r"));
                             delete new int;
                             std::fclose(files.back());
                             files.pop_back();
                           },
                           {}};
  for (const Routine& routine : {leaking, raising, wrongly, opening}) {
    std::string wrong;
    Sweep(routine, world, wrong);
    EXPECT_NE(wrong, "") << routine.name;
    std::cout << "planted, a routine " << routine.name << ": " << wrong << '\n';
  }
  for (std::FILE* const file : files) std::fclose(file);
}

// The routines that the shared library shows, without their arguments.
std::set<std::string> ExportedNames() {
  std::ifstream file(NERIO_EXPORTED_SYMBOLS);
  std::set<std::string> names;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("typeinfo") || line.starts_with("vtable")) continue;
    const std::string name = std::regex_replace(line, std::regex("<abi:cxx11>"), "");
    names.insert(name.substr(0, name.find('(')));
  }
  return names;
}

// The methods of the interfaces, as the public headers declare them.
std::set<std::string> InterfaceNames() {
  std::set<std::string> names;
  for (const char* const header : {"code_page", "file_system", "guid_source", "host", "module_location", "record_set",
                                   "regional_settings", "registry_api", "xml_dom"}) {
    std::ifstream file(NERIO_PLATFORM_FOLDER + std::string("/") + header + ".h");
    std::string type;
    for (std::string line; std::getline(file, line);) {
      std::smatch found;
      if (std::regex_search(line, found, std::regex(R"(^class (?:NERIO_PUBLIC )?(\w+))"))) type = found[1];
      if (std::regex_search(line, found, std::regex(R"(^  virtual [^~]*?(\w+)\()")))
        names.insert(type + "::" + std::string(found[1]));
    }
  }
  return names;
}

TEST(Allocations, EveryPublicName_HasACallOrAReason) {
  std::set<std::string> known;
  for (const Routine& routine : AllRoutines()) known.insert(routine.name);
  for (const auto& [name, reason] : NamesWithoutCall()) known.insert(name);
  std::set<std::string> names = ExportedNames();
  EXPECT_GT(names.size(), 40u);
  const std::set<std::string> methods = InterfaceNames();
  EXPECT_GT(methods.size(), 40u);
  names.insert(methods.begin(), methods.end());
  for (const std::string& name : names) EXPECT_TRUE(known.contains(name)) << name << " has no sweep";
  for (const std::string& name : known) EXPECT_TRUE(names.contains(name)) << name << " is not a public routine";
}

}  // namespace
}  // namespace nerio::testing
