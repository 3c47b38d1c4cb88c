#include <chrono>
#include <thread>

#include "tools/nerio/console.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/reg/watch.h"
#include "tools/nerio/verbs/reg_verbs.h"

namespace nerio::tool {
namespace {

// A change shows half of this later on average, and a branch of some thousand keys is read in a fraction of it.
constexpr std::chrono::milliseconds kInterval{250};
// How soon Ctrl-C is noticed.
constexpr std::chrono::milliseconds kStep{50};

struct WatchOptions {
  std::string key;
};

Exit WatchKey(Session& session, const WatchOptions& options) {
  const HeldInterrupts interrupts;
  Watch(session, KeyOf(session, options.key), [&] {
    for (auto waited = kStep; waited <= kInterval && !interrupts.Requested(); waited += kStep) {
      std::this_thread::sleep_for(kStep);
    }
    return !interrupts.Requested();
  });
  return Exit::kDone;
}

}  // namespace

void AddWatch(Verb reg) {
  const auto watch = std::make_shared<WatchOptions>();
  Verb verb =
      reg.Leaf("watch", "Show each value and key below a key that comes (+), goes (-) or changes (~), until Ctrl-C",
               "nerio reg watch \"HKLM\\Software\\Nerio\"\n"
               "nerio reg watch \"HKLM\\Software\\Nerio\" --json",
               watch, WatchKey);
  verb.Required("KEY", watch->key, kKeyHelp);
}

}  // namespace nerio::tool
