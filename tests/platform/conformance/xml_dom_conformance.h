#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/xml_dom.h"

namespace nerio::testing {

/// In what implementations of `XmlDom` may differ. The values are those of the DOM in portable C++.
struct XmlDomTraits {
  /// Control characters and lone surrogates in a text are read back as they were stored.
  bool keepsEveryUnit = true;
  /// A second document element, an element below itself and an attribute of another element are refused.
  bool refusesWrongTrees = true;
  /// Documents built by calls are written on one line, without indentation.
  bool writesOneLine = true;
};

struct XmlDomImplementation {
  const char* name;
  std::unique_ptr<platform::XmlDom> (*make)();
  XmlDomTraits traits;
};

/// What every implementation of `XmlDom` must do. Instantiate it with each one.
class XmlDomConformance : public ::testing::TestWithParam<XmlDomImplementation> {
 protected:
  platform::XmlReference Own(platform::XmlObject* taken) { return {*dom_, taken}; }
  platform::XmlDocument NewDocument() { return Own(dom_->CreateDocument()); }
  platform::XmlDocument Loaded(TextView xml);
  platform::XmlNode Element(const platform::XmlDocument& document, TextView name) {
    return Own(dom_->CreateElement(document.get(), name));
  }
  platform::XmlNode Select(const platform::XmlReference& node, TextView query) {
    return Own(dom_->SelectSingleNode(node.get(), query));
  }
  /// Appends through the DOM and gives the returned reference back.
  void Append(const platform::XmlReference& parent, const platform::XmlReference& child) {
    Own(dom_->AppendChild(parent.get(), child.get()));
  }
  platform::XmlNode Attribute(const platform::XmlNode& element, TextView name);
  /// Creates an attribute with a value and sets it.
  void SetAttribute(const platform::XmlDocument& document, const platform::XmlNode& element, TextView name,
                    TextView value);
  /// Returns the node written as XML, in UTF-8, without the line end behind a document.
  std::string Xml(const platform::XmlReference& node);

  const XmlDomTraits traits_ = GetParam().traits;
  const std::unique_ptr<platform::XmlDom> dom_ = GetParam().make();
};

}  // namespace nerio::testing
