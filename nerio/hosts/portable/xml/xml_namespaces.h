#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "nerio/hosts/portable/xml/xml_arena.h"
#include "nerio/hosts/portable/xml/xml_name_table.h"
#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// What prefixes mean while a document is parsed.
class Namespaces {
 public:
  /// Takes in what the attributes of an element declare, and checks the prefixes of its name and its attributes. Throws
  /// a `Failure` at `tag`, where the element's tag begins, and std::bad_alloc.
  /// @param colon the place of the colon in the element's name, 0 where there is none.
  void Open(const Element& element, std::size_t colon, const char16_t* tag);

  /// Takes back what an element declared.
  void Close(const Element& element);

 private:
  // A prefix that an element declared, and what it meant before.
  struct Binding {
    const Element* element;
    const Name* prefix;
    const Name* before;
  };

  void Bind(const Element& element, TextView prefix, TextView uri, const char16_t* tag);
  const Name* NamespaceOf(TextView prefix, const char16_t* tag);
  void RefuseTwins(const Element& element, const char16_t* tag);

  Arena memory_;
  NameTable spellings_{memory_};  // of prefixes and namespaces
  std::vector<Binding> bindings_;
  std::unordered_map<const Name*, const Name*> bound_;
};

}  // namespace nerio::platform::xml
