#include "nerio/hosts/portable/xml/xml_parser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "nerio/hosts/portable/xml/xml_names.h"

namespace nerio::platform::xml {
namespace {

constexpr TextView kXmlNamespace = u"http://www.w3.org/XML/1998/namespace";
constexpr TextView kXmlnsNamespace = u"http://www.w3.org/2000/xmlns/";

// What is thrown where the text is not well-formed, and caught in Parse.
struct Failure {
  const char16_t* place;
  Text reason;
};

// How a piece of text becomes a value.
enum class Form : std::uint8_t {
  kText,       // references resolved, line ends become LF
  kAttribute,  // the same, and every blank becomes a space
  kVerbatim,   // line ends become LF
};

// The ASCII characters at which copying a piece of a form has to stop and look.
using StopTable = std::array<std::array<bool, 0x80>, 3>;
constexpr StopTable MakeStops() {
  StopTable stops{};
  for (auto& stop : stops) {
    for (std::size_t unit = 0; unit < stop.size(); ++unit) stop[unit] = !IsCharacterUnit(static_cast<char16_t>(unit));
    stop['\r'] = true;
  }
  for (const char unit : {'<', '&', ']'})
    stops[static_cast<std::size_t>(Form::kText)][static_cast<std::size_t>(unit)] = true;
  for (const char unit : {'<', '&', '\t', '\n'}) {
    stops[static_cast<std::size_t>(Form::kAttribute)][static_cast<std::size_t>(unit)] = true;
  }
  return stops;
}
constexpr StopTable kStops = MakeStops();

bool Stops(char16_t unit, Form form) {
  return unit < 0x80 ? kStops[static_cast<std::size_t>(form)][unit] : unit >= 0xD800 && !IsCharacterUnit(unit);
}

// A piece of the document as a reason quotes it.
Text Quoted(TextView piece) {
  constexpr std::size_t kMost = 80;
  Text quoted = u"\"";
  quoted += piece.substr(0, kMost);
  if (piece.size() > kMost) quoted += u"...";
  return quoted += u'"';
}

bool AllBlank(TextView text) { return std::all_of(text.begin(), text.end(), IsBlank); }

// Reads along a text. What fails is thrown as a Failure.
class Cursor {
 public:
  explicit Cursor(TextView text) : place_(text.data()), end_(text.data() + text.size()) {}

 protected:
  [[noreturn]] static void Fail(const char16_t* place, Text reason) { throw Failure{place, std::move(reason)}; }
  [[noreturn]] void FailHere(Text reason) const { Fail(place_, std::move(reason)); }

  bool AtEnd() const { return place_ == end_; }
  TextView Rest() const { return {place_, static_cast<std::size_t>(end_ - place_)}; }
  bool At(char16_t unit) const { return place_ != end_ && *place_ == unit; }

  // Passes over a text if it stands here.
  bool Take(TextView expected) {
    if (!Rest().starts_with(expected)) return false;
    place_ += expected.size();
    return true;
  }

  // Passes over a text that must stand here. `where` says where that is.
  void Require(TextView expected, TextView where) {
    if (Take(expected)) return;
    FailHere((AtEnd() ? u"the document ends where " : u"something else stands where ") + Quoted(expected) +
             u" is needed, " + Text(where));
  }

  bool SkipBlanks() {
    const char16_t* const start = place_;
    while (place_ != end_ && IsBlank(*place_)) ++place_;
    return place_ != start;
  }

  // Passes over a piece that goes up to a mark, and over the mark. Returns the piece.
  TextView TakeUpTo(TextView mark, TextView what) {
    const TextView rest = Rest();
    const std::size_t length = rest.find(mark);
    if (length == TextView::npos) {
      FailHere(Text(what) + u" has no end: " + Quoted(mark) + u" is missing");
    }
    place_ += length + mark.size();
    return rest.substr(0, length);
  }

