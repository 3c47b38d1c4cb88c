#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "nerio/hosts/portable/base64/base64_lines.h"
#include "nerio/hosts/portable/xml/xml_arena.h"
#include "nerio/hosts/portable/xml/xml_handles.h"
#include "nerio/hosts/portable/xml/xml_name_table.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/platform/xml_dom.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// What a node is, and with that which of the types below it has.
enum class Kind : std::uint8_t {
  kDocument,     // DocumentNode
  kElement,      // Element
  kAttribute,    // NamedValue
  kInstruction,  // NamedValue: its target and what follows
  kText,         // Value
  kBytesText,    // BytesText
  kCData,        // Value
  kComment,      // Value
  kDeclaration,  // Value: what stands between "<?xml " and "?>", without the encoding
};

/// A node of a tree, in the tree's arena. It may be copied to another place whenever no call is at work; what stays in
/// place is its entry for handles.
struct Node {
  HeldNode* held = nullptr;  ///< null while no handle leads to it, never one to a text and its like
  Kind kind = Kind::kDocument;
  std::uint8_t notedType = 0;  ///< an element: its data type where no attribute says so yet; see xml_types.h
  bool isLoose = false;        ///< held, and standing nowhere
  std::uint32_t count = 0;     ///< code units of a value, bytes of a text kept as such, attributes of an element
  Node* parent = nullptr;      ///< the element of an attribute; null while the node stands nowhere
  Node* previous = nullptr;    ///< among the children or attributes of its parent
  Node* next = nullptr;
};

/// A node that holds a text, which may contain any code unit but NUL.
struct Value : Node {
  char16_t* units = nullptr;

  TextView View() const { return {units, count}; }
};

/// A text that is the Base64 form of some bytes and is kept as these.
struct BytesText : Node {
  std::uint8_t* bytes = nullptr;
  Base64Lines lines;

  std::span<const std::uint8_t> View() const { return {bytes, count}; }
  std::size_t Length() const noexcept { return Base64Length(count, lines); }
  Text Written() const { return Base64Of(View(), lines); }
};

/// A value with a name.
struct NamedValue : Value {
  Name* name = nullptr;
};

/// A doubly linked list of nodes.
struct NodeList {
  Node* first = nullptr;
  Node* last = nullptr;

  void Append(Node& node) noexcept {
    node.previous = last;
    node.next = nullptr;
    (last != nullptr ? last->next : first) = &node;
    last = &node;
  }
  void Remove(Node& node) noexcept;
};

/// A node that can have children.
struct Parent : Node {
  NodeList children;
};

/// A hash table over the attributes of an element that has many.
struct AttributeIndex {
  std::uint32_t mask;
  NamedValue** slots;  ///< mask + 1 of them, null where free
};

struct Element : Parent {
  Name* name = nullptr;
  NodeList attributes;
  AttributeIndex* index = nullptr;
};

/// The node of the document itself, which lies in its tree.
struct DocumentNode : Parent {
  Tree* tree = nullptr;
};

/// Returns the node as a parent, null when it is of a kind that has no children.
inline Parent* AsParent(Node* node) noexcept {
  return node->kind == Kind::kElement || node->kind == Kind::kDocument ? static_cast<Parent*>(node) : nullptr;
}
/// Returns the node as an element, null when it is not one.
inline Element* AsElement(Node* node) noexcept {
  return node->kind == Kind::kElement ? static_cast<Element*>(node) : nullptr;
}

/// Returns the node after `node` in document order within the subtree of `top`, null at the end. Attributes are not
/// met. This is how every walk over a tree goes: step by step, so that no depth of nesting needs a deep stack.
Node* Following(Node* node, const Node* top) noexcept;

/// Returns the tree of a node that a handle may lead to: a document, an element, an attribute.
inline Tree& TreeOf(const Node& node) noexcept {
  if (node.kind == Kind::kElement) return *static_cast<const Element&>(node).name->tree;
  if (node.kind == Kind::kDocument) return *static_cast<const DocumentNode&>(node).tree;
  return *static_cast<const NamedValue&>(node).name->tree;
}

/// Calls `visit` with each node of the subtree of `top` and each attribute there.
template <typename Visit>
void VisitAll(Node& top, Visit visit) {
  for (Node* node = &top; node != nullptr; node = Following(node, &top)) {
    visit(*node);
    Element* const element = AsElement(node);
    if (element == nullptr) continue;
    for (Node* each = element->attributes.first; each != nullptr; each = each->next) visit(*each);
  }
}

/// Makes the index over the attributes of an element, in place of a smaller one.
void MakeIndex(Element& element, Arena& memory);
/// Up to here comparing each attribute is faster than an index.
constexpr std::uint32_t kMostWithoutIndex = 16;

/// Returns the text node that is the only child of an element, when it is one kept as bytes; otherwise null.
BytesText* OnlyBytesText(const Element& element) noexcept;

/// Views the text of a node: the value of an attribute and its like, for a parent the texts and CDATA sections below
/// it, one after the other.
/// @param joined receives the text where it is not stored in one piece; the view is then one of it.
TextView TextOf(Node& node, Text& joined);

