// Loads any bytes as an XML file with this library, with expat and with libxml2: they agree on whether it is a document
// and on what it holds, but for the differences listed below.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <regex>
#include <string>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "fuzz/xml_content_of.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/xml_bytes.h"

namespace {

using nerio::Text;
using nerio::fuzz::Content;
using nerio::fuzz::Require;

bool Has(const std::string& xml, std::string_view part) { return xml.find(part) != std::string::npos; }

// Where the parsers may differ, all of it, each with its reason. What cannot be compared at all is listed in
// xml_content_of.h.

// This library refuses a document type declaration, see xml_parser.h.
bool DiffersFromBoth(const std::string& xml) { return Has(xml, "<!DOCTYPE"); }

// Expat takes every version of XML; 1.0 is the only one of the fourth edition.
bool DiffersFromExpat(const std::string& xml) {
  static const std::regex version(R"(^<\?xml\s+version\s*=\s*(["'])1\.0\1)");
  return xml.starts_with("<?xml") && !std::regex_search(xml.substr(0, 200), version);
}

// Libxml2 takes a declaration without the white space that has to follow its encoding, and an element with two
// attributes xmlns:xml; expat and this library refuse both.
bool DiffersFromLibxml2(const std::string& xml, const Content& ours) {
  static const std::regex joined(R"(^<\?xml\s[^>]*\sencoding\s*=\s*(["'])[^"']*\1standalone)");
  constexpr std::string_view kXmlPrefix = "xmlns:xml";
  return !ours && ((xml.starts_with("<?xml") && std::regex_search(xml.substr(0, 200), joined)) ||
                   xml.find(kXmlPrefix) != xml.rfind(kXmlPrefix));
}

void Compare(const std::string& xml, const Content& ours, const Content& theirs, const char* whose) {
  if (ours == theirs) return;
  std::fprintf(stderr, "%s and this library differ on:\n%s\n-- ours:\n%s\n-- theirs:\n%s\n", whose, xml.c_str(),
               ours.value_or("refused").c_str(), theirs.value_or("refused").c_str());
  Require(false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Text text;
  nerio::platform::XmlLoadError error;
  if (!nerio::tool::DecodeXmlBytes({reinterpret_cast<const char*>(data), size}, text, error)) return 0;
  // The oracles read the text in UTF-8, so that what encodings each of them knows plays no part.
  const std::string xml = nerio::ToUtf8(text);
  if (DiffersFromBoth(xml)) return 0;
  Content ours = nerio::fuzz::ContentOf(text);
  if (ours) ours = nerio::fuzz::AsAnswered(*ours, ']');
  if (!DiffersFromExpat(xml)) Compare(xml, ours, nerio::fuzz::ContentByExpat(xml), "expat");
  if (!DiffersFromLibxml2(xml, ours)) Compare(xml, ours, nerio::fuzz::ContentByLibxml2(xml), "libxml2");
  return 0;
}
