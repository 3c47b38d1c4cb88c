#include "nerio/support/base64.h"

#include <new>
#include <utility>
#include <variant>

#include "nerio/platform/xml_dom.h"
#include "nerio/types/byte_view.h"
#include "nerio/types/error.h"
#include "nerio/types/variant.h"

namespace nerio {
namespace {

using platform::XmlDocument;
using platform::XmlNode;

constexpr TextView kBase64Type = u"bin.base64";

}  // namespace

std::int32_t EncodeBase64(TextView text, Text& encoded, const platform::Host& host) {
  try {
    platform::XmlDom& dom = host.xml;
    // The document is released first.
    XmlNode element;
    const XmlDocument document(dom, dom.CreateDocument());
    element = XmlNode(dom, dom.CreateElement(document.get(), u"TEMP"));
    dom.PutDataType(element.get(), kBase64Type);
    // The text itself may be `encoded`, which changes only after it was read for the last time.
    Text copy;
    dom.PutNodeTypedValue(element.get(), ByteView(text, copy));
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
    return TextOfBytes(std::get<Bytes>(value));
  } catch (...) {
    // Input that is not Base64, or no DOM to decode it: an empty text, as for no input.
    return {};
  }
}

}  // namespace nerio
