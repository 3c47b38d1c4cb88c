#include "nerio/hosts/portable/xml/xml_tree.h"

#include <bit>
#include <limits>
#include <new>
#include <utility>

#include "nerio/hosts/portable/base64/base64_codec.h"

namespace nerio::platform::xml {
namespace {

// Up to here comparing each attribute is faster than a hash table.
constexpr std::uint32_t kMostWithoutIndex = 16;

bool HoldsText(const Node& node) {
  return node.kind == Kind::kText || node.kind == Kind::kBytesText || node.kind == Kind::kCData;
}

// The length of the text of a node that holds one.
std::size_t LengthOf(const Node& node) { return node.kind == Kind::kBytesText ? Base64Length(node.count) : node.count; }

void AppendText(const Node& node, Text& joined) {
  if (node.kind == Kind::kBytesText) {
    joined += Base64Of(static_cast<const BytesText&>(node).View());
  } else {
    joined += static_cast<const Value&>(node).View();
  }
}

// Returns the slot of the attribute of this name, or the free slot for it. There always is a free one.
NamedValue** SlotOf(const AttributeIndex& index, TextView name, std::uint32_t hash) noexcept {
  std::uint32_t slot = hash & index.mask;
  while (index.slots[slot] != nullptr && !index.slots[slot]->name->Is(name, hash)) slot = (slot + 1) & index.mask;
  return &index.slots[slot];
}

void Enter(const AttributeIndex& index, NamedValue& attribute) noexcept {
  *SlotOf(index, attribute.name->View(), attribute.name->hash) = &attribute;
}

}  // namespace

void NodeList::Remove(Node& node) noexcept {
  (node.previous != nullptr ? node.previous->next : first) = node.next;
  (node.next != nullptr ? node.next->previous : last) = node.previous;
  node.previous = nullptr;
  node.next = nullptr;
}

Node* Following(Node* node, const Node* top) noexcept {
  if (const Parent* const parent = AsParent(node)) {
    if (parent->children.first != nullptr) return parent->children.first;
  }
  while (node != top) {
    if (node->next != nullptr) return node->next;
    node = node->parent;
  }
  return nullptr;
}

BytesText* OnlyBytesText(const Element& element) noexcept {
  Node* const only = element.children.first;
  const bool found = only != nullptr && only->kind == Kind::kBytesText && only == element.children.last;
  return found ? static_cast<BytesText*>(only) : nullptr;
}

TextView TextOf(Node& node, Text& joined) {
  const Parent* const parent = AsParent(&node);
  if (parent == nullptr) return static_cast<Value&>(node).View();
  Node* const only = parent->children.first;
  if (only == nullptr) return {};
  if (only == parent->children.last && HoldsText(*only) && only->kind != Kind::kBytesText) {
    return static_cast<Value&>(*only).View();
  }

  std::size_t length = 0;
  for (Node* below = &node; below != nullptr; below = Following(below, &node)) {
    if (HoldsText(*below)) length += LengthOf(*below);
  }
  joined.clear();
  joined.reserve(length);
  for (Node* below = &node; below != nullptr; below = Following(below, &node)) {
    if (HoldsText(*below)) AppendText(*below, joined);
  }
  return joined;
}

Tree::Tree() noexcept { root_.tree = this; }

void Tree::End() noexcept {
  Tree* tree = &Leader();
  while (tree != nullptr) delete std::exchange(tree, tree->nextJoined_);
}

void Tree::Empty() noexcept {
  DetachChildren(root_);
  if (arena_.IsUnused()) return;
  if (Leader().handles_ > 1 || leader_ != this || nextJoined_ != nullptr) return;
  names_.Clear();
  arena_.Clear();
}

void Tree::Join(Tree& other) noexcept {
  Tree& leader = Leader();
  Tree& joined = other.Leader();
  if (&leader == &joined) return;
  joined.leader_ = &leader;
  leader.handles_ += joined.handles_;
  leader.lastJoined_->nextJoined_ = &joined;
  leader.lastJoined_ = joined.lastJoined_;
}

void Tree::SetValue(Value& value, TextView text) {
  if (text.size() > value.count) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max() / sizeof(char16_t)) throw std::bad_alloc();
    value.units = arena_.MakeUnits(text.size());
  }
  value.count = static_cast<std::uint32_t>(text.size());
  text.copy(value.units, text.size());
}

Value& Tree::MakeOnlyText(Element& element) {
  Node* const only = element.children.first;
  if (only != nullptr && only == element.children.last && only->kind == Kind::kText) return static_cast<Value&>(*only);
  Value* const text = MakeValue(Kind::kText);
  DetachChildren(element);
  Append(element, *text);
  return *text;
}

void Tree::MakeOnlyBytesText(Element& element, std::span<std::uint8_t> bytes) {
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
  auto* const text = MakeNode<BytesText>(Kind::kBytesText);
  text->bytes = bytes.data();
  text->count = static_cast<std::uint32_t>(bytes.size());
  DetachChildren(element);
  Append(element, *text);
}

NamedValue* Tree::FindInIndex(const Element& element, TextView name) noexcept {
  return *SlotOf(*element.index, name, NameTable::Hash(name));
}

void Tree::AddAttribute(Element& element, NamedValue& attribute) {
  if (NamedValue* const before = FindAttribute(element, attribute.name->View())) {
    element.attributes.Remove(*before);
    before->parent = nullptr;
    --element.count;
  } else if (element.count >= (element.index == nullptr ? kMostWithoutIndex : element.index->mask / 2)) {
    MakeIndex(element);
  }
  attribute.parent = &element;
  element.attributes.Append(attribute);
  ++element.count;
  if (element.index != nullptr) Enter(*element.index, attribute);
}

// A quarter of the slots is taken; when half of them are, it is time for the next index.
void Tree::MakeIndex(Element& element) {
  const std::uint32_t size = std::bit_ceil(4 * element.count);
  auto* const index = arena_.Make<AttributeIndex>(size - 1, arena_.MakeZeros<NamedValue*>(size));
  for (Node* node = element.attributes.first; node != nullptr; node = node->next) {
    Enter(*index, static_cast<NamedValue&>(*node));
  }
  element.index = index;
}

void Tree::Detach(Node& child) noexcept {
  if (child.parent == nullptr) return;
  static_cast<Parent*>(child.parent)->children.Remove(child);
  child.parent = nullptr;
}

void Tree::DetachChildren(Parent& parent) noexcept {
  for (Node* child = parent.children.first; child != nullptr;) {
    Node* const next = child->next;
    child->parent = child->previous = child->next = nullptr;
    child = next;
  }
  parent.children = {};
}

void Tree::Adopt(Node& top) noexcept {
  Join(*top.tree);
  for (Node* below = &top; below != nullptr; below = Following(below, &top)) {
    below->tree = this;
    if (const Element* const element = AsElement(below)) {
      for (Node* attribute = element->attributes.first; attribute != nullptr; attribute = attribute->next) {
        attribute->tree = this;
      }
    }
  }
}

}  // namespace nerio::platform::xml
