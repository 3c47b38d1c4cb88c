#include "nerio/hosts/portable/xml/xml_cursor.h"

#include <algorithm>
#include <utility>

namespace nerio::platform::xml {
namespace {

bool IsEncodingName(TextView name) {
  constexpr TextView kLetters = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !name.empty() && kLetters.find(name[0]) != TextView::npos &&
         std::all_of(name.begin(), name.end(), [&](char16_t unit) {
           return kLetters.find(unit) != TextView::npos || TextView(u"0123456789._-").find(unit) != TextView::npos;
         });
}

}  // namespace

Text Quoted(TextView piece) {
  constexpr std::size_t kMost = 80;
  Text quoted = u"\"";
  quoted += piece.substr(0, kMost);
  if (piece.size() > kMost) quoted += u"...";
  return quoted += u'"';
}

void Fail(const char16_t* place, Text reason) { throw Failure{place, std::move(reason)}; }

void Cursor::Require(TextView expected, TextView where) {
  if (Take(expected)) return;
  FailHere((AtEnd() ? u"the document ends where " : u"something else stands where ") + Quoted(expected) +
           u" is needed, " + Text(where));
}

TextView Cursor::TakeUpTo(TextView mark, TextView what) {
  const TextView rest = Rest();
  const std::size_t length = rest.find(mark);
  if (length == TextView::npos) {
    FailHere(Text(what) + u" has no end: " + Quoted(mark) + u" is missing");
  }
  place_ += length + mark.size();
  return rest.substr(0, length);
}

TextView Cursor::TakeQuoted() {
  if (!At(u'"') && !At(u'\'')) FailHere(u"a quoted value is needed after \"=\"");
  const TextView quote(place_++, 1);
  return TakeUpTo(quote, u"the quoted value");
}

void Cursor::TakeEquals() {
  SkipBlanks();
  Require(u"=", u"after a name");
  SkipBlanks();
}

bool DeclarationReader::Read() {
  constexpr TextView kStart = u"<?xml";
  if (!Rest().starts_with(kStart) || Rest().size() == kStart.size() || !IsBlank(Rest()[kStart.size()])) return false;
  place_ += kStart.size();
  SkipBlanks();
  if (!Take(u"version")) FailHere(u"the XML declaration has to begin with \"version\"");
  if (Value() != u"1.0") Fail(valueStart_, u"the version has to be \"1.0\"");
  bool blanks = SkipBlanks();
  if (blanks && Take(u"encoding")) {
    encoding_ = Value();
    if (!IsEncodingName(encoding_)) Fail(valueStart_, u"this cannot be the name of an encoding");
    blanks = SkipBlanks();
  }
  if (blanks && Take(u"standalone")) {
    standalone_ = Value();
    if (standalone_ != u"yes" && standalone_ != u"no") Fail(valueStart_, u"\"standalone\" has to be \"yes\" or \"no\"");
    SkipBlanks();
  }
  Require(u"?>", u"at the end of the XML declaration");
  return true;
}

TextView DeclarationReader::Value() {
  TakeEquals();
  valueStart_ = place_;
  return TakeQuoted();
}

}  // namespace nerio::platform::xml
