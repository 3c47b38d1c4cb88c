#include "platform/portable/xml_query.h"

#include <cstddef>
#include <vector>

#include "platform/portable/xml_names.h"

namespace nerio::platform::xml {
namespace {

// Takes the first name and the "/" behind it off a path.
TextView TakeStep(TextView& path) {
  const std::size_t length = path.find(u'/');
  const TextView step = path.substr(0, length);
  path.remove_prefix(length == TextView::npos ? path.size() : length + 1);
  return step;
}

}  // namespace

bool IsPath(TextView query) noexcept {
  if (query.starts_with(u'/')) query.remove_prefix(1);
  if (query.empty() || query.back() == u'/') return false;
  while (!query.empty()) {
    if (!IsNameWithoutColon(TakeStep(query))) return false;
  }
  return true;
}

Element* SelectPath(Node& start, TextView query) {
  Node* top = &start;
  if (query.starts_with(u'/')) {
    query.remove_prefix(1);
    top = &start.tree->Root();
  }
  std::vector<TextView> steps;
  while (!query.empty()) steps.push_back(TakeStep(query));
  const Parent* const parent = AsParent(top);
  if (parent == nullptr) return nullptr;

  std::size_t depth = 0;  // of `node` below `top`
  for (Node* node = parent->children.first; node != nullptr;) {
    Element* const element = AsElement(node);
    if (element != nullptr && element->name->View() == steps[depth]) {
      if (depth + 1 == steps.size()) return element;
      if (element->children.first != nullptr) {
        node = element->children.first;
        ++depth;
        continue;
      }
    }
    while (node->next == nullptr && depth > 0) {
      node = node->parent;
      --depth;
    }
    node = node->next;
  }
  return nullptr;
}

}  // namespace nerio::platform::xml