  // Passes over a quoted piece and its quotes. Returns it without them.
  TextView TakeQuoted() {
    if (!At(u'"') && !At(u'\'')) FailHere(u"a quoted value is needed behind \"=\"");
    const TextView quote(place_++, 1);
    return TakeUpTo(quote, u"the quoted value");
  }

  void TakeEquals() {
    SkipBlanks();
    Require(u"=", u"behind a name");
    SkipBlanks();
  }

  const char16_t* place_;
  const char16_t* end_;
};

// Reads an XML declaration.
class DeclarationReader : public Cursor {
 public:
  using Cursor::Cursor;

  // Returns whether one stands here, and passes over it.
  bool Read() {
    constexpr TextView kStart = u"<?xml";
    if (!Rest().starts_with(kStart) || Rest().size() == kStart.size() || !IsBlank(Rest()[kStart.size()])) return false;
    place_ += kStart.size();
    SkipBlanks();
    if (!Take(u"version")) FailHere(u"the XML declaration has to begin with \"version\"");
    if (Value() != u"1.0") Fail(valueStart_, u"the version has to be \"1.0\"");
    bool blanks = SkipBlanks();
    if (blanks && Take(u"encoding")) {
      encoding_ = Value();
      if (!IsEncodingName(encoding_)) Fail(valueStart_, u"this cannot be the name of an encoding");
      blanks = SkipBlanks();
    }
    if (blanks && Take(u"standalone")) {
      standalone_ = Value();
      if (standalone_ != u"yes" && standalone_ != u"no")
        Fail(valueStart_, u"\"standalone\" has to be \"yes\" or \"no\"");
      SkipBlanks();
    }
    Require(u"?>", u"at the end of the XML declaration");
    return true;
  }

  TextView Encoding() const { return encoding_; }
  TextView Standalone() const { return standalone_; }
  const char16_t* Place() const { return place_; }

 private:
  TextView Value() {
    TakeEquals();
    valueStart_ = place_;
    return TakeQuoted();
  }

  static bool IsEncodingName(TextView name) {
    constexpr TextView kLetters = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return !name.empty() && kLetters.find(name[0]) != TextView::npos &&
           std::all_of(name.begin(), name.end(), [&](char16_t unit) {
             return kLetters.find(unit) != TextView::npos || TextView(u"0123456789._-").find(unit) != TextView::npos;
           });
  }

  const char16_t* valueStart_ = nullptr;
  TextView encoding_;
  TextView standalone_;
};

class Parser : public Cursor {
 public:
  Parser(TextView text, Tree& tree) : Cursor(text), tree_(tree), current_(&tree.Root()) {}

  void ParseDocument() {
    Take(u"\uFEFF");
    ParseDeclaration();
    while (!AtEnd()) {
      if (*place_ != u'<') {
        ParseText();
      } else if (Take(u"</")) {
        ParseEndTag();
      } else if (Take(u"<?")) {
        ParseInstruction();
      } else if (Take(u"<!--")) {
        ParseComment();
      } else if (Take(u"<![CDATA[")) {
        ParseCData();
      } else if (Rest().starts_with(u"<!DOCTYPE")) {
        FailHere(Text(kNoDoctype));
      } else {
        ParseStartTag();
      }
    }
    if (Element* const open = AsElement(current_)) {
      FailHere(u"the document ends within the element " + Quoted(open->name->View()));
    }
    if (documentElement_ == nullptr) FailHere(u"there is no document element");
  }

 private:
  // A prefix that an element declared, and what it meant before.
  struct Binding {
    const Element* element;
    const Name* prefix;
    const Name* before;
  };
  // An element that says how blanks below it are taken, and how they were before.
  struct Space {
    const Element* element;
    bool kept;
  };
  // A name as it is read, with the place of its colon: 0 where there is none.
  struct QualifiedName {
    TextView whole;
    std::size_t colon;
  };

  // What prefixes mean. Few documents have any.
  struct Namespaces {
    // As a constructor, since clang does not yet know initializers of members where the class around is still open.
    Namespaces() : spellings(memory) {}

