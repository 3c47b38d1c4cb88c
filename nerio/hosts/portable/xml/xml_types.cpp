#include "nerio/hosts/portable/xml/xml_types.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

#include "nerio/hosts/portable/xml/xml_names.h"

namespace nerio::platform::xml {
namespace {

constexpr TextView kBase64 = u"bin.base64";
constexpr TextView kString = u"string";
constexpr TextView kTypeNames[] = {kBase64,        u"bin.hex",  u"boolean", u"char",        u"date",       u"dateTime",
                                   u"dateTime.tz", u"entities", u"entity",  u"enumeration", u"fixed.14.4", u"float",
                                   u"i1",          u"i2",       u"i4",      u"i8",          u"id",         u"idref",
                                   u"idrefs",      u"int",      u"nmtoken", u"nmtokens",    u"notation",   u"number",
                                   u"r4",          u"r8",       kString,    u"time",        u"time.tz",    u"ui1",
                                   u"ui2",         u"ui4",      u"ui8",     u"uri",         u"uuid"};
static_assert(std::size(kTypeNames) < std::numeric_limits<decltype(Node::notedType)>::max());

constexpr std::uint8_t kNotedBase64 = 1;
static_assert(kTypeNames[kNotedBase64 - 1] == kBase64);

constexpr TextView kTypeAttribute = u"dt:dt";

void SetAttribute(Element& element, TextView name, TextView text) {
  Tree& tree = TreeOf(element);
  if (NamedValue* const there = Tree::FindAttribute(element, name)) {
    tree.SetValue(*there, text);
    return;
  }
  NamedValue* const attribute = tree.MakeNamedValue(Kind::kAttribute, tree.Names().Intern(name));
  tree.SetValue(*attribute, text);
  tree.AddAttribute(element, *attribute);
}

}  // namespace

bool SetDataType(Element& element, TextView name) noexcept {
  // The one that the layer uses, as it writes it; comparing bytes is one instruction or two for a known length.
  if (name.size() == kBase64.size() &&
      std::memcmp(name.data(), kBase64.data(), sizeof(char16_t) * kBase64.size()) == 0) {
    element.notedType = kNotedBase64;
    return true;
  }
  const auto* const known = std::find_if(std::begin(kTypeNames), std::end(kTypeNames),
                                         [name](TextView each) { return EqualInAnyCase(each, name); });
  if (known == std::end(kTypeNames)) return false;
  element.notedType = static_cast<std::uint8_t>(known - std::begin(kTypeNames) + 1);
  return true;
}

void ShowDataType(Element& element) {
  if (element.notedType == 0) return;
  SetAttribute(element, u"xmlns:dt", u"urn:schemas-microsoft-com:datatypes");
  SetAttribute(element, kTypeAttribute, kTypeNames[element.notedType - 1]);
  element.notedType = 0;
}

TypedAs TypeOf(Node& node) noexcept {
  const Element* const element = AsElement(&node);
  if (element == nullptr) return TypedAs::kText;
  if (element->notedType == kNotedBase64) return TypedAs::kBase64;
  TextView type;
  if (element->notedType != 0) {
    type = kTypeNames[element->notedType - 1];
  } else if (const NamedValue* const attribute = Tree::FindAttribute(*element, kTypeAttribute)) {
    type = attribute->View();
  } else {
    return TypedAs::kText;
  }
  if (type == kBase64) return TypedAs::kBase64;
  return type == kString ? TypedAs::kText : TypedAs::kOther;
}

}  // namespace nerio::platform::xml
