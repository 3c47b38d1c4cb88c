#include "nerio/hosts/portable/xml/xml_content.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "nerio/hosts/portable/xml/xml_cursor.h"
#include "nerio/hosts/portable/xml/xml_names.h"
#include "nerio/types/surrogates.h"

namespace nerio::platform::xml {
namespace {

void StoreCharacter(const char16_t* place, TextView digits, char16_t*& out) {
  const std::uint32_t base = digits.starts_with(u'x') ? 16 : 10;
  if (base == 16) digits.remove_prefix(1);
  std::uint32_t point = digits.empty() ? 0x110000 : 0;
  for (const char16_t unit : digits) {
    const std::size_t digit = TextView(u"0123456789ABCDEF").find(unit >= u'a' && unit <= u'f' ? unit - 0x20 : unit);
    if (digit >= base) Fail(place, u"a reference to a character has digits between \"&#\" or \"&#x\" and \";\"");
    point = std::min(point * base + static_cast<std::uint32_t>(digit), std::uint32_t{0x110000});
  }
  if (point > 0x10FFFF || (point < 0x10000 && !IsCharacterUnit(static_cast<char16_t>(point)))) {
    Fail(place, u"a reference to a character that XML does not have");
  }
  if (point < 0x10000) {
    *out++ = static_cast<char16_t>(point);
  } else {
    *out++ = HighSurrogateOf(point);
    *out++ = LowSurrogateOf(point);
  }
}

// Writes what the reference at `place` stands for. Returns the place after it.
const char16_t* StoreReference(const char16_t* place, const char16_t* end, char16_t*& out) {
  const TextView rest(place + 1, static_cast<std::size_t>(end - place - 1));
  const std::size_t length = rest.find(u';');
  if (length == TextView::npos) Fail(place, u"\"&\" begins a reference that has no end");
  const TextView name = rest.substr(0, length);
  constexpr std::pair<TextView, char16_t> kEntities[] = {
      {u"amp", u'&'}, {u"lt", u'<'}, {u"gt", u'>'}, {u"quot", u'"'}, {u"apos", u'\''}};
  if (name.starts_with(u'#')) {
    StoreCharacter(place, name.substr(1), out);
  } else {
    const auto* const entity = std::find_if(std::begin(kEntities), std::end(kEntities),
                                            [&](const auto& known) { return known.first == name; });
    if (entity == std::end(kEntities)) {
      if (!IsNameWithoutColon(name)) Fail(place, u"\"&\" begins something that is not a reference");
      Fail(place, u"the entity " + Quoted(name) + u" is not declared");
    }
    *out++ = entity->second;
  }
  return place + length + 2;
}

}  // namespace

void StoreContent(Tree& tree, Value& value, TextView piece, Form form) {
  // No piece grows: the shortest reference to a pair of surrogates has eight units.
  tree.SetValue(value, piece);
  const char16_t* place = piece.data();
  const char16_t* const end = place + piece.size();
  while (place != end && !Stops(*place, form)) ++place;
  if (place == end) return;
  char16_t* out = value.units + (place - piece.data());
  while (place != end) {
    const char16_t unit = *place;
    if (!Stops(unit, form)) {
      *out++ = unit;
      ++place;
    } else if (unit == u'\r') {
      place += place + 1 != end && place[1] == u'\n' ? 2 : 1;
      *out++ = form == Form::kAttribute ? u' ' : u'\n';
    } else if (unit == u'\t' || unit == u'\n') {
      *out++ = u' ';
      ++place;
    } else if (unit == u'&') {
      place = StoreReference(place, end, out);
    } else if (unit == u']') {
      if (TextView(place, static_cast<std::size_t>(end - place)).starts_with(u"]]>")) {
        Fail(place, u"\"]]>\" cannot stand in a text");
      }
      *out++ = unit;
      ++place;
    } else if (IsHighSurrogate(unit) && place + 1 != end && IsLowSurrogate(place[1])) {
      *out++ = unit;
      *out++ = place[1];
      place += 2;
    } else if (unit == u'<') {
      Fail(place, u"\"<\" cannot stand in the value of an attribute");
    } else {
      Fail(place, u"a character that XML does not have");
    }
  }
  value.count = static_cast<std::uint32_t>(out - value.units);
  tree.Memory().Shorten(value.units, piece.size() * sizeof(char16_t), value.count * sizeof(char16_t));
}

}  // namespace nerio::platform::xml
