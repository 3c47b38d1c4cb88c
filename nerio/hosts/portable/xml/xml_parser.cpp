#include "nerio/hosts/portable/xml/xml_parser.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "nerio/hosts/portable/xml/xml_content.h"
#include "nerio/hosts/portable/xml/xml_cursor.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/hosts/portable/xml/xml_namespaces.h"

namespace nerio::platform::xml {
namespace {

bool AllBlank(TextView text) { return std::all_of(text.begin(), text.end(), IsBlank); }

class Parser : public Cursor {
 public:
  Parser(TextView text, Tree& tree, const std::function<void(std::size_t)>& reached)
      : Cursor(text), tree_(tree), current_(&tree.Root()), reached_(reached), start_(place_), told_(place_) {}

  void ParseDocument() {
    Take(u"\uFEFF");
    ParseDeclaration();
    while (!AtEnd()) {
      if (place_ - told_ >= kStep) Tell();
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
  // How many code units are parsed in a hundredth of a second or less.
  static constexpr std::ptrdiff_t kStep = std::ptrdiff_t{1} << 18;

  void Tell() {
    told_ = place_;
    if (reached_) reached_(static_cast<std::size_t>(place_ - start_));
  }

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
      Fail(start, Quoted(name) + u" is not a name with a prefix");
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
    StoreContent(tree_, *text, piece, Form::kText);
    // References may have been to blanks.
    if (!keepsBlanks_ && AllBlank(text->View())) return tree_.Drop(*text);
    Tree::Append(*current_, *text);
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
    if (!blanks && !rest.empty()) Fail(content, u"a blank is needed after the target of an instruction");
    NamedValue* const instruction = tree_.MakeNamedValue(Kind::kInstruction, tree_.Names().Intern(target));
    StoreContent(tree_, *instruction, rest, Form::kVerbatim);
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
    StoreContent(tree_, *value, content, Form::kVerbatim);
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
    if (usesNamespaces) {
      if (!namespaces_) namespaces_.emplace();
      namespaces_->Open(*element, name.colon, start);
    }
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
    StoreContent(tree_, *attribute, content, Form::kAttribute);
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
    if (namespaces_) namespaces_->Close(element);
    if (!spaces_.empty() && spaces_.back().element == &element) {
      keepsBlanks_ = spaces_.back().kept;
      spaces_.pop_back();
    }
  }

  Tree& tree_;
  Parent* current_;
  const std::function<void(std::size_t)>& reached_;
  const char16_t* const start_;
  const char16_t* told_;  // up to where it was told
  const Element* documentElement_ = nullptr;
  bool keepsBlanks_ = false;
  std::vector<Space> spaces_;
  std::optional<Namespaces> namespaces_;  // few documents have any
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
  if (rest.substr(3, name.size()) != name) return false;
  Tree::Append(tree.Root(), *tree.MakeElement(tree.Names().Intern(name)));
  return true;
}

}  // namespace

bool Parse(TextView text, Tree& tree, XmlLoadError& error, const std::function<void(std::size_t)>& reached) {
  if (ParseEmptyElement(text, tree)) return true;
  try {
    Parser(text, tree, reached).ParseDocument();
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
