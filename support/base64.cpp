#include "support/base64.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <new>
#include <span>
#include <utility>
#include <variant>

#include "platform/xml_dom.h"
#include "types/error.h"
#include "types/variant.h"

namespace nerio {
namespace {

using platform::XmlDocument;
using platform::XmlNode;

constexpr TextView kBase64Type = u"bin.base64";

// Puts the units of a text in the order of the byte view, or back: low byte first in memory.
void SwapUnlessLowFirst(Text& text) {
  if constexpr (std::endian::native == std::endian::big) {
    for (char16_t& unit : text) unit = static_cast<char16_t>(unit << 8 | unit >> 8);
  }
}

std::span<const std::uint8_t> ByteView(const Text& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size() * sizeof(char16_t)};
}

Text FromByteView(const Bytes& bytes) {
  // An odd last byte forms no unit.
  Text text(bytes.size() / sizeof(char16_t), u'\0');
  if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
  SwapUnlessLowFirst(text);
  return text;
}

}  // namespace

std::int32_t EncodeBase64(TextView text, Text& encoded, const platform::Host& host) {
  try {
    platform::XmlDom& dom = host.xml;
    Text copy(text);
    // The document is released first.
    XmlNode element;
    const XmlDocument document(dom, dom.CreateDocument());
    SwapUnlessLowFirst(copy);
    element = XmlNode(dom, dom.CreateElement(document.get(), u"TEMP"));
    dom.PutDataType(element.get(), kBase64Type);
    dom.PutNodeTypedValue(element.get(), ByteView(copy));
    encoded = dom.GetText(element.get());
    return 0;
  } catch (const Error& error) {
    return error.number();
  } catch (const std::bad_alloc&) {
    return kErrOutOfMemory;
  } catch (...) {
    return kErrInternal;
  }
}

Text DecodeBase64(const Text& encoded, const platform::Host& host) {
  try {
    platform::XmlDom& dom = host.xml;
    const XmlDocument document(dom, dom.CreateDocument());
    // Whether the fixed text was loaded is not looked at, deliberately.
    static_cast<void>(dom.LoadXml(document.get(), u"<DOC></DOC>"));
    // Selected afresh for each property, deliberately.
    const auto select = [&] { return XmlNode(dom, dom.SelectSingleNode(document.get(), u"DOC")); };
    dom.PutDataType(select().get(), kBase64Type);
    dom.PutText(select().get(), encoded);
    const Variant value = dom.GetNodeTypedValue(select().get());
    return FromByteView(std::get<Bytes>(value));
  } catch (...) {
    // Input that is not Base64, or no DOM to decode it: an empty text, as for no input.
    return {};
  }
}

}  // namespace nerio
