#include "nerio/hosts/portable/xml/xml_query.h"

#include <cstddef>

#include "nerio/hosts/portable/xml/xml_names.h"

namespace nerio::platform::xml {
namespace {

// Returns the name that begins at a place of a path.
TextView StepAt(TextView path, std::size_t begin) { return path.substr(begin, path.find(u'/', begin) - begin); }

}  // namespace

bool IsPath(TextView query) noexcept {
  if (query.starts_with(u'/')) query.remove_prefix(1);
  for (std::size_t begin = 0; begin <= query.size();) {
    const TextView step = StepAt(query, begin);
    if (!IsNameWithoutColon(step)) return false;
    begin += step.size() + 1;
  }
  return true;
}

Element* SelectPath(Node& start, TextView query) {
  Node* top = &start;
  if (query.starts_with(u'/')) {
    query.remove_prefix(1);
    top = &TreeOf(start).Root();
  }
  const Parent* const parent = AsParent(top);
  if (parent == nullptr) return nullptr;

  // Where the name that `node` should have stands in the path: the way back up is found there too.
  std::size_t begin = 0;
  TextView step = StepAt(query, begin);
  for (Node* node = parent->children.first; node != nullptr;) {
    Element* const element = AsElement(node);
    if (element != nullptr && element->name->View() == step) {
      const std::size_t end = begin + step.size();
      if (end == query.size()) return element;
      if (element->children.first != nullptr) {
        node = element->children.first;
        begin = end + 1;
        step = StepAt(query, begin);
        continue;
      }
    }
    while (node->next == nullptr && begin > 0) {
      node = node->parent;
      begin = begin > 1 ? query.rfind(u'/', begin - 2) + 1 : 0;
      step = StepAt(query, begin);
    }
    node = node->next;
  }
  return nullptr;
}

}  // namespace nerio::platform::xml
