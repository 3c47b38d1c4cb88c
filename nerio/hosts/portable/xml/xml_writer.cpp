#include "nerio/hosts/portable/xml/xml_writer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/hosts/portable/xml/xml_types.h"
#include "nerio/types/surrogates.h"

namespace nerio::platform::xml {
namespace {

enum class Place : std::uint8_t { kText, kAttribute, kVerbatim };

// Tells whether a unit may not be written as it is.
bool Changes(char16_t unit, Place place) {
  switch (unit) {
    case u'&':
    case u'<':
    case u'>':
      return place != Place::kVerbatim;
    case u'"':
    case u'\t':
      return place == Place::kAttribute;
    default:
      return unit < 0x20 || (unit >= 0xD800 && !IsCharacterUnit(unit));
  }
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

// Tells whether a unit of a text may have to be written in another way. Without a way out of the loop the compiler
// makes it work on many units at a time.
bool MayChange(TextView text) {
  std::uint16_t found = 0;
  for (const char16_t unit : text) {
    found |= static_cast<std::uint16_t>((unit < 0x20) | (unit == u'&') | (unit == u'<') | (unit == u'>') |
                                        (unit == u'"') | (unit >= 0xD800));
  }
  return found != 0;
}

void AppendEscaped(Text& xml, TextView text, Place place) {
  if (!MayChange(text)) {
    xml += text;
    return;
  }
  std::size_t start = 0;  // of what is not written yet
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!Changes(text[i], place)) continue;
    if (IsPairAt(text, i)) {
      ++i;
      continue;
    }
    xml.append(text, start, i - start).append(Replacement(text[i], place));
    start = i + 1;
  }
  xml.append(text, start);
}

class Writer {
 public:
  explicit Writer(Text& xml) : xml_(xml) {}

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
        if (node->parent->kind == Kind::kDocument) xml_ += u"\r\n";
        if (node->next != nullptr) break;
      }
      node = node->next;
    }
  }

 private:
  // The ">" of a start tag is written when something follows it.
  void EndStartTag() {
    if (inStartTag_) xml_ += u'>';
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
        AppendEscaped(xml_, static_cast<BytesText&>(node).Written(), Place::kText);
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
        xml_.append(u"<?").append(static_cast<NamedValue&>(node).name->View());
        if (node.count != 0) xml_ += u' ';
        Put({}, static_cast<Value&>(node), u"?>");
        break;
    }
  }

  void Close(Node& node) {
    const Element* const element = AsElement(&node);
    if (element == nullptr) return;
    if (inStartTag_) {
      xml_ += u"/>";
      inStartTag_ = false;
    } else {
      xml_.append(u"</").append(element->name->View()) += u'>';
    }
  }

  void OpenElement(Element& element) {
    ShowDataType(element);
    (xml_ += u'<').append(element.name->View());
    for (const Node* attribute = element.attributes.first; attribute != nullptr; attribute = attribute->next) {
      xml_ += u' ';
      PutAttribute(static_cast<const NamedValue&>(*attribute));
    }
    inStartTag_ = true;
  }

  void PutAttribute(const NamedValue& attribute) {
    xml_.append(attribute.name->View()).append(u"=\"");
    AppendEscaped(xml_, attribute.View(), Place::kAttribute);
    xml_ += u'"';
  }

  void OpenText(const Value& text) {
    // A text of which nothing is written leaves its element empty.
    const TextView units = text.View();
    if (std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x20 && !IsBlank(unit); })) return;
    EndStartTag();
    AppendEscaped(xml_, units, Place::kText);
  }

  void Put(TextView before, const Value& content, TextView after) {
    EndStartTag();
    xml_ += before;
    AppendEscaped(xml_, content.View(), Place::kVerbatim);
    xml_ += after;
  }

  Text& xml_;
  bool inStartTag_ = false;
};

// The length of what is written of a node and all below it, or somewhat more, as long as nothing is escaped. Growing on
// the way would take half as much memory again.
std::size_t RoomFor(Node& top) {
  constexpr std::size_t kMarkup = 12;  // that of a CDATA section; no other node has more
  std::size_t room = 0;
  for (Node* node = &top; node != nullptr; node = Following(node, &top)) {
    const Element* const element = AsElement(node);
    room += kMarkup + (node->kind == Kind::kBytesText ? static_cast<BytesText&>(*node).Length() : node->count);
    if (element == nullptr) continue;
    room += std::size_t{2} * element->name->length;
    for (const Node* each = element->attributes.first; each != nullptr; each = each->next) {
      room += kMarkup + static_cast<const NamedValue*>(each)->name->length + each->count;
    }
  }
  return room;
}

}  // namespace

Text Write(Node& node) {
  Text xml;
  xml.reserve(RoomFor(node));
  Writer(xml).WriteTree(node);
  return xml;
}

}  // namespace nerio::platform::xml
