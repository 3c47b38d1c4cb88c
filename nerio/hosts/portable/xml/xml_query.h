#pragma once

#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// Tells whether a query can be answered here: names without prefix, separated by "/", with or without a "/" in front
/// ("DOC", "a/b", "/a/b"). Nothing else of XPath is.
bool IsPath(TextView query) noexcept;

/// Returns the first element, in document order, that a path leads to from `start`, or from the document when it begins
/// with "/"; null when there is none. Each name stands for children of exactly that qualified name, whatever their
/// namespace.
/// @param query a text for which `IsPath` is true. Raises nothing but std::bad_alloc.
Element* SelectPath(Node& start, TextView query);

}  // namespace nerio::platform::xml
