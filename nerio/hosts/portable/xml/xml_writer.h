#pragma once

#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// Writes a node and what is below it as XML: on one line, nothing indented, in document order.
///
/// Every node at document level is followed by CR LF, and an LF within a text is written as CR LF. An element without
/// anything to write in it is `<e/>`. Escaped are & < > and CR in texts; & < > " and tab, CR, LF in attributes. What
/// XML cannot hold: control characters are left out, a lone surrogate, U+FFFE and U+FFFF become U+FFFD. An XML
/// declaration is written without its encoding, since the result is text and not bytes.
///
/// Raises nothing but std::bad_alloc.
Text Write(Node& node);

}  // namespace nerio::platform::xml
