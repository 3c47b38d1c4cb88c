#pragma once

#include <string>
#include <vector>

namespace nerio::tool {

/// Tells whether somebody can be asked a question: standard input and standard error are both a terminal.
bool IsSomebodyAtTerminal();

/// Tells whether standard output or standard error is a terminal.
bool IsOutputTerminal();
bool IsErrorTerminal();

/// Makes the standard streams carry bytes as they are, and a terminal show UTF-8 until the process ends. To be called
/// once, before their first use.
void PrepareStandardStreams();

/// Returns the arguments of the process in UTF-8, the program's own name left out.
/// @param argc, argv what `main` was given; the system's own bytes where it has no other form of them.
std::vector<std::string> Arguments(int argc, const char* const* argv);

/// Holds back, as long as it lives, what asks the process to end: Ctrl-C, a closed terminal or console, SIGTERM. What
/// the process ignored before, it goes on ignoring. There is one such object at a time.
class HeldInterrupts {
 public:
  HeldInterrupts();
  ~HeldInterrupts();
  HeldInterrupts(const HeldInterrupts&) = delete;
  HeldInterrupts& operator=(const HeldInterrupts&) = delete;

  /// Tells whether the process was asked to end since this was made.
  bool Requested() const;
};

}  // namespace nerio::tool
