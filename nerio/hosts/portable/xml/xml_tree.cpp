#include "nerio/hosts/portable/xml/xml_tree.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <new>

#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/hosts/portable/xml/xml_copy.h"

namespace nerio::platform::xml {
namespace {

bool HoldsText(const Node& node) {
  return node.kind == Kind::kText || node.kind == Kind::kBytesText || node.kind == Kind::kCData;
}

// The length of the text of a node that holds one.
std::size_t LengthOf(const Node& node) {
  return node.kind == Kind::kBytesText ? static_cast<const BytesText&>(node).Length() : node.count;
}

void AppendText(const Node& node, Text& joined) {
  if (node.kind == Kind::kBytesText) {
    joined += static_cast<const BytesText&>(node).Written();
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

std::size_t SizeOf(const AttributeIndex& index) {
  // The slots hold pointers. NOLINTNEXTLINE(bugprone-sizeof-expression)
  return sizeof index + (std::size_t{index.mask} + 1) * sizeof(NamedValue*);
}

// Returns the node after `node` and all below it.
Node* FollowingBeside(Node* node, const Node* top) noexcept {
  while (node != top) {
    if (node->next != nullptr) return node->next;
    node = node->parent;
  }
  return nullptr;
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
  return FollowingBeside(node, top);
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

// A quarter of the slots is taken; when half of them are, it is time for the next index.
void MakeIndex(Element& element, Arena& memory) {
  const std::uint32_t size = std::bit_ceil(4 * element.count);
  auto* const index = memory.Make<AttributeIndex>(size - 1, memory.MakeZeros<NamedValue*>(size));
  for (Node* node = element.attributes.first; node != nullptr; node = node->next) {
    Enter(*index, static_cast<NamedValue&>(*node));
  }
  if (element.index != nullptr) memory.Waste(SizeOf(*element.index));
  element.index = index;
}

Tree::Tree() noexcept { root_.tree = this; }

void Tree::LastLetGo(HeldNode& held) noexcept {
  Node& node = *held.node;
  Tree& tree = *held.tree;
  Tree& issuer = *held.issuer;
  node.held = nullptr;
  held.tree = &issuer;
  issuer.handles_.GiveBack(held);
  if (&issuer != &tree && --issuer.abroad_ == 0 && issuer.heldCount_ == 0) delete &issuer;
  if (tree.heldCount_ == 0) return tree.End();
  if (tree.handles_.IsIdleWith(tree.heldCount_)) tree.handles_.ReleaseUnused(tree.heldCount_);
  if (!node.isLoose) return;
  tree.RemoveLoose(node);
  tree.Drop(node);
  tree.Tidy();
}

void Tree::End() noexcept {
  if (abroad_ == 0) {
    delete this;
    return;
  }
  root_.children = {};
  names_.Clear();
  arena_.Clear();
}

void Tree::Empty() noexcept {
  if (heldCount_ > 1) {
    DropChildren(root_);
    Tidy();
    return;
  }
  // The one node that is held is the document.
  root_.children = {};
  if (arena_.IsUnused()) return;
  names_.Clear();
  arena_.Clear();
}

void Tree::Compact() noexcept {
  try {
    Arena arena;
    arena.LeaveFirstBytes();
    NameTable names(arena, this);
    const NodeList children = CopyNodes(root_.children, names, arena);
    const NodeList loose = CopyNodes(loose_, names, arena);
    // From here on nothing fails.
    names_.TakeOver(names);
    arena_.TakeOver(arena);
    root_.children = children;
    loose_ = loose;
    for (const NodeList& list : {root_.children, loose_}) {
      for (Node* top = list.first; top != nullptr; top = top->next) {
        VisitAll(*top, [](Node& node) {
          if (node.held != nullptr) node.held->node = &node;
        });
      }
    }
  } catch (const std::bad_alloc&) {
    // There is no memory for it now. The next time is after as much waste again.
    arena_.ForgetWaste();
  }
}

void Tree::SetValue(Value& value, TextView text) {
  if (text.size() > value.count) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max() / sizeof(char16_t)) throw std::bad_alloc();
    char16_t* const units = arena_.MakeUnits(text.size());
    arena_.Waste(value.count * sizeof(char16_t));
    value.units = units;
  } else {
    arena_.Waste((value.count - text.size()) * sizeof(char16_t));
  }
  value.count = static_cast<std::uint32_t>(text.size());
  text.copy(value.units, text.size());
}

void Tree::SetOnlyText(Element& element, TextView text) {
  Node* const only = element.children.first;
  if (only != nullptr && only == element.children.last && only->kind == Kind::kText) {
    return SetValue(static_cast<Value&>(*only), text);
  }
  Value* const value = MakeValue(Kind::kText);
  SetValue(*value, text);
  DropChildren(element);
  Append(element, *value);
}

void Tree::SetOnlyBytes(Element& element, std::span<const std::uint8_t> bytes) {
  BytesText* const only = OnlyBytesText(element);
  if (only != nullptr && bytes.size() <= only->count) {
    arena_.Waste(only->count - bytes.size());
    std::copy(bytes.begin(), bytes.end(), only->bytes);
    only->count = static_cast<std::uint32_t>(bytes.size());
    only->lines = {};
    return;
  }
  std::uint8_t* const kept = arena_.MakeBytes(bytes.size());
  std::copy(bytes.begin(), bytes.end(), kept);
  KeepOnlyBytes(element, {kept, bytes.size()}, {});
}

void Tree::KeepOnlyBytes(Element& element, std::span<std::uint8_t> bytes, const Base64Lines& lines) {
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
  BytesText* text = OnlyBytesText(element);
  if (text != nullptr) {
    arena_.Waste(text->count);
  } else {
    text = MakeNode<BytesText>(Kind::kBytesText);
    DropChildren(element);
    Append(element, *text);
  }
  text->bytes = bytes.data();
  text->count = static_cast<std::uint32_t>(bytes.size());
  text->lines = lines;
}

NamedValue* Tree::FindInIndex(const Element& element, TextView name) noexcept {
  return *SlotOf(*element.index, name, NameTable::Hash(name));
}

void Tree::AddAttribute(Element& element, NamedValue& attribute) {
  NamedValue* const before = FindAttribute(element, attribute.name->View());
  if (before == nullptr && element.count >= (element.index == nullptr ? kMostWithoutIndex : element.index->mask / 2)) {
    MakeIndex(element, arena_);
  }
  if (attribute.isLoose) RemoveLoose(attribute);
  if (before != nullptr) {
    element.attributes.Remove(*before);
    before->parent = nullptr;
    --element.count;
    if (before != &attribute) Drop(*before);
  }
  attribute.parent = &element;
  element.attributes.Append(attribute);
  ++element.count;
  if (element.index != nullptr) Enter(*element.index, attribute);
}

void Tree::TakeOut(Element& element) noexcept {
  if (element.isLoose) {
    RemoveLoose(element);
  } else {
    static_cast<Parent*>(element.parent)->children.Remove(element);
  }
}

void Tree::CountAsWaste(Node& node) noexcept {
  switch (node.kind) {
    case Kind::kElement: {
      auto& element = static_cast<Element&>(node);
      names_.Leave(*element.name);
      arena_.Waste(sizeof(Element) + (element.index != nullptr ? SizeOf(*element.index) : 0));
      break;
    }
    case Kind::kAttribute:
    case Kind::kInstruction:
      names_.Leave(*static_cast<NamedValue&>(node).name);
      arena_.Waste(sizeof(NamedValue) + node.count * sizeof(char16_t));
      break;
    case Kind::kBytesText:
      arena_.Waste(sizeof(BytesText) + node.count);
      break;
    default:
      arena_.Waste(sizeof(Value) + node.count * sizeof(char16_t));
      break;
  }
}

void Tree::Drop(Node& top) noexcept {
  for (Node* node = &top; node != nullptr;) {
    if (node->held != nullptr) {
      Node* const next = FollowingBeside(node, &top);
      node->parent = nullptr;
      AddLoose(*node);
      node = next;
      continue;
    }
    CountAsWaste(*node);
    Element* const element = AsElement(node);
    for (Node* attribute = element != nullptr ? element->attributes.first : nullptr; attribute != nullptr;) {
      Node* const next = attribute->next;
      if (attribute->held != nullptr) {
        // It still counts as one of another element.
        attribute->parent = &root_;
        AddLoose(*attribute);
      } else {
        CountAsWaste(*attribute);
      }
      attribute = next;
    }
    node = Following(node, &top);
  }
}

void Tree::DropChildren(Parent& parent) noexcept {
  for (Node* child = parent.children.first; child != nullptr;) {
    Node* const next = child->next;
    Drop(*child);
    child = next;
  }
  parent.children = {};
}

Element& Tree::Adopt(Element& top) {
  Tree& from = TreeOf(top);
  auto& copy = static_cast<Element&>(*CopyNode(top, names_, arena_));
  from.TakeOut(top);
  copy.isLoose = false;
  std::size_t moved = 0;
  VisitAll(copy, [&](Node& node) {
    if (node.held == nullptr) return;
    ++moved;
    node.held->node->held = nullptr;
    node.held->node = &node;
    node.held->tree = this;
    if (node.held->issuer == &from) ++from.abroad_;
    if (node.held->issuer == this) --abroad_;
  });
  heldCount_ += moved;
  from.heldCount_ -= moved;
  from.Drop(top);
  if (from.heldCount_ == 0) {
    from.End();
  } else {
    from.Tidy();
  }
  return copy;
}

}  // namespace nerio::platform::xml
