#pragma once

#include "nerio/hosts/portable/xml/xml_arena.h"
#include "nerio/hosts/portable/xml/xml_name_table.h"
#include "nerio/hosts/portable/xml/xml_tree.h"

namespace nerio::platform::xml {

/// Copies a node with all below it, and its attributes. The copy has the parent of the original and its entry for
/// handles, which still leads to the original; it stands in no list yet.
/// @param names the names that the copies have, which lie in `memory` too. Raises nothing but std::bad_alloc.
Node* CopyNode(Node& top, NameTable& names, Arena& memory);

/// Copies each node of a list in the same way.
NodeList CopyNodes(const NodeList& list, NameTable& names, Arena& memory);

}  // namespace nerio::platform::xml