    Arena memory;
    NameTable spellings;  // of prefixes and namespaces
    std::vector<Binding> bindings;
    std::unordered_map<const Name*, const Name*> bound;
  };

  bool InDocument() const { return current_ == &tree_.Root(); }

  void ParseDeclaration() {
    DeclarationReader reader(Rest());
    if (!reader.Read()) return;
    place_ = reader.Place();
    Text content = u"version=\"1.0\"";
    if (!reader.Standalone().empty()) content.append(u" standalone=\"").append(reader.Standalone()).append(u"\"");
    Value* const declaration = tree_.MakeValue(Kind::kDeclaration);
    tree_.SetValue(*declaration, content);
    Tree::Append(*current_, *declaration);
  }

  TextView ParseName() {
    const char16_t* const start = place_;
    if (AtEnd() || !IsNameStart(*place_)) FailHere(u"a name is needed here");
    do {
      ++place_;
    } while (!AtEnd() && IsNameUnit(*place_));
    return {start, static_cast<std::size_t>(place_ - start)};
  }

  QualifiedName ParseQualifiedName() {
    const char16_t* const start = place_;
    const TextView name = ParseName();
    const std::size_t colon = name.find(u':');
    if (colon == TextView::npos) return {name, 0};
    if (colon == 0 || colon + 1 == name.size() || !IsNameStart(name[colon + 1]) ||
        name.find(u':', colon + 1) != TextView::npos) {
      Fail(start, Quoted(name) + u" is no name with a prefix");
    }
    return {name, colon};
  }

  void ParseText() {
    const char16_t* const start = place_;
    if (InDocument()) {
      SkipBlanks();
      if (!AtEnd() && !At(u'<')) FailHere(u"text stands outside of the document element");
      return;
    }
    while (!AtEnd() && !Stops(*place_, Form::kText)) ++place_;
    if (!AtEnd() && *place_ != u'<') {
      const std::size_t length = Rest().find(u'<');
      place_ = length == TextView::npos ? end_ : place_ + length;
    }
    const TextView piece(start, static_cast<std::size_t>(place_ - start));
    if (!keepsBlanks_ && AllBlank(piece)) return;
    Value* const text = tree_.MakeValue(Kind::kText);
    Store(*text, piece, Form::kText);
    // References may have been to blanks.
    if (keepsBlanks_ || !AllBlank(text->View())) Tree::Append(*current_, *text);
  }

  void ParseEndTag() {
    Element* const element = AsElement(current_);
    if (element == nullptr) Fail(place_ - 2, u"an end tag stands where no element is open");
    const TextView name = element->name->View();
    if (!Take(name) || (!AtEnd() && IsNameUnit(*place_))) {
      FailHere(u"the end tag of " + Quoted(name) + u" is needed here");
    }
    SkipBlanks();
    Require(u">", u"at the end of an end tag");
    Close(*element);
    current_ = static_cast<Parent*>(element->parent);
  }

  void ParseInstruction() {
    const char16_t* const start = place_;
    const TextView target = ParseName();
    if (target.find(u':') != TextView::npos) Fail(start, u"the target of an instruction has no colon");
    if (target.size() == 3 && (target[0] | 0x20) == u'x' && (target[1] | 0x20) == u'm' && (target[2] | 0x20) == u'l') {
      Fail(start, u"an instruction cannot be called \"xml\", and an XML declaration stands only at the very beginning");
    }
    const bool blanks = SkipBlanks();
    const char16_t* const content = place_;
    const TextView rest = TakeUpTo(u"?>", u"the instruction");
    if (!blanks && !rest.empty()) Fail(content, u"a blank is needed behind the target of an instruction");
    NamedValue* const instruction = tree_.MakeNamedValue(Kind::kInstruction, tree_.Names().Intern(target));
    Store(*instruction, rest, Form::kVerbatim);
    Tree::Append(*current_, *instruction);
  }

  void ParseComment() {
    const TextView content = TakeUpTo(u"--", u"the comment");
    if (!Take(u">")) Fail(place_ - 2, u"\"--\" cannot stand within a comment");
    AppendValue(Kind::kComment, content);
  }

