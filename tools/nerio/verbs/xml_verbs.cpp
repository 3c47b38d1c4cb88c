#include <nlohmann/json.hpp>

#include "nerio/platform/xml_dom.h"
#include "nerio/support/xml.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/files.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/xml_bytes.h"
#include "tools/nerio/xml_edit.h"
#include "tools/nerio/xml_loading.h"

namespace nerio::tool {
namespace {

using platform::XmlDocument;
using platform::XmlLoadError;
using platform::XmlNode;

XmlDocument NewDocument() { return {ToolDom(), ToolDom().CreateDocument()}; }

Failure NotWellFormed(const std::string& where, const XmlLoadError& error) {
  std::string what = where;
  if (error.line > 0) what += ":" + std::to_string(error.line) + ":" + std::to_string(error.column);
  Failure failure(Exit::kBadInput, what + ": " + ToUtf8(error.reason));
  return error.line > 0 ? std::move(failure).AtLine(static_cast<std::size_t>(error.line)) : failure;
}

// A document takes about eight times as much memory as its file, with many small elements up to 25 times.
constexpr std::size_t kMostBytes = std::size_t{256} << 20;

struct LoadedFile {
  XmlDocument document;
  bool namesEncoding;  // its XML declaration does, which the DOM does not keep
};

LoadedFile Load(Session& session, const std::string& file, const std::string& bytes) {
  Text text;
  XmlLoadError error;
  if (!DecodeXmlBytes(bytes, text, error)) throw NotWellFormed(file, error);
  XmlDocument document = NewDocument();
  if (!LoadXmlText(session, document, text)) throw NotWellFormed(file, ToolDom().LoadError(document.get()));
  return {std::move(document), NamesEncoding(text)};
}

// Adds the encoding to the XML declaration that the text begins with, after the version, where it belongs.
void NameEncoding(Text& text) {
  const std::size_t open = text.find_first_of(u"\"'");
  text.insert(text.find(text[open], open + 1) + 1, u" encoding=\"UTF-8\"");
}

// The document as a file in UTF-8. What was built may still be no XML, a prefix that is declared nowhere for one.
std::string Written(Session& session, Text text, bool namesEncoding) {
  if (namesEncoding) NameEncoding(text);
  const XmlDocument again = NewDocument();
  if (!LoadXmlText(session, again, text)) {
    throw Failure(Exit::kBadInput, "this would not be XML: " + ToUtf8(ToolDom().LoadError(again.get()).reason),
                  "nothing was written");
  }
  return ToUtf8(text);
}

std::string Written(Session& session, const XmlDocument& document, bool namesEncoding) {
  return Written(session, ToolDom().GetXml(document.get()), namesEncoding);
}

// Writes a file anew; before that, what it was before into a new file, if the user asked for that.
void Replace(Session& session, const std::string& file, const std::string& before, const std::string& after,
             const std::optional<std::string>& backup) {
  if (backup) CreateOutput(session, *backup, before);
  WriteOutput(session, file, after);
}

// Reads an argument as what an XML document can hold.
Text ContentOf(const std::string& argument, const char* what) {
  Text text = TextOf(argument, what);
  for (const char16_t unit : text) {
    const bool control = unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r';
    if (control || unit >= 0xFFFE) {
      throw Failure(Exit::kBadInput, std::string(what) + " holds a character that XML does not have",
                    "nothing was written");
    }
  }
  return text;
}

// Runs what the DOM may refuse for its arguments' sake.
template <typename Build>
auto Building(Build build) {
  try {
    return build();
  } catch (const Error& error) {
    if (error.number() != platform::kErrDomFailure) throw;
    const Failure known = FailureOf(error);
    throw Failure(Exit::kBadInput, known.what(), "nothing was written").WithError(error);
  }
}

XmlNode Select(const XmlDocument& document, const std::string& path, const std::string& file) {
  const Text query = TextOf(path, "the path");
  try {
    XmlNode node(ToolDom(), ToolDom().SelectSingleNode(document.get(), query));
    if (!node) throw Failure(Exit::kNotFound, file + " has no element " + path);
    return node;
  } catch (const Error& error) {
    if (error.number() != platform::kErrDomFailure) throw;
    throw Failure(Exit::kBadInput, "\"" + path + "\" is not a path",
                  "a path is names of elements from the top, without prefixes, as in /impostazioni/voce; nothing was "
                  "written")
        .WithError(error);
  }
}

struct CheckOptions {
  std::vector<std::string> files;
};

Exit Check(Session& session, const CheckOptions& options) {
  Json files = Json::array();
  Exit exit = Exit::kDone;
  for (const std::string& file : options.files) {
    Json object{{"file", file}, {"wellFormed", true}};
    try {
      Load(session, file, ReadInput(session, file, kMostBytes));
      session.output.Line(file + ": well-formed");
    } catch (const Failure& failure) {
      exit = failure.exit();
      session.output.Say(failure.what());
      object["wellFormed"] = false;
      object["error"] = failure.ToJson();
    }
    files.push_back(std::move(object));
  }
  if (session.output.json()) session.output.Result({{"files", std::move(files)}}, {});
  return exit;
}

struct NewOptions {
  std::string file;
  std::string name;
  std::optional<std::string> text;
};

Exit New(Session& session, const NewOptions& options) {
  const Text name = TextOf(options.name, "the name");
  const Text text = ContentOf(options.text.value_or(""), "the text");
  const XmlDocument document = NewDocument();
  Building([&] { return AddXMLElement(document, document, name, text); });
  CreateOutput(session, options.file, Written(session, document, false));
  session.output.Result({{"file", options.file}, {"element", options.name}}, "created " + options.file);
  return Exit::kDone;
}

struct SetOptions {
  std::string file;
  std::string path;
  std::string name;
  std::string value;
  std::optional<std::string> backup;
};

Exit Set(Session& session, const SetOptions& options) {
  const Text name = TextOf(options.name, "the name");
  const Text value = ContentOf(options.value, "the value");
  const std::string bytes = ReadFile(session, options.file, kMostBytes);
  const LoadedFile loaded = Load(session, options.file, bytes);
  const XmlNode node = Select(loaded.document, options.path, options.file);
  Building([&] { SetXMLAttribute(loaded.document, node, name, value); });
  Replace(session, options.file, bytes, Written(session, loaded.document, loaded.namesEncoding), options.backup);
  Json object{{"file", options.file}, {"path", options.path}, {"attribute", options.name}, {"value", options.value}};
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(
      object, "set " + options.name + " of " + options.path + " in " + options.file + BackupNote(options.backup));
  return Exit::kDone;
}

struct AddOptions {
  std::string file;
  std::string path;
  std::string name;
  std::optional<std::string> text;
};

Exit Add(Session& session, const AddOptions& options) {
  const Text name = TextOf(options.name, "the name");
  const Text text = ContentOf(options.text.value_or(""), "the text");
  const LoadedFile loaded = Load(session, options.file, ReadFile(session, options.file, kMostBytes));
  const XmlNode parent = Select(loaded.document, options.path, options.file);
  Building([&] { return AddXMLElement(loaded.document, parent, name, text); });
  WriteOutput(session, options.file, Written(session, loaded.document, loaded.namesEncoding));
  session.output.Result({{"file", options.file}, {"path", options.path}, {"element", options.name}},
                        "added " + options.name + " to " + options.path + " in " + options.file);
  return Exit::kDone;
}

struct GetOptions {
  std::string file;
  std::string path;
  std::optional<std::string> name;
};

Exit Get(Session& session, const GetOptions& options) {
  const LoadedFile loaded = Load(session, options.file, ReadInput(session, options.file, kMostBytes));
  XmlNode node = Select(loaded.document, options.path, options.file);
  Json object{{"file", options.file}, {"path", options.path}};
  if (options.name) {
    const XmlNode attributes(ToolDom(), ToolDom().Attributes(node.get()));
    node = XmlNode(ToolDom(), ToolDom().GetNamedItem(attributes.get(), TextOf(*options.name, "the name")));
    if (!node)
      throw Failure(Exit::kNotFound, options.path + " in " + options.file + " has no attribute " + *options.name);
    object["attribute"] = *options.name;
  }
  const std::string text = ToUtf8(ToolDom().GetText(node.get()));
  object[options.name ? "value" : "text"] = text;
  session.output.Result(object, text);
  return Exit::kDone;
}

struct DeleteOptions {
  std::string file;
  std::string path;
  std::optional<std::string> name;
  std::optional<std::string> backup;
  bool yes = false;
};

void RequireDeletion(XmlDeletion deletion, const DeleteOptions& options) {
  switch (deletion) {
    case XmlDeletion::kDone:
      return;
    case XmlDeletion::kNoElement:
      throw Failure(Exit::kNotFound, options.file + " has no element " + options.path);
    case XmlDeletion::kNoAttribute:
      throw Failure(Exit::kNotFound, options.path + " in " + options.file + " has no attribute " + *options.name);
    case XmlDeletion::kDocumentElement:
      break;
  }
  throw Failure(Exit::kRefused, "the document element cannot be deleted", "a file without it is not XML");
}

Exit Delete(Session& session, const DeleteOptions& options) {
  const std::string bytes = ReadFile(session, options.file, kMostBytes);
  const LoadedFile loaded = Load(session, options.file, bytes);
  Select(loaded.document, options.path, options.file);  // refuses what is not a path
  std::optional<Text> name;
  if (options.name) name = TextOf(*options.name, "the name");
  Text text = ToolDom().GetXml(loaded.document.get());
  RequireDeletion(DeleteInXml(text, TextOf(options.path, "the path"), name), options);
  const std::string what = (options.name ? *options.name + " of " : "") + options.path + " in " + options.file;
  Confirm(session, options.yes, "delete " + what);
  Replace(session, options.file, bytes, Written(session, std::move(text), loaded.namesEncoding), options.backup);
  Json object{{"file", options.file}, {"path", options.path}};
  if (options.name) object["attribute"] = *options.name;
  object["deleted"] = true;
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(object, "deleted " + what + BackupNote(options.backup));
  return Exit::kDone;
}

struct FormatOptions {
  std::string file;
  std::optional<std::string> backup;
};

Exit Format(Session& session, const FormatOptions& options) {
  const std::string bytes = ReadFile(session, options.file, kMostBytes);
  const LoadedFile loaded = Load(session, options.file, bytes);
  Text text = ToolDom().GetXml(loaded.document.get());
  IndentXml(text);
  const std::string formatted = Written(session, std::move(text), loaded.namesEncoding);
  const bool changed = formatted != bytes;
  Json object{{"file", options.file}, {"changed", changed}};
  if (!changed) {
    session.output.Result(object, options.file + " is formatted already");
    return Exit::kDone;
  }
  Replace(session, options.file, bytes, formatted, options.backup);
  if (options.backup) object["backup"] = *options.backup;
  session.output.Result(object, "formatted " + options.file + BackupNote(options.backup));
  return Exit::kDone;
}

constexpr const char* kBackupHelp = "Write what the file was before to a new file TEXT first";
constexpr const char* kFileHelp = "File in UTF-8 or UTF-16; written in UTF-8, whole or not at all";
constexpr const char* kPathHelp =
    "Names of elements from the top, as in /impostazioni/voce; the first such element counts";

void AddReading(Verb xml) {
  const auto check = std::make_shared<CheckOptions>();
  Verb verb = xml.Leaf("check", "Tell whether files are well-formed XML; a document type declaration is refused",
                       "nerio xml check impostazioni.xml\n"
                       "nerio xml check *.xml",
                       check, Check);
  verb.Several("FILE", check->files, 1, "File in UTF-8 or UTF-16; - is standard input");

  const auto get = std::make_shared<GetOptions>();
  verb = xml.Leaf("get", "Print the text of an element, or the value of an attribute",
                  "nerio xml get impostazioni.xml /impostazioni/voce\n"
                  "nerio xml get impostazioni.xml /impostazioni/voce lingua",
                  get, Get);
  verb.Required("FILE", get->file, "File in UTF-8 or UTF-16; - is standard input");
  verb.Required("PATH", get->path, kPathHelp);
  verb.Optional("NAME", get->name, "Name of an attribute of the element");
}

void AddDestroying(Verb xml) {
  const auto set = std::make_shared<SetOptions>();
  Verb verb = xml.Leaf("set", "Set an attribute of an element",
                       "nerio xml set impostazioni.xml /impostazioni/voce lingua it\n"
                       "nerio xml set impostazioni.xml /impostazioni/voce lingua en --backup prima.xml",
                       set, Set);
  verb.Required("FILE", set->file, kFileHelp);
  verb.Required("PATH", set->path, kPathHelp);
  verb.Required("NAME", set->name, "Name of the attribute");
  verb.Required("VALUE", set->value, "Its value");
  verb.Optional("--backup", set->backup, kBackupHelp);

  const auto deleted = std::make_shared<DeleteOptions>();
  verb = xml.Leaf("delete", "Delete an element with all that is in it, or an attribute; asks first",
                  "nerio xml delete impostazioni.xml /impostazioni/voce\n"
                  "nerio xml delete impostazioni.xml /impostazioni/voce lingua --yes --backup prima.xml",
                  deleted, Delete);
  verb.Required("FILE", deleted->file, kFileHelp);
  verb.Required("PATH", deleted->path, kPathHelp);
  verb.Optional("NAME", deleted->name, "Name of an attribute; without it the element itself is deleted");
  verb.Optional("--backup", deleted->backup, kBackupHelp);
  verb.Switch("-y,--yes", deleted->yes, "Do not ask");

  const auto format = std::make_shared<FormatOptions>();
  verb = xml.Leaf("format", "Put each element on a line of its own, indented by two blanks for each level",
                  "nerio xml format impostazioni.xml\n"
                  "nerio xml format impostazioni.xml --backup prima.xml",
                  format, Format);
  verb.Required("FILE", format->file, kFileHelp);
  verb.Optional("--backup", format->backup, kBackupHelp);
}

void AddMaking(Verb xml) {
  const auto made = std::make_shared<NewOptions>();
  Verb verb =
      xml.Leaf("new", "Make a new file with one element", "nerio xml new impostazioni.xml impostazioni", made, New);
  verb.Required("FILE", made->file, "File to make; must not be there yet");
  verb.Required("NAME", made->name, "Name of the document element");
  verb.Optional("TEXT", made->text, "Its text");

  const auto add = std::make_shared<AddOptions>();
  verb = xml.Leaf("add", "Append an element to another",
                  "nerio xml add impostazioni.xml /impostazioni voce \"prima voce\"", add, Add);
  verb.Required("FILE", add->file, kFileHelp);
  verb.Required("PATH", add->path, kPathHelp);
  verb.Required("NAME", add->name, "Name of the new element");
  verb.Optional("TEXT", add->text, "Its text");
}

}  // namespace

void AddXmlVerbs(Verb program) {
  Verb xml = program.Group("xml", "Check, make, read and change XML files",
                           "nerio xml new impostazioni.xml impostazioni\n"
                           "nerio xml add impostazioni.xml /impostazioni voce \"perch\xC3\xA9 no\"\n"
                           "nerio xml set impostazioni.xml /impostazioni/voce lingua it\n"
                           "nerio xml get impostazioni.xml /impostazioni/voce\n"
                           "nerio xml check impostazioni.xml");
  AddReading(xml);
  AddMaking(xml);
  AddDestroying(xml);
}

}  // namespace nerio::tool
