#pragma once

#include <cstdint>

#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// How the typed value of a node reads and writes.
enum class TypedAs : std::uint8_t { kText, kBase64, kOther };

/// Notes a data type in an element, by its name in any case. The attributes that say so, xmlns:dt and dt:dt, are made
/// when a caller may read them: most elements with a data type are released before.
/// @return false when no data type is called so; nothing is changed then. Raises nothing.
bool SetDataType(Element& element, TextView name) noexcept;

/// Makes the attributes of a data type that was noted. To be called before the attributes of an element are read
/// or changed. Raises nothing but std::bad_alloc.
void ShowDataType(Element& element);

/// Returns how the typed value of a node reads and writes. Raises nothing.
TypedAs TypeOf(Node& node) noexcept;

}  // namespace nerio::platform::xml
