#include "nerio/hosts/portable/xml/xml_dom.h"

#include <cstddef>
#include <cstdint>
#include <utility>

#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/hosts/portable/xml/xml_parser.h"
#include "nerio/hosts/portable/xml/xml_query.h"
#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/hosts/portable/xml/xml_types.h"
#include "nerio/hosts/portable/xml/xml_writer.h"
#include "nerio/types/byte_view.h"
#include "nerio/types/error.h"

namespace nerio::platform {
namespace {

using xml::BytesText;
using xml::Element;
using xml::HeldNode;
using xml::Kind;
using xml::NamedValue;
using xml::Node;
using xml::Parent;
using xml::Tree;
using xml::TreeOf;
using xml::TypedAs;
using xml::TypeOf;
using xml::UpToNul;
using xml::Value;

// A handle is the address of the entry of a node that is held. The handle of an element's attribute map is the
// element's with this bit set, which no entry's address has.
constexpr std::ptrdiff_t kMapBit = 1;
static_assert(alignof(HeldNode) > kMapBit);

[[noreturn]] void Raise(std::int32_t number, TextView description) {
  throw Error(number, u"XmlDom", Text(description));
}

XmlObject* HandleOf(HeldNode* held, std::ptrdiff_t bit = 0) {
  return reinterpret_cast<XmlObject*>(reinterpret_cast<char*>(held) + bit);
}

// Counts a handle to a node that is given out; null stays null.
XmlObject* Give(Node* node, std::ptrdiff_t bit = 0) {
  return node != nullptr ? HandleOf(Tree::Hold(*node), bit) : nullptr;
}

bool IsMap(XmlObject* handle) { return reinterpret_cast<std::uintptr_t>(handle) % alignof(HeldNode) == kMapBit; }

HeldNode& HeldBehind(XmlObject* handle) {
  return *reinterpret_cast<HeldNode*>(reinterpret_cast<char*>(handle) - (IsMap(handle) ? kMapBit : 0));
}

Node& TakeNode(XmlObject* handle) {
  if (handle == nullptr) RaiseObjectNotSet();
  if (IsMap(handle)) Raise(kErrDomArgument, u"an attribute map is not a node");
  return *HeldBehind(handle).node;
}

Element& TakeMap(XmlObject* handle) {
  if (handle == nullptr) RaiseObjectNotSet();
  if (!IsMap(handle)) Raise(kErrDomArgument, u"a node is not an attribute map");
  auto& element = static_cast<Element&>(*HeldBehind(handle).node);
  xml::ShowDataType(element);
  return element;
}

Tree& TakeDocument(XmlObject* handle) {
  Node& node = TakeNode(handle);
  if (node.kind != Kind::kDocument) Raise(kErrDomArgument, u"the node is not a document");
  return TreeOf(node);
}

// Returns the text of an element that is kept as bytes, or null.
const BytesText* BytesTextOf(Node& node) {
  const Element* const element = xml::AsElement(&node);
  return element != nullptr ? xml::OnlyBytesText(*element) : nullptr;
}

// Returns the name of a new node, as the tree keeps it. A name that the tree has already was found right before.
xml::Name* TakeName(Tree& tree, TextView name) {
  xml::Name* taken = tree.Names().Intern(name, xml::IsName);
  // No name holds a NUL, so only one that was refused has to be looked through for where it ends.
  if (taken == nullptr) taken = tree.Names().Intern(UpToNul(name), xml::IsName);
  if (taken == nullptr) Raise(kErrDomFailure, u"the name is not one of XML 1.0");
  return taken;
}

TextView WithoutBlanksAtEnds(TextView text) {
  while (!text.empty() && xml::IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && xml::IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Tells whether `node` is `other` or stands above it.
bool Holds(const Node& node, const Node* other) {
  while (other != nullptr && other != &node) other = other->parent;
  return other == &node;
}

// Keeps a text that is plain Base64, in one line or in lines of one length, as the bytes that it stands for: less than
// half the memory, and the typed value is there already. Returns whether it is.
bool PutPlainBase64(Element& element, TextView text) {
  Tree& tree = TreeOf(element);
  const std::size_t most = text.size() / 4 * 3;
  std::uint8_t* const bytes = tree.Memory().MakeBytes(most);
  Base64Lines lines;
  std::uint8_t* end = ReadPlainBase64(text, bytes);
  if (end == nullptr) {
    lines = LinesOf(text);
    if (lines.columns != 0) end = ReadBase64Lines(text, lines, bytes);
  }
  const std::size_t count = end != nullptr ? static_cast<std::size_t>(end - bytes) : 0;
  tree.Memory().Shorten(bytes, most, count);
  if (end == nullptr) return false;
  tree.KeepOnlyBytes(element, {bytes, count}, lines);
  return true;
}

constexpr TextView kNoTypedValue = u"typed values of this data type are not supported";

}  // namespace

XmlObject* PortableXmlDom::CreateDocumentByName() { return CreateDocument(); }

XmlObject* PortableXmlDom::CreateDocument() {
  // The first entry lies in the tree itself, so no handle fails here; the last one ends the tree.
  return Give(&(new Tree)->Root());  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
}

XmlObject* PortableXmlDom::CreateElement(XmlObject* document, TextView name) {
  Tree& tree = TakeDocument(document);
  return HandleOf(tree.HoldLoose(*tree.MakeElement(TakeName(tree, name))));
}

XmlObject* PortableXmlDom::CreateAttribute(XmlObject* document, TextView name) {
  Tree& tree = TakeDocument(document);
  return HandleOf(tree.HoldLoose(*tree.MakeNamedValue(Kind::kAttribute, TakeName(tree, name))));
}

XmlObject* PortableXmlDom::Attributes(XmlObject* node) { return Give(xml::AsElement(&TakeNode(node)), kMapBit); }

XmlObject* PortableXmlDom::GetNamedItem(XmlObject* attributes, TextView name) {
  return Give(Tree::FindAttribute(TakeMap(attributes), UpToNul(name)));
}

XmlObject* PortableXmlDom::SetNamedItem(XmlObject* attributes, XmlObject* attribute) {
  Element& element = TakeMap(attributes);
  Node& item = TakeNode(attribute);
  if (item.kind != Kind::kAttribute) Raise(kErrDomFailure, u"the node is not an attribute");
  Tree& tree = TreeOf(element);
  if (&TreeOf(item) != &tree) Raise(kErrDomFailure, u"the attribute belongs to another document");
  if (item.parent != nullptr && item.parent != &element) {
    Raise(kErrDomFailure, u"the attribute belongs to another element");
  }
  tree.AddAttribute(element, static_cast<NamedValue&>(item));
  XmlObject* const given = Give(&item);
  tree.Tidy();
  return given;
}

XmlObject* PortableXmlDom::AppendChild(XmlObject* parent, XmlObject* child) {
  Node& owner = TakeNode(parent);
  Node& item = TakeNode(child);
  Parent* const list = xml::AsParent(&owner);
  if (list == nullptr) Raise(kErrDomFailure, u"the node can have no children");
  Element* element = xml::AsElement(&item);
  if (element == nullptr) Raise(kErrDomFailure, u"only an element can be appended");
  // An element without children is above nothing, so that the way up is walked only where it matters.
  if (element == &owner || (element->children.first != nullptr && Holds(*element, &owner))) {
    Raise(kErrDomFailure, u"an element cannot be appended below itself");
  }
  if (owner.kind == Kind::kDocument) {
    for (Node* other = list->children.first; other != nullptr; other = other->next) {
      if (other->kind == Kind::kElement && other != element) {
        Raise(kErrDomFailure, u"the document has a document element already");
      }
    }
  }
  Tree& tree = TreeOf(owner);
  if (&TreeOf(item) == &tree) {
    tree.TakeOut(*element);
  } else {
    element = &tree.Adopt(*element);
  }
  Tree::Append(*list, *element);
  return Give(element);
}

void PortableXmlDom::PutText(XmlObject* node, TextView text) {
  Node& target = TakeNode(node);
  if (target.kind == Kind::kDocument) Raise(kErrDomFailure, u"a document has no text of its own");
  Element* const element = xml::AsElement(&target);
  Tree& tree = TreeOf(target);
  if (element == nullptr) {
    tree.SetValue(static_cast<Value&>(target), UpToNul(text));
  } else if (text.empty() || TypeOf(target) != TypedAs::kBase64 || !PutPlainBase64(*element, text)) {
    text = UpToNul(text);
    if (text.empty()) {
      tree.DropChildren(*element);
    } else {
      tree.SetOnlyText(*element, text);
    }
  }
  tree.Tidy();
}

Text PortableXmlDom::GetText(XmlObject* node) {
  Node& target = TakeNode(node);
  if (const BytesText* const bytes = BytesTextOf(target)) {
    Base64Lines lines = bytes->lines;
    lines.ended = false;  // a blank at the end
    return Base64Of(bytes->View(), lines);
  }
  Text joined;
  const TextView text = xml::TextOf(target, joined);
  const TextView inner = WithoutBlanksAtEnds(text);
  return Text(target.kind == Kind::kAttribute && !inner.empty() ? text : inner);
}

void PortableXmlDom::PutDataType(XmlObject* node, TextView type) {
  Element* const element = xml::AsElement(&TakeNode(node));
  if (element == nullptr) Raise(kErrDomFailure, u"only an element has a data type");
  // No type's name holds a NUL.
  if (!xml::SetDataType(*element, type) && !xml::SetDataType(*element, UpToNul(type))) {
    Raise(kErrDomFailure, u"the data type is not known");
  }
  // Where there are attributes, a caller may hold their map already.
  if (element->count != 0) xml::ShowDataType(*element);
  TreeOf(*element).Tidy();
}

void PortableXmlDom::PutNodeTypedValue(XmlObject* node, std::span<const std::uint8_t> bytes) {
  Node& target = TakeNode(node);
  const TypedAs type = TypeOf(target);
  if (type == TypedAs::kOther) Raise(kErrDomNotImplemented, kNoTypedValue);
  if (type == TypedAs::kBase64 && !bytes.empty()) {
    Tree& tree = TreeOf(target);
    tree.SetOnlyBytes(static_cast<Element&>(target), bytes);
    tree.Tidy();
    return;
  }
  PutText(node, TextOfBytes({bytes.begin(), bytes.end()}));
}

Variant PortableXmlDom::GetNodeTypedValue(XmlObject* node) {
  Node& target = TakeNode(node);
  switch (TypeOf(target)) {
    case TypedAs::kBase64: {
      Bytes bytes;
      if (const BytesText* const kept = BytesTextOf(target)) {
        bytes.assign(kept->View().begin(), kept->View().end());
        return bytes;
      }
      Text joined;
      if (!ReadBase64(xml::TextOf(target, joined), bytes)) Raise(kErrDomFailure, u"the text is not Base64");
      return bytes;
    }
    case TypedAs::kText:
      return GetText(node);
    case TypedAs::kOther:
      break;
  }
  Raise(kErrDomNotImplemented, kNoTypedValue);
}

// Parses a text into the document's tree, which keeps what is wrong with it.
bool PortableXmlDom::Load(TextView text, Tree& tree) {
  tree.Empty();
  tree.loadError = {};
  if (reached_ == nullptr) return xml::Parse(text, tree, tree.loadError);
  return xml::Parse(text, tree, tree.loadError, [&](std::size_t done) { (*reached_)(done, text.size()); });
}

bool PortableXmlDom::LoadXml(XmlObject* document, TextView xml) {
  Tree& tree = TakeDocument(document);
  try {
    if (Load(xml, tree)) return true;
    // No document holds a NUL, so only one that was refused has to be looked through for where it ends.
    if (const TextView ended = UpToNul(xml); ended.size() < xml.size() && Load(ended, tree)) return true;
  } catch (...) {
    tree.Empty();
    throw;
  }
  tree.Empty();
  return false;
}

XmlLoadError PortableXmlDom::LoadError(XmlObject* document) { return TakeDocument(document).loadError; }

XmlObject* PortableXmlDom::SelectSingleNode(XmlObject* node, TextView query) {
  Node& start = TakeNode(node);
  // What is asked for most is the document element by its name; a name without prefix needs no reading as a path.
  Node* const child = xml::AsParent(&start) != nullptr ? static_cast<Parent&>(start).children.first : nullptr;
  if (Element* const first = child != nullptr ? xml::AsElement(child) : nullptr) {
    if (first->name->View() == query && query.find(u':') == TextView::npos) return Give(first);
  }
  query = UpToNul(query);
  if (!xml::IsPath(query)) Raise(kErrDomFailure, u"the query is not a path of names");
  return Give(xml::SelectPath(start, query));
}

Text PortableXmlDom::GetXml(XmlObject* node) { return xml::Write(TakeNode(node)); }

void PortableXmlDom::AddRef(XmlObject* object) noexcept { ++HeldBehind(object).handles; }

void PortableXmlDom::Release(XmlObject* object) noexcept { Tree::LetGo(HeldBehind(object)); }

XmlDom& OwnXmlDom() noexcept {
  static PortableXmlDom dom;
  return dom;
}

}  // namespace nerio::platform
