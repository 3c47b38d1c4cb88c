// Loads any bytes as an XML file. What is accepted is written and loaded again: nothing may change from then on, and
// the reason of a refusal has to lie within the text.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "nerio/hosts/portable/xml/xml_dom.h"
#include "tools/nerio/xml_bytes.h"

namespace {

using nerio::Text;
using nerio::fuzz::Require;
using nerio::platform::PortableXmlDom;
using nerio::platform::XmlDocument;
using nerio::platform::XmlLoadError;

// Counts the lines of a text as XML does: CR LF, CR and LF end one.
std::int32_t Lines(const Text& text) {
  std::int32_t lines = 1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\n' || (text[i] == u'\r' && (i + 1 == text.size() || text[i + 1] != u'\n'))) ++lines;
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Text text;
  XmlLoadError error;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (!nerio::tool::DecodeXmlBytes(bytes, text, error)) {
    Require(!error.reason.empty() && error.line >= 1 && error.column >= 1);
    return 0;
  }

  PortableXmlDom dom;
  const XmlDocument document(dom, dom.CreateDocument());
  if (!dom.LoadXml(document.get(), text)) {
    error = dom.LoadError(document.get());
    Require(!error.reason.empty() && error.line >= 1 && error.line <= Lines(text) && error.column >= 1);
    Require(dom.GetXml(document.get()).empty());
    return 0;
  }
  Require(dom.LoadError(document.get()) == XmlLoadError());
  const Text written = dom.GetXml(document.get());
  const Text content = dom.GetText(document.get());

  const XmlDocument again(dom, dom.CreateDocument());
  Require(dom.LoadXml(again.get(), written));
  Require(nerio::fuzz::AsAnswered(dom.GetXml(again.get()), u'&') == written);
  Require(dom.GetText(again.get()) == content);

  // Over the loaded content, and through the memory that it gives back.
  Require(dom.LoadXml(document.get(), written));
  Require(dom.GetXml(document.get()) == written);
  return 0;
}
