#include "nerio/support/xml.h"

#include "nerio/types/error.h"

namespace nerio {

using platform::XmlDocument;
using platform::XmlDom;
using platform::XmlNode;
using platform::XmlReference;

namespace {

// The DOM of a reference. A reference that was never given one is empty, so that its use is error 91.
XmlDom& DomOf(const XmlReference& reference) {
  if (reference.dom() == nullptr) RaiseObjectNotSet();
  return *reference.dom();
}

// A DOM takes any handle for one of its own, so another's must not reach it.
XmlDom& OneDomOf(const XmlReference& first, const XmlReference& second) {
  if (&DomOf(first) != &DomOf(second))
    throw Error(platform::kErrDomArgument, u"XmlDom", u"the document and the node belong to two DOMs");
  return *first.dom();
}

}  // namespace

bool CheckXMLParser(const platform::Host& host) {
  try {
    const XmlDocument released(host.xml, host.xml.CreateDocumentByName());
  } catch (...) {
    // Whatever stands against creating a document: the DOM cannot be used.
    return false;
  }
  return true;
}

void SetXMLAttribute(const XmlDocument& document, const XmlNode& node, TextView name, TextView value) {
  XmlDom& dom = DomOf(node);
  const XmlReference attributes(dom, dom.Attributes(node.get()));
  XmlNode attribute(dom, dom.GetNamedItem(attributes.get(), name));
  if (!attribute) {
    attribute = XmlNode(dom, OneDomOf(document, node).CreateAttribute(document.get(), name));
    const XmlNode discarded(dom, dom.SetNamedItem(attributes.get(), attribute.get()));
  }
  dom.PutText(attribute.get(), value);
}

XmlNode AddXMLElement(const XmlDocument& document, const XmlNode& parent, const Text& name, TextView text) {
  XmlDom& dom = DomOf(document);
  XmlNode element(dom, dom.CreateElement(document.get(), name));
  const XmlNode discarded(dom, OneDomOf(document, parent).AppendChild(parent.get(), element.get()));
  dom.PutText(element.get(), text);
  return element;
}

}  // namespace nerio
