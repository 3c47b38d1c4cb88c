#include "tools/nerio/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <new>
#include <nlohmann/json.hpp>

#include "tools/nerio/registry_view.h"
#include "tools/nerio/suggestions.h"

namespace nerio::tool {
namespace {

// The parser splits an argument in square brackets at its commas, reads "++" as a word of its own, takes the next
// argument for the empty value of "--option=", and looks for options after "--" where a verb takes any number of
// arguments. What it would misread goes through it with this character before or after it, which no argument
// can hold.
constexpr char kShield = '\0';

// The arguments as the parser is to see them. After "--" each is shielded; the mark itself has then nothing left to
// say.
std::vector<std::string> Shielded(const std::vector<std::string>& arguments) {
  std::vector<std::string> shielded;
  bool options = true;
  for (const std::string& argument : arguments) {
    if (options && argument == "--") {
      options = false;
    } else if (!options || argument.starts_with('[') || argument == "++") {
      shielded.push_back(kShield + argument);
    } else if (argument.starts_with("--") && argument.ends_with('=')) {
      shielded.push_back(argument + kShield);
    } else {
      shielded.push_back(argument);
    }
  }
  return shielded;
}

std::string Unshielded(std::string result) {
  std::erase(result, kShield);
  return result;
}

std::string FullName(const CLI::App& app) {
  if (app.get_parent() == nullptr) return "";
  const std::string upper = FullName(*app.get_parent());
  return upper.empty() ? app.get_name() : upper + " " + app.get_name();
}

std::vector<const CLI::App*> Below(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

// What the parser says, with the arguments as they were given; of a misspelt verb it says only that one is missing.
// `app` is the verb or group that it had come to.
std::string WhatIsWrong(const CLI::ParseError& error, const CLI::App& program, const CLI::App& app) {
  const std::vector<std::string> extra = program.remaining(true);
  if (extra.empty()) return error.what();
  if (app.get_require_subcommand_min() > 0) return "there is no verb called \"" + Unshielded(extra.front()) + "\"";
  if (dynamic_cast<const CLI::ExtrasError*>(&error) == nullptr) return error.what();
  std::string text = extra.size() == 1 ? "this argument was not expected:" : "these arguments were not expected:";
  for (const std::string& argument : extra) text += ' ' + Unshielded(argument);
  return text;
}

std::vector<std::string> NamesBelow(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* verb : Below(app)) names.push_back(verb->get_name());
  return names;
}

// The verbs of the groups below, one of each at most, that `choose` names among those of a group; "" is none.
template <typename Choose>
std::string InGroups(const CLI::App& app, Choose choose) {
  std::string verbs;
  for (const CLI::App* group : Below(app)) {
    const std::string name = choose(NamesBelow(*group));
    if (!name.empty()) verbs += (verbs.empty() ? "nerio " : " or nerio ") + FullName(*group) + ' ' + name;
  }
  return verbs;
}

// The verb that a word which is none may stand for, as a question; empty when there is none like it. A verb of a group
// may have been asked for without the group.
std::string DidYouMean(const std::string& word, const CLI::App& app) {
  using Names = std::vector<std::string>;
  std::string elsewhere =
      InGroups(app, [&](const Names& names) { return std::count(names.begin(), names.end(), word) > 0 ? word : ""; });
  std::string nearest = elsewhere.empty() ? SameMeaning(word, NamesBelow(app)) : "";
  if (nearest.empty() && elsewhere.empty()) {
    elsewhere = InGroups(app, [&](const Names& names) { return SameMeaning(word, names); });
  }
  if (!elsewhere.empty()) return "did you mean " + elsewhere + "?";
  if (nearest.empty()) nearest = Nearest(word, NamesBelow(app));
  if (nearest.empty()) return "";
  const std::string group = FullName(app);
  return "did you mean nerio " + (group.empty() ? "" : group + " ") + nearest + "?";
}

// The failure of a command line that was not understood: what is wrong with it and what could have been meant.
Failure UsageFailure(const CLI::ParseError& error, const CLI::App& program, const std::vector<std::string>& arguments) {
  const CLI::App* app = &program;
  while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
  const std::vector<std::string> extra = program.remaining(true);
  const std::string name = FullName(*app);
  std::string advice = name.empty() || name.starts_with("reg") ? InOurWords(arguments) : "";
  if (!advice.empty()) {
    advice = "in this tool: " + advice;
  } else if (app->get_require_subcommand_min() > 0 && !extra.empty()) {
    advice = DidYouMean(Unshielded(extra.front()), *app);
  }
  if (advice.empty()) advice = "see nerio " + (name.empty() ? "" : name + " ") + "--help";
  return {Exit::kRefused, WhatIsWrong(error, program, *app), advice};
}

std::string Examples(const char* examples) {
  std::string text = "Examples:\n  ";
  for (const char* c = examples; *c != '\0'; ++c) {
    text += *c;
    if (*c == '\n') text += "  ";
  }
  return text;
}

constexpr const char* kProgramExamples =
    "nerio reg set \"HKLM\\Software\\Nerio\\App\" Nome \"prova\"\n"
    "nerio reg get \"HKLM\\Software\\Nerio\\App\" Nome\n"
    "nerio reg export \"HKLM\\Software\\Nerio\" -o nerio.reg\n"
    "nerio help reg get";

constexpr const char* kExitCodes =
    "\n\nExit codes: 0 done, 1 failed, 2 usage or refused, 3 not found, 4 access denied, 5 bad input.\n"
    "Results go to standard output, everything said about them to standard error. With --json the result is\n"
    "one JSON object on one line, {\"error\": ...} when the verb failed.";

}  // namespace

struct Verb::Shared {
  bool json = false;
  Action action;
};

namespace {

// Ends the reading of the command line, as the parser's own exceptions for --help and --version do.
struct CallForView {};

// What every level of the command line has.
void AddCommon(CLI::App& app, bool& json) {
  app.allow_windows_style_options(false);
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.add_flag("--json", json, "Give the result as one JSON object on one line");
  app.add_flag_callback(
      "--view", [] { throw CallForView(); }, "Tell which view of the registry is shown, and exit");
}

}  // namespace

Verb Verb::Group(const char* name, const char* description, const char* examples) {
  CLI::App& app = *app_->add_subcommand(name, description);
  AddCommon(app, shared_->json);
  app.require_subcommand(1);
  app.footer(Examples(examples));
  return {app, *shared_};
}

Verb Verb::Leaf(const char* name, const char* description, const char* examples, Action action) {
  CLI::App& app = *app_->add_subcommand(name, description);
  AddCommon(app, shared_->json);
  app.footer(Examples(examples));
  app.callback([shared = shared_, action = std::move(action)] { shared->action = action; });
  return {app, *shared_};
}

void Verb::Required(const char* name, std::string& value, const char* description) {
  app_->add_option(
          name,
          [&value](const CLI::results_t& results) {
            value = Unshielded(results.front());
            return true;
          },
          description)
      ->required()
      ->type_name(*name == '-' ? "TEXT" : "");
}

void Verb::Optional(const char* name, std::optional<std::string>& value, const char* description) {
  app_->add_option(
          name,
          [&value](const CLI::results_t& results) {
            value = Unshielded(results.front());
            return true;
          },
          description)
      ->type_name(*name == '-' ? "TEXT" : "");
}

void Verb::Several(const char* name, std::vector<std::string>& values, std::size_t least, const char* description) {
  CLI::Option* option = app_->add_option(
      name,
      [&values](const CLI::results_t& results) {
        for (const std::string& result : results) values.push_back(Unshielded(result));
        return true;
      },
      description);
  option->expected(static_cast<int>(least), CLI::detail::expected_max_vector_size)->allow_extra_args()->type_name("");
  if (least > 0) option->required();
}

void Verb::Switch(const char* name, bool& value, const char* description) { app_->add_flag(name, value, description); }

void Verb::Number(const char* name, std::uint32_t& value, std::uint32_t least, std::uint32_t most,
                  const char* description) {
  app_->add_option(name, value, description)->check(CLI::Range(least, most))->type_name("N");
}

CommandLine::CommandLine(const std::string& version)
    : version_(version),
      app_(std::make_unique<CLI::App>("Manages the settings, the trace log and the texts of Nerio.", "nerio")),
      shared_(std::make_unique<Verb::Shared>()) {
  AddCommon(*app_, shared_->json);
  app_->set_version_flag("-V,--version", "nerio " + version, "Print the version and exit");
  app_->require_subcommand(1);
  app_->footer(Examples(kProgramExamples) + kExitCodes);
  Verb program(*app_, *shared_);
  AddRegistryVerbs(program);
  AddTraceVerbs(program);
  AddTextVerbs(program);
  AddBase64Verbs(program);
  AddXmlVerbs(program);
  AddDoctor(program);
  AddHelp(program);
}

CommandLine::~CommandLine() = default;

void CommandLine::AddHelp(Verb program) {
  const auto words = std::make_shared<std::vector<std::string>>();
  Verb help = program.Leaf("help", "Print the help of a verb or a group, or of the whole tool",
                           "nerio help\n"
                           "nerio help reg\n"
                           "nerio help reg get",
                           [this, words](Session& session) { return ShowHelp(session, *words); });
  help.Several("VERB", *words, 0, "Name of the verb, its group before it");
}

Exit CommandLine::ShowHelp(Session& session, const std::vector<std::string>& words) const {
  const CLI::App* app = app_.get();
  for (const std::string& word : words) {
    const auto below = Below(*app);
    const auto found =
        std::find_if(below.begin(), below.end(), [&](const CLI::App* verb) { return verb->get_name() == word; });
    if (found == below.end()) {
      const std::string advice = DidYouMean(word, *app);
      throw Failure(Exit::kRefused, "there is no verb called \"" + word + "\"",
                    advice.empty() ? "see nerio --help" : advice);
    }
    app = *found;
  }
  const std::string name = FullName(*app);
  // The parser's own call would show the help of the verb that it has just read, which is this one.
  std::string text =
      app->get_formatter()->make_help(app, name.empty() ? "nerio" : "nerio " + name, CLI::AppFormatMode::Normal);
  if (session.output.json()) {
    session.output.Result({{"verb", name}, {"help", text}}, {});
  } else {
    session.output.Bytes(text);
  }
  return Exit::kDone;
}

int CommandLine::Run(const std::vector<std::string>& arguments, const platform::Host& host, std::istream& in,
                     std::ostream& out, std::ostream& err, bool interactive, const Terminals& terminals) {
  Output output(out, err);
  Exit exit = Exit::kDone;
  // Where the parser stops, it has not set the switch.
  const bool jsonNamed = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  try {
    std::vector<std::string> shielded = Shielded(arguments);
    std::reverse(shielded.begin(), shielded.end());  // as the parser wants them
    app_->parse(std::move(shielded));
    output.SetJson(shared_->json);
    Session session{host, in, output, interactive, version_, terminals};
    exit = shared_->action(session);
  } catch (const CLI::CallForHelp&) {
    out << app_->help();
  } catch (const CLI::CallForVersion& version) {
    out << version.what() << '\n';
  } catch (const CallForView&) {
    output.SetJson(jsonNamed);
    ShowView(output, ViewOfRegistry());
  } catch (const CLI::ParseError& error) {
    output.SetJson(jsonNamed);
    exit = Exit::kRefused;
    output.Fail(UsageFailure(error, *app_, arguments));
  } catch (const Failure& failure) {
    exit = failure.exit();
    output.Fail(failure);
  } catch (const Error& error) {
    exit = Exit::kFailed;
    output.Fail(FailureOf(error));
  } catch (const std::bad_alloc&) {
    exit = Exit::kFailed;
    output.Fail(Failure(exit, "there is not enough memory"));
  } catch (const std::exception& error) {
    exit = Exit::kFailed;
    output.Fail(Failure(exit, error.what()));
  }
  if (!output.Flush()) {
    output.Say("cannot write the result to standard output");
    exit = std::max(exit, Exit::kFailed);  // a verb that has failed keeps its own code
  }
  return static_cast<int>(exit);
}

std::vector<CommandLine::Description> CommandLine::Describe() const {
  std::vector<Description> all;
  std::vector<const CLI::App*> pending{app_.get()};
  while (!pending.empty()) {
    const CLI::App* app = pending.back();
    pending.pop_back();
    Description description;
    description.name = FullName(*app);
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) description.options.push_back("--" + name);
      for (const std::string& name : option->get_snames()) description.options.push_back("-" + name);
    }
    description.help = app->help();
    const auto below = Below(*app);
    description.group = !below.empty();
    pending.insert(pending.end(), below.rbegin(), below.rend());
    all.push_back(std::move(description));
  }
  return all;
}

}  // namespace nerio::tool