  void ParseCData() {
    if (InDocument()) FailHere(u"text stands outside of the document element");
    AppendValue(Kind::kCData, TakeUpTo(u"]]>", u"the CDATA section"));
  }

  void AppendValue(Kind kind, TextView content) {
    Value* const value = tree_.MakeValue(kind);
    Store(*value, content, Form::kVerbatim);
    Tree::Append(*current_, *value);
  }

  void ParseStartTag() {
    const char16_t* const start = place_++;
    const QualifiedName name = ParseQualifiedName();
    if (InDocument()) {
      if (documentElement_ != nullptr) Fail(start, u"a second document element");
    }
    Element* const element = tree_.MakeElement(tree_.Names().Intern(name.whole));
    if (InDocument()) documentElement_ = element;
    Tree::Append(*current_, *element);

    bool usesNamespaces = name.colon != 0;
    for (;;) {
      const bool blanks = SkipBlanks();
      if (At(u'>') || At(u'/')) break;
      if (!blanks) FailHere(u"a blank or the end of the tag is needed here");
      usesNamespaces |= ParseAttribute(*element);
    }
    if (usesNamespaces) ResolvePrefixes(*element, name, start);
    if (Take(u"/>")) {
      Close(*element);
    } else {
      Require(u">", u"at the end of a start tag");
      current_ = element;
    }
  }

  // Returns whether the attribute has to do with namespaces.
  bool ParseAttribute(Element& element) {
    const char16_t* const start = place_;
    const QualifiedName name = ParseQualifiedName();
    TakeEquals();
    const TextView content = TakeQuoted();
    NamedValue* const attribute = tree_.MakeNamedValue(Kind::kAttribute, tree_.Names().Intern(name.whole));
    Store(*attribute, content, Form::kAttribute);
    const std::uint32_t before = element.count;
    tree_.AddAttribute(element, *attribute);
    if (element.count == before) {
      Fail(start, u"a second attribute " + Quoted(name.whole));
    }
    if (name.whole == u"xml:space") {
      spaces_.push_back({&element, keepsBlanks_});
      keepsBlanks_ = attribute->View() == u"preserve";
    }
    return name.colon != 0 || name.whole == u"xmlns";
  }

  // Gives back what an element declared.
  void Close(const Element& element) {
    while (namespaces_ && !namespaces_->bindings.empty() && namespaces_->bindings.back().element == &element) {
      namespaces_->bound[namespaces_->bindings.back().prefix] = namespaces_->bindings.back().before;
      namespaces_->bindings.pop_back();
    }
    if (!spaces_.empty() && spaces_.back().element == &element) {
      keepsBlanks_ = spaces_.back().kept;
      spaces_.pop_back();
    }
  }

  void ResolvePrefixes(const Element& element, const QualifiedName& name, const char16_t* tag) {
    if (!namespaces_) namespaces_.emplace();
    for (const Node* node = element.attributes.first; node != nullptr; node = node->next) {
      const auto& attribute = static_cast<const NamedValue&>(*node);
      const TextView attributeName = attribute.name->View();
      if (attributeName == u"xmlns") {
        if (attribute.View() == kXmlNamespace || attribute.View() == kXmlnsNamespace) {
          Fail(tag, u"the default namespace cannot be that of \"xml\" or \"xmlns\"");
        }
      } else if (attributeName.starts_with(u"xmlns:")) {
        Bind(element, attributeName.substr(6), attribute.View(), tag);
      }
    }
    if (name.colon != 0) NamespaceOf(name.whole.substr(0, name.colon), tag);

    // Two attributes with prefixes may mean the same name.
    std::vector<std::pair<const Name*, TextView>> expanded;
    for (const Node* node = element.attributes.first; node != nullptr; node = node->next) {
      const TextView attributeName = static_cast<const NamedValue&>(*node).name->View();
      const std::size_t colon = attributeName.find(u':');
      if (colon == TextView::npos || attributeName.starts_with(u"xmlns:")) continue;
      expanded.emplace_back(NamespaceOf(attributeName.substr(0, colon), tag), attributeName.substr(colon + 1));
    }
    std::sort(expanded.begin(), expanded.end());
    const auto twin = std::adjacent_find(expanded.begin(), expanded.end());
    if (twin != expanded.end()) {
      Fail(tag, u"two attributes " + Quoted(twin->second) + u" of the same namespace");
    }
  }

