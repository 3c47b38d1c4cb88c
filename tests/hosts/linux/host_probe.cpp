// A library of its own and, with NERIO_PROBE_PROGRAM, a program: each has the whole layer linked into it and uses the
// process's own host, as the layer's callers do.

#include <cstdio>
#include <string>

#include "nerio/platform/host.h"
#include "nerio/support/conversions.h"
#include "nerio/support/templates.h"
#include "nerio/support/trace_log.h"
#include "nerio/types/error.h"

#ifdef NERIO_PROBE_PROGRAM

namespace {

// Made before anything of the layer that waits for its first use, and so destroyed behind it.
struct LastLine {
  ~LastLine() { nerio::WriteLog(u"ending"); }
} lastLine;

// Makes a key below HKEY_CURRENT_USER.
nerio::platform::Status MakeKey() {
  nerio::platform::RegistryApi& registry = nerio::platform::ThisHost().registry;
  nerio::platform::KeyHandle key{};
  std::uint32_t disposition = 0;
  const nerio::platform::Status status = registry.CreateKey(
      nerio::platform::kHkeyCurrentUser, nerio::AnsiText("Software"), 0, {}, 0, 0x2003F, {}, key, disposition);
  return status == nerio::platform::kSuccess ? registry.CloseKey(key) : status;
}

}  // namespace

int main() try {
  nerio::WriteLog(u"program");
  const nerio::Text date = nerio::GetDate(u"31/12/1999");
  const nerio::Text text = nerio::FormatTemplate(u"{0} {1}", {{date, 1.5}, 0});
  if (nerio::GetGuid().size() != 36) return 2;
  const nerio::platform::Status status = MakeKey();
  std::string answer;
  for (const char16_t unit : text) answer += static_cast<char>(unit);
  std::printf("%s, key %d", answer.c_str(), nerio::platform::NumberOf(status));
  return 0;
} catch (const nerio::Error& error) {
  std::printf("error %d %s", static_cast<int>(error.number()), error.what());
  return 1;
}

#else

extern "C" void ProbeWriteLog(const char16_t* message) { nerio::WriteLog(message); }

extern "C" const void* ProbeThisHost() { return &nerio::platform::ThisHost(); }

#endif
