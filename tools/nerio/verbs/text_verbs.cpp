#include <charconv>
#include <nlohmann/json.hpp>

#include "nerio/support/conversions.h"
#include "nerio/support/messages.h"
#include "nerio/support/templates.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/verbs/arguments.h"

namespace nerio::tool {
namespace {

struct GuidOptions {
  std::uint32_t count = 1;
};

Exit Guid(Session& session, const GuidOptions& options) {
  Json guids = Json::array();
  for (std::uint32_t i = 0; i < options.count; ++i) {
    const std::string guid = ToUtf8(GetGuid(session.host));
    if (guid.empty()) throw Failure(Exit::kFailed, "the system cannot make a GUID");
    if (session.output.json()) guids.push_back(guid);
    session.output.Line(guid);
  }
  if (session.output.json()) session.output.Result({{"guids", std::move(guids)}}, {});
  return Exit::kDone;
}

struct DateOptions {
  std::vector<std::string> texts;
};

Exit Date(Session& session, const DateOptions& options) {
  Json dates = Json::array();
  for (const std::string& argument : options.texts) {
    const Text text = TextOf(argument, "the text");
    const Text result = GetDate(text, session.host);
    nerio::Date date;
    const bool isDate = session.host.regional.DateFromText(text, date) == platform::AutomationStatus::kSuccess;
    dates.push_back({{"text", argument}, {"result", ToUtf8(result)}, {"isDate", isDate}});
    session.output.Line(ToUtf8(result));
    if (isDate && result != text) {
      session.output.Say("\"" + argument +
                         "\" is a date; GetDate answered otherwise because it could not write to the trace log, see "
                         "nerio trace status");
    }
  }
  if (session.output.json()) session.output.Result({{"dates", std::move(dates)}}, {});
  return Exit::kDone;
}

struct NamedCode {
  const char* name;
  std::int32_t code;
};

constexpr NamedCode kCodes[] = {
    {"ErrNullOrEmptyParameter", ErrNullOrEmptyParameter},
    {"ErrUnsupportedInitMessageVersion", ErrUnsupportedInitMessageVersion},
    {"ErrFeatureNotAvailable", ErrFeatureNotAvailable},
    {"ObjectErrorBase", ObjectErrorBase},
};

std::int32_t CodeOf(const std::string& text) {
  for (const NamedCode& known : kCodes) {
    if (text == known.name) return known.code;
  }
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  const std::string digits = hex ? text.substr(2) : text;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, hex ? 16 : 10);
  const bool whole = error == std::errc() && end == digits.data() + digits.size() && !(hex && digits.starts_with('-'));
  // A code may be written signed or unsigned; both name the same 32 bits.
  if (!whole || number < INT32_MIN || number > UINT32_MAX) {
    throw Failure(Exit::kBadInput, "\"" + text + "\" is not an error code",
                  "a code is a number of 32 bits in decimal or 0x..., or a name: ErrNullOrEmptyParameter, "
                  "ErrUnsupportedInitMessageVersion, ErrFeatureNotAvailable");
  }
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

ArgumentList ListOf(const std::vector<std::string>& arguments) {
  ArgumentList list;
  for (const std::string& argument : arguments) list.values.emplace_back(TextOf(argument, "an argument"));
  return list;
}

struct MessageOptions {
  std::string code;
  std::vector<std::string> arguments;
};

Exit Message(Session& session, const MessageOptions& options) {
  const std::int32_t code = CodeOf(options.code);
  const Text message = GetErrorMessage(code);
  const std::string text = ToUtf8(FormatTemplate(message, ListOf(options.arguments), session.host));
  session.output.Result({{"code", code}, {"template", ToUtf8(message)}, {"text", text}}, text);
  return Exit::kDone;
}

struct TemplateOptions {
  std::string text;
  std::vector<std::string> arguments;
};

Exit Template(Session& session, const TemplateOptions& options) {
  const Text filled = FormatTemplate(TextOf(options.text, "the template"), ListOf(options.arguments), session.host);
  session.output.Result({{"text", ToUtf8(filled)}}, ToUtf8(filled));
  return Exit::kDone;
}

}  // namespace

void AddTextVerbs(Verb program) {
  const auto guid = std::make_shared<GuidOptions>();
  Verb verb = program.Leaf("guid", "Make new GUIDs",
                           "nerio guid\n"
                           "nerio guid -n 10",
                           guid, Guid);
  verb.Number("-n,--count", guid->count, 1, 1000000, "How many (1)");

  const auto date = std::make_shared<DateOptions>();
  verb = program.Leaf("date", "Check dates: each comes back as it is, or as the zero date's text when it is not a date",
                      "nerio date 31/12/1999\n"
                      "nerio date \"25 dicembre 1998\" 10:30 domani",
                      date, Date);
  verb.Several("TEXT", date->texts, 1, "Text to check, by the conventions of the region");

  const auto message = std::make_shared<MessageOptions>();
  verb = program.Leaf("msg", "Show the message of an error code, its placeholders filled",
                      "nerio msg -2147221503 sTesto\n"
                      "nerio msg 0x80040002 9\n"
                      "nerio msg ErrFeatureNotAvailable",
                      message, Message);
  verb.Required("CODE", message->code, "Number in decimal or 0x..., or name of the code");
  verb.Several("ARG", message->arguments, 0, "What replaces {0}, {1}, ...");

  const auto messageTemplate = std::make_shared<TemplateOptions>();
  verb = program.Leaf("template", "Fill the numbered placeholders of a template",
                      "nerio template \"{0} su {1}\" 3 10\n"
                      "nerio template \"{0}{1}\" \"{1}\" z       # gives zz: what a pass inserts, later passes search",
                      messageTemplate, Template);
  verb.Required("TEXT", messageTemplate->text, "Template with {0}, {1}, ...");
  verb.Several("ARG", messageTemplate->arguments, 0, "What replaces {0}, {1}, ...");
}

}  // namespace nerio::tool
