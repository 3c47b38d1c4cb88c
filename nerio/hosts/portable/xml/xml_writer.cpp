#include "nerio/hosts/portable/xml/xml_writer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/hosts/portable/xml/xml_types.h"
#include "nerio/types/surrogates.h"

namespace nerio::platform::xml {
namespace {

// Counts what would be written.
class Counter {
 public:
  template <typename... Pieces>
  void Put(const Pieces&... pieces) {
    length_ += (TextView(pieces).size() + ...);
  }
  void PutBase64(std::span<const std::uint8_t> bytes) { length_ += Base64Length(bytes.size()); }
  std::size_t Length() const { return length_; }

 private:
  std::size_t length_ = 0;
};

// Writes to a text that has room for all.
class Output {
 public:
  explicit Output(Text& text) : text_(text) {}

  // Writes the pieces one after the other.
  template <typename... Pieces>
  void Put(const Pieces&... pieces) {
    (text_.append(TextView(pieces)), ...);
  }
  void PutBase64(std::span<const std::uint8_t> bytes) { text_ += Base64Of(bytes); }

 private:
  Text& text_;
};

enum class Place : std::uint8_t { kText, kAttribute, kVerbatim };

// The ASCII characters that are not written as they are.
using ChangeTable = std::array<std::array<bool, 0x80>, 3>;
constexpr ChangeTable MakeChanges() {
  ChangeTable changes{};
  for (auto& change : changes) {
    for (std::size_t unit = 0; unit < 0x20; ++unit) change[unit] = unit != '\t';
  }
  for (const char unit : {'&', '<', '>'}) {
    changes[static_cast<std::size_t>(Place::kText)][static_cast<std::size_t>(unit)] = true;
    changes[static_cast<std::size_t>(Place::kAttribute)][static_cast<std::size_t>(unit)] = true;
  }
  changes[static_cast<std::size_t>(Place::kAttribute)]['"'] = true;
  changes[static_cast<std::size_t>(Place::kAttribute)]['\t'] = true;
  return changes;
}
constexpr ChangeTable kChanges = MakeChanges();

bool Changes(char16_t unit, Place place) {
  return unit < 0x80 ? kChanges[static_cast<std::size_t>(place)][unit] : unit >= 0xD800 && !IsCharacterUnit(unit);
}

// What is written for a unit that is not written as it is.
TextView Replacement(char16_t unit, Place place) {
  switch (unit) {
    case u'&':
      return u"&amp;";
    case u'<':
      return u"&lt;";
    case u'>':
      return u"&gt;";
    case u'"':
      return u"&quot;";
    case u'\t':
      return u"&#9;";
    case u'\n':
      return place == Place::kAttribute ? TextView(u"&#10;") : TextView(u"\r\n");
    case u'\r':
      return u"&#13;";
    default:
      return unit < 0x20 ? TextView() : TextView(u"\uFFFD");
  }
}

template <typename Sink>
void PutEscaped(Sink& sink, const Value& value, Place place) {
  const TextView text = value.View();
  if (value.plain) {
    sink.Put(text);
    return;
  }
  std::size_t start = 0;  // of what is not written yet
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!Changes(text[i], place)) continue;
    if (IsPairAt(text, i)) {
      ++i;
      continue;
    }
    sink.Put(text.substr(start, i - start));
    sink.Put(Replacement(text[i], place));
    start = i + 1;
  }
  sink.Put(text.substr(start));
}

template <typename Sink>
class Writer {
 public:
  explicit Writer(Sink& sink) : sink_(sink) {}

  void WriteTree(Node& top) {
    Node* node = &top;
    for (;;) {
      Open(*node);
      const Parent* const parent = AsParent(node);
      if (parent != nullptr && parent->children.first != nullptr) {
        node = parent->children.first;
        continue;
      }
      // Up to the next node that has something after it.
      for (;; node = node->parent) {
        Close(*node);
        if (node == &top) return;
        if (node->parent->kind == Kind::kDocument) sink_.Put(u"\r\n");
        if (node->next != nullptr) break;
      }
      node = node->next;
    }
  }

 private:
  // The ">" of a start tag is written when something follows it.
  void EndStartTag() {
    if (inStartTag_) sink_.Put(u">");
    inStartTag_ = false;
  }

  void Open(Node& node) {
    switch (node.kind) {
      case Kind::kDocument:
        break;
      case Kind::kElement:
        EndStartTag();
        OpenElement(static_cast<Element&>(node));
        break;
      case Kind::kAttribute:
        PutAttribute(static_cast<NamedValue&>(node));
        break;
      case Kind::kText:
        OpenText(static_cast<Value&>(node));
        break;
      case Kind::kBytesText:
        EndStartTag();
        sink_.PutBase64(static_cast<BytesText&>(node).View());
        break;
      case Kind::kCData:
        Put(u"<![CDATA[", static_cast<Value&>(node), u"]]>");
        break;
      case Kind::kComment:
        Put(u"<!--", static_cast<Value&>(node), u"-->");
        break;
      case Kind::kDeclaration:
        Put(u"<?xml ", static_cast<Value&>(node), u"?>");
        break;
      case Kind::kInstruction:
        EndStartTag();
        sink_.Put(u"<?");
        sink_.Put(static_cast<NamedValue&>(node).name->View());
        if (node.count != 0) sink_.Put(u" ");
        Put({}, static_cast<Value&>(node), u"?>");
        break;
    }
  }

  void Close(Node& node) {
    const Element* const element = AsElement(&node);
    if (element == nullptr) return;
    if (inStartTag_) {
      sink_.Put(u"/>");
      inStartTag_ = false;
    } else {
      sink_.Put(u"</", element->name->View(), u">");
    }
  }

  void OpenElement(Element& element) {
    ShowDataType(element);
    sink_.Put(u"<", element.name->View());
    for (const Node* attribute = element.attributes.first; attribute != nullptr; attribute = attribute->next) {
      sink_.Put(u" ");
      PutAttribute(static_cast<const NamedValue&>(*attribute));
    }
    inStartTag_ = true;
  }

  void PutAttribute(const NamedValue& attribute) {
    if (attribute.plain) {
      sink_.Put(attribute.name->View(), u"=\"", attribute.View(), u"\"");
      return;
    }
    sink_.Put(attribute.name->View(), u"=\"");
    PutEscaped(sink_, attribute, Place::kAttribute);
    sink_.Put(u"\"");
  }

  void OpenText(const Value& text) {
    // A text of which nothing is written leaves its element empty.
    const TextView units = text.View();
    if (std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x20 && !IsBlank(unit); })) return;
    EndStartTag();
    PutEscaped(sink_, text, Place::kText);
  }

  void Put(TextView before, const Value& content, TextView after) {
    EndStartTag();
    sink_.Put(before);
    PutEscaped(sink_, content, Place::kVerbatim);
    sink_.Put(after);
  }

  Sink& sink_;
  bool inStartTag_ = false;
};

}  // namespace

Text Write(Node& node) {
  Counter counter;
  Writer<Counter>(counter).WriteTree(node);
  Text text;
  text.reserve(counter.Length());
  Output output(text);
  Writer<Output>(output).WriteTree(node);
  return text;
}

}  // namespace nerio::platform::xml