  void Bind(const Element& element, TextView prefix, TextView uri, const char16_t* tag) {
    if (prefix == u"xmlns") Fail(tag, u"the prefix \"xmlns\" cannot be declared");
    if ((prefix == u"xml") != (uri == kXmlNamespace)) {
      Fail(tag, u"the prefix \"xml\" and its namespace belong together, and to nothing else");
    }
    if (uri == kXmlnsNamespace) Fail(tag, u"the namespace of \"xmlns\" cannot be declared");
    if (uri.empty()) {
      Fail(tag, u"the prefix " + Quoted(prefix) + u" is declared with an empty namespace");
    }
    const Name* const prefixName = namespaces_->spellings.Intern(prefix);
    const Name*& bound = namespaces_->bound[prefixName];
    namespaces_->bindings.push_back({&element, prefixName, bound});
    bound = namespaces_->spellings.Intern(uri);
  }

  const Name* NamespaceOf(TextView prefix, const char16_t* tag) {
    if (prefix == u"xml") return namespaces_->spellings.Intern(kXmlNamespace);
    const auto found = namespaces_->bound.find(namespaces_->spellings.Intern(prefix));
    if (found == namespaces_->bound.end() || found->second == nullptr) {
      Fail(tag, u"the prefix " + Quoted(prefix) + u" is not declared");
    }
    return found->second;
  }

  // Gives a value its text from a piece of the document.
  void Store(Value& value, TextView piece, Form form) {
    const char16_t* place = piece.data();
    const char16_t* const end = place + piece.size();
    while (place != end && !Stops(*place, form)) ++place;
    if (place == end) {
      tree_.SetValue(value, piece);
      return;
    }
    // No piece grows: the shortest reference to a pair of surrogates has eight units. What it becomes may be anything.
    tree_.SetValue(value, piece, false);
    char16_t* out = value.units + (place - piece.data());
    while (place != end) {
      const char16_t unit = *place;
      if (!Stops(unit, form)) {
        *out++ = unit;
        ++place;
      } else if (unit == u'\r') {
        place += place + 1 != end && place[1] == u'\n' ? 2 : 1;
        *out++ = form == Form::kAttribute ? u' ' : u'\n';
      } else if (unit == u'\t' || unit == u'\n') {
        *out++ = u' ';
        ++place;
      } else if (unit == u'&') {
        place = StoreReference(place, end, out);
      } else if (unit == u']') {
        if (TextView(place, static_cast<std::size_t>(end - place)).starts_with(u"]]>")) {
          Fail(place, u"\"]]>\" cannot stand in a text");
        }
        *out++ = unit;
        ++place;
      } else if (IsHighSurrogate(unit) && place + 1 != end && IsLowSurrogate(place[1])) {
        *out++ = unit;
        *out++ = place[1];
        place += 2;
      } else if (unit == u'<') {
        Fail(place, u"\"<\" cannot stand in the value of an attribute");
      } else {
        Fail(place, u"a character that XML does not have");
      }
    }
    value.count = static_cast<std::uint32_t>(out - value.units);
    tree_.Memory().ShortenTo(out);
  }