/// One document: its nodes, names and texts in one arena. Made by `new`; it ends itself when no handle leads to any of
/// its nodes any more.
///
/// What nothing leads to any more (elements that were replaced or released without having been put anywhere, replaced
/// attributes, texts and names) is counted as waste. `Tidy` copies the rest together and releases the memory once the
/// waste is much. So a document takes less than three times what a fresh one with the same content does, whatever was
/// done to it before. Names are kept once for each spelling. Every operation but `Adopt` takes nodes of this tree.
class Tree {
 public:
  Tree() noexcept;
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  Parent& Root() noexcept { return root_; }
  Arena& Memory() noexcept { return arena_; }
  NameTable& Names() noexcept { return names_; }

  /// Why the last text was not loaded.
  XmlLoadError loadError;

  /// Counts one more handle to a node. Raises nothing but std::bad_alloc, and that for the first handle only.
  static HeldNode* Hold(Node& node) {
    if (node.held != nullptr) {
      ++node.held->handles;
    } else {
      Tree& tree = TreeOf(node);
      node.held = tree.handles_.Take(node);
      ++tree.heldCount_;
    }
    return node.held;
  }
  /// Counts one handle less. The last one to a node that stands nowhere gives it up; the last one of all ends the tree.
  static void LetGo(HeldNode& held) noexcept {
    if (--held.handles != 0) return;
    Tree& tree = *held.tree;
    Node& node = *held.node;
    if (tree.handles_.IsIdleWith(--tree.heldCount_) || held.issuer != &tree || node.isLoose) return LastLetGo(held);
    node.held = nullptr;
    tree.handles_.GiveBack(held);
  }
  /// Holds a node that was just made and stands nowhere.
  HeldNode* HoldLoose(Node& node) {
    HeldNode* const held = Hold(node);
    AddLoose(node);
    return held;
  }

  /// Gives up all that the document holds; what a handle leads to is detached.
  void Empty() noexcept;

  /// Copies everything together where much of the memory is waste. No reference to a node holds after it.
  void Tidy() noexcept {
    if (arena_.IsWasteful()) Compact();
  }

  /// Makes a detached node. Raises nothing but std::bad_alloc, as all that follows.
  Element* MakeElement(Name* name) {
    auto* const element = MakeNode<Element>(Kind::kElement);
    element->name = name;
    names_.Use(*name);
    return element;
  }
  NamedValue* MakeNamedValue(Kind kind, Name* name) {
    auto* const value = MakeNode<NamedValue>(kind);
    value->name = name;
    names_.Use(*name);
    return value;
  }
  Value* MakeValue(Kind kind) { return MakeNode<Value>(kind); }

  /// Gives a value its text.
  void SetValue(Value& value, TextView text);
  /// Makes a text the only child of an element.
  void SetOnlyText(Element& element, TextView text);
  /// Makes a text that is kept as bytes the only child of an element.
  void SetOnlyBytes(Element& element, std::span<const std::uint8_t> bytes);
  /// The same with bytes that lie in this tree's memory already, and with a text in lines.
  void KeepOnlyBytes(Element& element, std::span<std::uint8_t> bytes, const Base64Lines& lines);

  /// Returns the attribute of this name, or null. Takes the same time however many there are.
  static NamedValue* FindAttribute(const Element& element, TextView name) noexcept {
    if (element.index != nullptr) return FindInIndex(element, name);
    for (Node* node = element.attributes.first; node != nullptr; node = node->next) {
      auto* const attribute = static_cast<NamedValue*>(node);
      if (attribute->name->View() == name) return attribute;
    }
    return nullptr;
  }
  /// Adds a detached attribute after the others, or moves one of the element there. Another one of the same name is
  /// given up.
  void AddAttribute(Element& element, NamedValue& attribute);

  /// Makes a node that stands nowhere and was taken out, or just made, the last child.
  static void Append(Parent& parent, Node& child) noexcept {
    child.parent = &parent;
    parent.children.Append(child);
  }
  /// Takes an element that is held out of where it stands.
  void TakeOut(Element& element) noexcept;
  /// Gives up a node that was taken out or never stood anywhere, with all below it. What a handle leads to, and what is
  /// below that, is detached.
  void Drop(Node& top) noexcept;
  void DropChildren(Parent& parent) noexcept;

  /// Copies an element of another tree with all below it and gives up the original; the handles lead to the copy.
  Element& Adopt(Element& top);

 private:
  ~Tree() = default;
  static void LastLetGo(HeldNode& held) noexcept;
  // Ends the tree, to whose nodes no handle leads any more, but for its entries that other trees' nodes have.
  void End() noexcept;
  void Compact() noexcept;
  void CountAsWaste(Node& node) noexcept;
  template <typename Made>
  Made* MakeNode(Kind kind) {
    auto* const node = arena_.Make<Made>();
    node->kind = kind;
    return node;
  }
  static NamedValue* FindInIndex(const Element& element, TextView name) noexcept;
  void AddLoose(Node& node) noexcept {
    node.isLoose = true;
    loose_.Append(node);
  }
  void RemoveLoose(Node& node) noexcept {
    node.isLoose = false;
    loose_.Remove(node);
  }

  Arena arena_;
  NameTable names_{arena_, this};
  DocumentNode root_;
  NodeList loose_;             // the nodes that are held and stand nowhere
  std::size_t heldCount_ = 0;  // nodes of this tree that a handle leads to
  std::size_t abroad_ = 0;     // entries of the pool that nodes of other trees have
  HandlePool handles_{*this};
};

}  // namespace nerio::platform::xml
