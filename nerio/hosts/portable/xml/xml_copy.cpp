#include "nerio/hosts/portable/xml/xml_copy.h"

#include <algorithm>

namespace nerio::platform::xml {
namespace {

class Copier {
 public:
  Copier(NameTable& names, Arena& memory) : names_(names), memory_(memory) {}

  // Copies a node without what is below it.
  Node* Copy(const Node& node) {
    switch (node.kind) {
      case Kind::kElement:
        return CopyElement(static_cast<const Element&>(node));
      case Kind::kAttribute:
      case Kind::kInstruction:
        return CopyNamedValue(static_cast<const NamedValue&>(node));
      case Kind::kBytesText: {
        auto* const copy = memory_.Make<BytesText>(static_cast<const BytesText&>(node));
        copy->bytes = memory_.MakeBytes(node.count);
        std::copy_n(static_cast<const BytesText&>(node).bytes, node.count, copy->bytes);
        return copy;
      }
      default: {
        auto* const copy = memory_.Make<Value>(static_cast<const Value&>(node));
        CopyUnits(*copy);
        return copy;
      }
    }
  }

 private:
  void CopyUnits(Value& value) {
    char16_t* const units = memory_.MakeUnits(value.count);
    std::copy_n(value.units, value.count, units);
    value.units = units;
  }

  Name* CopyName(const Name& name) {
    Name* const copy = names_.Intern(name);
    names_.Use(*copy);
    return copy;
  }

  Node* CopyNamedValue(const NamedValue& value) {
    auto* const copy = memory_.Make<NamedValue>(value);
    copy->name = CopyName(*value.name);
    CopyUnits(*copy);
    return copy;
  }

  Node* CopyElement(const Element& element) {
    auto* const copy = memory_.Make<Element>(element);
    copy->name = CopyName(*element.name);
    copy->children = {};
    copy->attributes = {};
    copy->index = nullptr;
    for (Node* each = element.attributes.first; each != nullptr; each = each->next) {
      Node* const attribute = CopyNamedValue(static_cast<const NamedValue&>(*each));
      attribute->parent = copy;
      copy->attributes.Append(*attribute);
    }
    if (element.count > kMostWithoutIndex) MakeIndex(*copy, memory_);
    return copy;
  }

  NameTable& names_;
  Arena& memory_;
};

}  // namespace

Node* CopyNode(Node& top, NameTable& names, Arena& memory) {
  Copier copier(names, memory);
  Node* const copyOfTop = copier.Copy(top);
  Node* copy = copyOfTop;
  for (Node* node = &top;;) {
    // `copy` is that of `node`; both go on in step.
    Node* next = AsParent(node) != nullptr ? static_cast<Parent*>(node)->children.first : nullptr;
    Node* under = copy;
    while (next == nullptr && node != &top) {
      next = node->next;
      under = copy->parent;
      if (next != nullptr) break;
      node = node->parent;
      copy = copy->parent;
    }
    if (next == nullptr) return copyOfTop;
    node = next;
    copy = copier.Copy(*node);
    Tree::Append(static_cast<Parent&>(*under), *copy);
  }
}

NodeList CopyNodes(const NodeList& list, NameTable& names, Arena& memory) {
  NodeList copies;
  for (Node* node = list.first; node != nullptr; node = node->next) copies.Append(*CopyNode(*node, names, memory));
  return copies;
}

}  // namespace nerio::platform::xml
