#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "nerio/platform/xml_dom.h"

namespace nerio::testing {

/// In what implementations of `XmlDom` may differ. The values are those of the DOM in portable C++. Where one is false
/// the tests hold the implementation to what it does instead.
struct XmlDomTraits {
  /// Units that XML does not have, such as control characters, are read back from a text as they were stored. Otherwise
  /// only the characters of XML are.
  bool keepsEveryUnit = true;
  /// A document is written on one line. Otherwise each element without text of its own is indented by tabs.
  bool writesOneLine = true;
  /// A node that gave way to another, and is held, keeps what is in it. Otherwise it must not be touched any more.
  bool keepsWhatGaveWay = true;
  /// A document with a prefix that is declared nowhere is not well-formed. Otherwise it is.
  bool refusesUndeclaredPrefix = true;
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
  /// Returns the same without the indentation that the implementation may give it. No text may hold a line end or tab.
  std::string OneLine(const platform::XmlReference& node);

  const XmlDomTraits traits_ = GetParam().traits;
  const std::unique_ptr<platform::XmlDom> dom_ = GetParam().make();
};

/// What an implementation does with trees that no document can have: a second document element, an element below
/// itself, an attribute of another element or document. Instantiate it with those that refuse them; the others would
/// link such nodes and damage their own memory.
class XmlDomRefusals : public XmlDomConformance {};

}  // namespace nerio::testing
