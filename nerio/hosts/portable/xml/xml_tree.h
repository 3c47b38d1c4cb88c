#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "nerio/hosts/portable/xml/xml_arena.h"
#include "nerio/hosts/portable/xml/xml_name_table.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/platform/xml_dom.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

class Tree;

/// What a node is, and with that which of the types below it has.
enum class Kind : std::uint8_t {
  kDocument,     // Parent
  kElement,      // Element
  kAttribute,    // NamedValue
  kInstruction,  // NamedValue: its target and what follows
  kText,         // Value
  kBytesText,    // BytesText
  kCData,        // Value
  kComment,      // Value
  kDeclaration,  // Value: what stands between "<?xml " and "?>", without the encoding
};

/// A node of a tree, in the tree's arena.
struct Node {
  Tree* tree = nullptr;
  Kind kind = Kind::kDocument;
  std::uint8_t notedType = 0;  ///< an element: its data type where no attribute says so yet; see xml_types.h
  std::uint32_t count = 0;     ///< code units of a value, bytes of a text kept as such, attributes of an element
  Node* parent = nullptr;      ///< the element of an attribute; null while the node is detached
  Node* previous = nullptr;    ///< among the children or attributes of its parent
  Node* next = nullptr;
};

/// A node that holds a text, which may contain any code unit but NUL.
struct Value : Node {
  char16_t* units = nullptr;

  TextView View() const { return {units, count}; }
};

/// A text that is the Base64 form of some bytes, in one line, and is kept as these.
struct BytesText : Node {
  std::uint8_t* bytes = nullptr;

  std::span<const std::uint8_t> View() const { return {bytes, count}; }
};

/// A value with a name.
struct NamedValue : Value {
  const Name* name = nullptr;
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
  const Name* name = nullptr;
  NodeList attributes;
  AttributeIndex* index = nullptr;
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

/// Returns the text node that is the only child of an element, when it is one kept as bytes; otherwise null.
BytesText* OnlyBytesText(const Element& element) noexcept;

/// Views the text of a node: the value of an attribute and its like, for a parent the texts and CDATA sections below
/// it, one after the other.
/// @param joined receives the text where it is not stored in one piece; the view is then one of it.
TextView TextOf(Node& node, Text& joined);

/// One document: its nodes, names and texts in one arena, and the count of the handles that keep it alive. Made by
/// `new`; it ends itself.
///
/// What a document no longer shows (detached nodes, replaced attributes and texts) keeps its memory until the document
/// goes; a text that fits where the one before it lies is written there. Names are kept once for each spelling. Every
/// operation but `Adopt` takes nodes of this tree.
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

  /// Counts one more handle to any node of this tree.
  void AddHandle() noexcept { ++Leader().handles_; }
  /// Counts one handle less; the last one ends the tree, and those joined with it.
  void RemoveHandle() noexcept {
    if (--Leader().handles_ == 0) End();
  }

  /// Detaches all that the document holds. The memory of a document that only one handle keeps alive, which is that of
  /// the document itself, is released.
  void Empty() noexcept;

  /// Makes a detached node. Raises nothing but std::bad_alloc, as all that follows.
  Element* MakeElement(const Name* name) {
    auto* const element = MakeNode<Element>(Kind::kElement);
    element->name = name;
    return element;
  }
  NamedValue* MakeNamedValue(Kind kind, const Name* name) {
    auto* const value = MakeNode<NamedValue>(kind);
    value->name = name;
    return value;
  }
  Value* MakeValue(Kind kind) { return MakeNode<Value>(kind); }

  /// Gives a value its text.
  void SetValue(Value& value, TextView text);
  /// Returns the text node that is the only child of an element, in place of the children before if need be.
  Value& MakeOnlyText(Element& element);
  /// Makes a text that is kept as bytes, which lie in this tree's memory, the only child of an element.
  void MakeOnlyBytesText(Element& element, std::span<std::uint8_t> bytes);

  /// Returns the attribute of this name, or null. Takes the same time however many there are.
  static NamedValue* FindAttribute(const Element& element, TextView name) noexcept {
    if (element.index != nullptr) return FindInIndex(element, name);
    for (Node* node = element.attributes.first; node != nullptr; node = node->next) {
      auto* const attribute = static_cast<NamedValue*>(node);
      if (attribute->name->View() == name) return attribute;
    }
    return nullptr;
  }
  /// Adds a detached attribute after the others. One of the same name is detached.
  void AddAttribute(Element& element, NamedValue& attribute);

  /// Makes a detached node the last child.
  static void Append(Parent& parent, Node& child) noexcept {
    child.parent = &parent;
    parent.children.Append(child);
  }
  /// Takes a child out of its parent; a detached node stays as it is.
  static void Detach(Node& child) noexcept;
  static void DetachChildren(Parent& parent) noexcept;

  /// Takes over a detached subtree of another tree. Both trees end together from now on: the nodes stay where they are
  /// in memory, and handles to them stay valid.
  void Adopt(Node& top) noexcept;

 private:
  /// The tree that counts the handles of all that are joined.
  Tree& Leader() noexcept {
    if (leader_ == this) return *this;
    while (leader_->leader_ != leader_) leader_ = leader_->leader_;
    return *leader_;
  }
  void Join(Tree& other) noexcept;
  // Ends the trees that are joined, this one among them.
  void End() noexcept;
  template <typename Made>
  Made* MakeNode(Kind kind) {
    auto* const node = arena_.Make<Made>();
    node->tree = this;
    node->kind = kind;
    return node;
  }
  static NamedValue* FindInIndex(const Element& element, TextView name) noexcept;
  void MakeIndex(Element& element);

  Arena arena_;
  NameTable names_{arena_};
  Parent root_;
  Tree* leader_ = this;
  Tree* nextJoined_ = nullptr;  // the list of a leader's trees
  Tree* lastJoined_ = this;     // its end; meant for the leader only
  std::size_t handles_ = 0;     // meant for the leader only
};

}  // namespace nerio::platform::xml
