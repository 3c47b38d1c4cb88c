#include "nerio/hosts/portable/xml/xml_namespaces.h"

#include <algorithm>

#include "nerio/hosts/portable/xml/xml_cursor.h"

namespace nerio::platform::xml {
namespace {

constexpr TextView kXmlNamespace = u"http://www.w3.org/XML/1998/namespace";
constexpr TextView kXmlnsNamespace = u"http://www.w3.org/2000/xmlns/";

}  // namespace

void Namespaces::Open(const Element& element, std::size_t colon, const char16_t* tag) {
  for (const Node* node = element.attributes.first; node != nullptr; node = node->next) {
    const auto& attribute = static_cast<const NamedValue&>(*node);
    const TextView attributeName = attribute.name->View();
    if (attributeName == u"xmlns") {
      if (attribute.View() == kXmlNamespace || attribute.View() == kXmlnsNamespace) {
        Fail(tag, u"the default namespace cannot be that of \"xml\" or \"xmlns\"");
      }
    } else if (attributeName.starts_with(u"xmlns:")) {
      Bind(element, attributeName.substr(6), attribute.View(), tag);
    }
  }
  if (colon != 0) NamespaceOf(element.name->View().substr(0, colon), tag);
  RefuseTwins(element, tag);
}

void Namespaces::Close(const Element& element) {
  while (!bindings_.empty() && bindings_.back().element == &element) {
    bound_[bindings_.back().prefix] = bindings_.back().before;
    bindings_.pop_back();
  }
}

void Namespaces::Bind(const Element& element, TextView prefix, TextView uri, const char16_t* tag) {
  if (prefix == u"xmlns") Fail(tag, u"the prefix \"xmlns\" cannot be declared");
  if ((prefix == u"xml") != (uri == kXmlNamespace)) {
    Fail(tag, u"the prefix \"xml\" and its namespace belong together, and to nothing else");
  }
  if (uri == kXmlnsNamespace) Fail(tag, u"the namespace of \"xmlns\" cannot be declared");
  if (uri.empty()) {
    Fail(tag, u"the prefix " + Quoted(prefix) + u" is declared with an empty namespace");
  }
  const Name* const prefixName = spellings_.Intern(prefix);
  const Name*& bound = bound_[prefixName];
  bindings_.push_back({&element, prefixName, bound});
  bound = spellings_.Intern(uri);
}

const Name* Namespaces::NamespaceOf(TextView prefix, const char16_t* tag) {
  if (prefix == u"xml") return spellings_.Intern(kXmlNamespace);
  const auto found = bound_.find(spellings_.Intern(prefix));
  if (found == bound_.end() || found->second == nullptr) {
    Fail(tag, u"the prefix " + Quoted(prefix) + u" is not declared");
  }
  return found->second;
}

// Two attributes with prefixes may mean the same name.
void Namespaces::RefuseTwins(const Element& element, const char16_t* tag) {
  std::vector<std::pair<const Name*, TextView>> expanded;
  for (const Node* node = element.attributes.first; node != nullptr; node = node->next) {
    const TextView attributeName = static_cast<const NamedValue&>(*node).name->View();
    const std::size_t colon = attributeName.find(u':');
    if (colon == TextView::npos || attributeName.starts_with(u"xmlns:")) continue;
    expanded.emplace_back(NamespaceOf(attributeName.substr(0, colon), tag), attributeName.substr(colon + 1));
  }
  std::sort(expanded.begin(), expanded.end());
  const auto twin = std::adjacent_find(expanded.begin(), expanded.end());
  if (twin != expanded.end()) {
    Fail(tag, u"two attributes " + Quoted(twin->second) + u" of the same namespace");
  }
}

}  // namespace nerio::platform::xml