  // Writes what the reference at `place` stands for. Returns the place behind it.
  static const char16_t* StoreReference(const char16_t* place, const char16_t* end, char16_t*& out) {
    const TextView rest(place + 1, static_cast<std::size_t>(end - place - 1));
    const std::size_t length = rest.find(u';');
    if (length == TextView::npos) Fail(place, u"\"&\" begins a reference that has no end");
    const TextView name = rest.substr(0, length);
    constexpr std::pair<TextView, char16_t> kEntities[] = {
        {u"amp", u'&'}, {u"lt", u'<'}, {u"gt", u'>'}, {u"quot", u'"'}, {u"apos", u'\''}};
    if (name.starts_with(u'#')) {
      StoreCharacter(place, name.substr(1), out);
    } else {
      const auto* const entity = std::find_if(std::begin(kEntities), std::end(kEntities),
                                              [&](const auto& known) { return known.first == name; });
      if (entity == std::end(kEntities)) {
        if (!IsNameWithoutColon(name)) Fail(place, u"\"&\" begins something that is no reference");
        Fail(place, u"the entity " + Quoted(name) + u" is not declared");
      }
      *out++ = entity->second;
    }
    return place + length + 2;
  }

  static void StoreCharacter(const char16_t* place, TextView digits, char16_t*& out) {
    const std::uint32_t base = digits.starts_with(u'x') ? 16 : 10;
    if (base == 16) digits.remove_prefix(1);
    std::uint32_t point = digits.empty() ? 0x110000 : 0;
    for (const char16_t unit : digits) {
      const std::size_t digit = TextView(u"0123456789ABCDEF").find(unit >= u'a' && unit <= u'f' ? unit - 0x20 : unit);
      if (digit >= base) Fail(place, u"a reference to a character has digits between \"&#\" or \"&#x\" and \";\"");
      point = std::min(point * base + static_cast<std::uint32_t>(digit), std::uint32_t{0x110000});
    }
    if (point > 0x10FFFF || (point < 0x10000 && !IsCharacterUnit(static_cast<char16_t>(point)))) {
      Fail(place, u"a reference to a character that XML does not have");
    }
    if (point < 0x10000) {
      *out++ = static_cast<char16_t>(point);
    } else {
      *out++ = static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      *out++ = static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    }
  }

  Tree& tree_;
  Parent* current_;
  const Element* documentElement_ = nullptr;
  bool keepsBlanks_ = false;
  std::vector<Space> spaces_;
  std::optional<Namespaces> namespaces_;
};

// Reads a document that is one empty element, `<name></name>`, as most that are built begin: none of what a parser
// keeps is needed for it. Returns whether it is one.
bool ParseEmptyElement(TextView text, Tree& tree) {
  if (text.size() < 2 || text[0] != u'<' || !IsNameStart(text[1])) return false;
  std::size_t end = 1;
  while (end < text.size() && IsNameUnit(text[end]) && text[end] != u':') ++end;
  const TextView name = text.substr(1, end - 1);
  const TextView rest = text.substr(end);
  if (name.empty() || rest.size() != name.size() + 4 || !rest.starts_with(u"></") || !rest.ends_with(u'>'))
    return false;
  if (!SameUnits(rest.substr(3, name.size()), name)) return false;
  Tree::Append(tree.Root(), *tree.MakeElement(tree.Names().Intern(name)));
  return true;
}

}  // namespace

bool Parse(TextView text, Tree& tree, XmlLoadError& error) {
  if (ParseEmptyElement(text, tree)) return true;
  try {
    Parser(text, tree).ParseDocument();
    return true;
  } catch (const Failure& failure) {
    error = ErrorAt(text, static_cast<std::size_t>(failure.place - text.data()), failure.reason);
    return false;
  }
}

TextView DeclaredEncoding(TextView text) {
  DeclarationReader reader(text);
  try {
    return reader.Read() ? reader.Encoding() : TextView();
  } catch (const Failure&) {
    return {};
  }
}

XmlLoadError ErrorAt(TextView text, std::size_t offset, Text reason) {
  XmlLoadError error{std::move(reason), 1, 1};
  for (std::size_t i = 0; i < offset; ++i) {
    const bool lineEnd = text[i] == u'\n' || (text[i] == u'\r' && (i + 1 == text.size() || text[i + 1] != u'\n'));
    error.line += lineEnd ? 1 : 0;
    error.column = lineEnd ? 1 : error.column + 1;
  }
  return error;
}

}  // namespace nerio::platform::xml
