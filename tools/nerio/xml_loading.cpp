#include "tools/nerio/xml_loading.h"

#include "nerio/hosts/portable/xml/xml_dom.h"
#include "tools/nerio/progress.h"

namespace nerio::tool {

using platform::PortableXmlDom;

platform::XmlDom& ToolDom() {
  static PortableXmlDom dom;
  return dom;
}

bool LoadXmlText(Session& session, const platform::XmlDocument& document, TextView text) {
  Progress progress(session, "reading");
  const PortableXmlDom::Reached reached = [&](std::size_t done, std::size_t all) { progress.At(done, all); };
  return PortableXmlDom(&reached).LoadXml(document.get(), text);
}

}  // namespace nerio::tool
