#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "nerio/platform/host.h"
#include "tools/nerio/output.h"

namespace CLI {
class App;
}

namespace nerio::tool {

/// What of the two streams that are written is a terminal.
struct Terminals {
  bool talk = false;     ///< standard error
  bool results = false;  ///< standard output
};

/// What a verb works with. Everything is borrowed.
struct Session {
  platform::Host host;
  std::istream& in;
  Output& output;
  bool interactive;            ///< somebody sits at a terminal and can be asked
  const std::string& version;  ///< the library's
  Terminals terminals;
};

/// One verb of the command line, or a group of verbs. A view: the command line owns what it stands for.
///
/// Values that a verb takes are handed on byte for byte, whatever they look like: `[a,b]`, `{}`, `++` or the name of
/// another verb. One that begins with "-" and is not a number goes after `--`.
class Verb {
 public:
  /// What a verb does, once everything is read.
  using Action = std::function<Exit(Session&)>;

  /// Adds a group of verbs.
  /// @param examples command lines that show its use, one per line.
  Verb Group(const char* name, const char* description, const char* examples);
  /// Adds a verb.
  Verb Leaf(const char* name, const char* description, const char* examples, Action action);

  /// Adds a verb whose arguments end up in `options`.
  template <typename Options>
  Verb Leaf(const char* name, const char* description, const char* examples, std::shared_ptr<Options> options,
            Exit (*run)(Session&, const Options&)) {
    return Leaf(name, description, examples, [options, run](Session& session) { return run(session, *options); });
  }

  /// Adds an argument that must be given.
  void Required(const char* name, std::string& value, const char* description);
  /// Adds an argument, or an option such as "--default", that may be left out.
  void Optional(const char* name, std::optional<std::string>& value, const char* description);
  /// Adds an argument that may be given any number of times, at least `least` of them.
  void Several(const char* name, std::vector<std::string>& values, std::size_t least, const char* description);
  /// Adds a switch.
  void Switch(const char* name, bool& value, const char* description);
  /// Adds an option with a whole number from `least` to `most`.
  void Number(const char* name, std::uint32_t& value, std::uint32_t least, std::uint32_t most, const char* description);

 private:
  friend class CommandLine;
  struct Shared;
  Verb(CLI::App& app, Shared& shared) : app_(&app), shared_(&shared) {}

  CLI::App* app_;
  Shared* shared_;
};

/// The whole command line of the tool.
class CommandLine {
 public:
  /// @param version what --version answers, such as "0.1.0".
  explicit CommandLine(const std::string& version);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /// Reads the arguments and runs the verb that they name.
  /// @param arguments in UTF-8, without the program's name.
  /// @param interactive somebody sits at a terminal and can be asked.
  /// @return the exit code.
  int Run(const std::vector<std::string>& arguments, const platform::Host& host, std::istream& in, std::ostream& out,
          std::ostream& err, bool interactive, const Terminals& terminals = {});

  /// One verb or group as the user sees it.
  struct Description {
    std::string name;  ///< with its groups, "reg get"; empty for the program itself
    bool group = false;
    std::vector<std::string> options;  ///< as they are typed: "--json", "-n"
    std::string help;
  };
  /// Lists every verb and group, for whatever documents or completes them.
  std::vector<Description> Describe() const;

 private:
  void AddHelp(Verb program);
  Exit ShowHelp(Session& session, const std::vector<std::string>& words) const;

  std::string version_;
  std::unique_ptr<CLI::App> app_;
  std::unique_ptr<Verb::Shared> shared_;
};

// The groups of verbs, each in a file of its own.
void AddRegistryVerbs(Verb program);
void AddTraceVerbs(Verb program);
void AddTextVerbs(Verb program);
void AddBase64Verbs(Verb program);
void AddXmlVerbs(Verb program);
void AddDoctor(Verb program);

}  // namespace nerio::tool
