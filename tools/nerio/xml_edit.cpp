#include "tools/nerio/xml_edit.h"

#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

#include "nerio/hosts/portable/xml/xml_parser.h"
#include "nerio/hosts/portable/xml/xml_query.h"
#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/hosts/portable/xml/xml_writer.h"

namespace nerio::tool {

namespace xml = platform::xml;

namespace {

// A document, as long as this lives.
class Document {
 public:
  explicit Document(TextView text) {
    platform::XmlLoadError error;
    if (!xml::Parse(text, tree_, error)) throw std::logic_error("not a well-formed document");
  }
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  ~Document() { xml::Tree::LetGo(*held_); }

  xml::Tree& tree() { return tree_; }

 private:
  xml::Tree& tree_ = *new xml::Tree;
  xml::HeldNode* held_ = xml::Tree::Hold(tree_.Root());
};

bool HoldsText(const xml::Parent& parent) {
  for (const xml::Node* node = parent.children.first; node != nullptr; node = node->next) {
    const bool isText =
        node->kind == xml::Kind::kText || node->kind == xml::Kind::kBytesText || node->kind == xml::Kind::kCData;
    if (isText) return true;
  }
  return false;
}

// An element whose children are to be indented, and how many elements are above it.
struct Indented {
  xml::Element* element;
  std::size_t depth;
};

std::vector<Indented> ToIndent(xml::Tree& tree) {
  std::vector<Indented> found;
  // Whether blanks are kept in the node at hand and in each one above it, the document first.
  std::vector<bool> keeps;
  for (xml::Node* node = &tree.Root(); node != nullptr;) {
    bool kept = !keeps.empty() && keeps.back();
    xml::Element* const element = xml::AsElement(node);
    if (element != nullptr) {
      const xml::NamedValue* const space = xml::Tree::FindAttribute(*element, u"xml:space");
      if (space != nullptr) kept = space->View() == u"preserve";
      if (!kept && element->children.first != nullptr && !HoldsText(*element)) {
        found.push_back({element, keeps.size() - 1});
      }
    }
    keeps.push_back(kept);
    xml::Node* const next = xml::Following(node, &tree.Root());
    // Up from the node at hand to the parent of the next one.
    for (; next != nullptr && node != next->parent; node = node->parent) keeps.pop_back();
    node = next;
  }
  return found;
}

void AppendLine(xml::Tree& tree, xml::Element& element, std::size_t depth) {
  xml::Value* const line = tree.MakeValue(xml::Kind::kText);
  tree.SetValue(*line, u'\n' + Text(2 * depth, u' '));
  xml::Tree::Append(element, *line);
}

}  // namespace

XmlDeletion DeleteInXml(Text& xml, TextView path, const std::optional<Text>& attribute) {
  Document document(xml);
  xml::Tree& tree = document.tree();
  xml::Element* const element = xml::SelectPath(tree.Root(), path);
  if (element == nullptr) return XmlDeletion::kNoElement;
  if (attribute) {
    xml::NamedValue* const found = xml::Tree::FindAttribute(*element, *attribute);
    if (found == nullptr) return XmlDeletion::kNoAttribute;
    element->attributes.Remove(*found);
  } else {
    if (element->parent == &tree.Root()) return XmlDeletion::kDocumentElement;
    static_cast<xml::Parent*>(element->parent)->children.Remove(*element);
  }
  xml = xml::Write(tree.Root());
  return XmlDeletion::kDone;
}

void IndentXml(Text& xml) {
  Document document(xml);
  xml::Tree& tree = document.tree();
  for (const auto& [element, depth] : ToIndent(tree)) {
    const xml::NodeList children = std::exchange(element->children, {});
    for (xml::Node* child = children.first; child != nullptr;) {
      xml::Node* const next = child->next;
      AppendLine(tree, *element, depth + 1);
      xml::Tree::Append(*element, *child);
      child = next;
    }
    AppendLine(tree, *element, depth);
  }
  xml = xml::Write(tree.Root());
}

}  // namespace nerio::tool
