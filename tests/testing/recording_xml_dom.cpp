#include "tests/testing/recording_xml_dom.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <utility>

namespace nerio::testing {

using platform::XmlObject;

namespace {

std::string Quoted(TextView text) {
  std::string out = "\"";
  for (const char16_t unit : text) {
    if (unit >= 0x20 && unit < 0x7F) {
      out += static_cast<char>(unit);
    } else {
      char escape[7];
      static_cast<void>(std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit)));
      out += escape;
    }
  }
  return out += '"';
}

std::string Quoted(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out = "<";
  for (const std::uint8_t byte : bytes) out += {kDigits[byte >> 4], kDigits[byte & 0xF]};
  return out += '>';
}

}  // namespace

std::size_t RecordingXmlDom::OpenReferences() const {
  std::size_t open = 0;
  for (const auto& [object, count] : references_) open += count;
  return open;
}

void RecordingXmlDom::Enter(std::string call) {
  calls.push_back(std::move(call));
  if (++calledSince_ == failingCall_) std::rethrow_exception(failure_);
}

std::string RecordingXmlDom::NameOf(XmlObject* object) const {
  if (object == nullptr) return "null";
  const auto number = numbers_.find(object);
  return number != numbers_.end() ? std::to_string(number->second) : "unknown";
}

XmlObject* RecordingXmlDom::Returned(XmlObject* object) {
  if (object != nullptr) {
    if (references_[object]++ == 0) numbers_[object] = ++lastNumber_;
  }
  calls.back() += " = " + NameOf(object);
  return object;
}

XmlObject* RecordingXmlDom::CreateDocumentByName() {
  Enter("CreateDocumentByName()");
  return Returned(dom_.CreateDocumentByName());
}

XmlObject* RecordingXmlDom::CreateDocument() {
  Enter("CreateDocument()");
  return Returned(dom_.CreateDocument());
}

XmlObject* RecordingXmlDom::CreateElement(XmlObject* document, TextView name) {
  Enter("CreateElement(" + NameOf(document) + ", " + Quoted(name) + ")");
  return Returned(dom_.CreateElement(document, name));
}

XmlObject* RecordingXmlDom::CreateAttribute(XmlObject* document, TextView name) {
  Enter("CreateAttribute(" + NameOf(document) + ", " + Quoted(name) + ")");
  return Returned(dom_.CreateAttribute(document, name));
}

XmlObject* RecordingXmlDom::Attributes(XmlObject* node) {
  Enter("Attributes(" + NameOf(node) + ")");
  return Returned(dom_.Attributes(node));
}

XmlObject* RecordingXmlDom::GetNamedItem(XmlObject* attributes, TextView name) {
  Enter("GetNamedItem(" + NameOf(attributes) + ", " + Quoted(name) + ")");
  return Returned(dom_.GetNamedItem(attributes, name));
}

XmlObject* RecordingXmlDom::SetNamedItem(XmlObject* attributes, XmlObject* attribute) {
  Enter("SetNamedItem(" + NameOf(attributes) + ", " + NameOf(attribute) + ")");
  return Returned(dom_.SetNamedItem(attributes, attribute));
}

XmlObject* RecordingXmlDom::AppendChild(XmlObject* parent, XmlObject* child) {
  Enter("AppendChild(" + NameOf(parent) + ", " + NameOf(child) + ")");
  return Returned(dom_.AppendChild(parent, child));
}

void RecordingXmlDom::PutText(XmlObject* node, TextView text) {
  Enter("PutText(" + NameOf(node) + ", " + Quoted(text) + ")");
  dom_.PutText(node, text);
}

Text RecordingXmlDom::GetText(XmlObject* node) {
  Enter("GetText(" + NameOf(node) + ")");
  return dom_.GetText(node);
}

void RecordingXmlDom::PutDataType(XmlObject* node, TextView type) {
  Enter("PutDataType(" + NameOf(node) + ", " + Quoted(type) + ")");
  dom_.PutDataType(node, type);
}

void RecordingXmlDom::PutNodeTypedValue(XmlObject* node, std::span<const std::uint8_t> bytes) {
  Enter("PutNodeTypedValue(" + NameOf(node) + ", " + Quoted(bytes) + ")");
  dom_.PutNodeTypedValue(node, bytes);
}

Variant RecordingXmlDom::GetNodeTypedValue(XmlObject* node) {
  Enter("GetNodeTypedValue(" + NameOf(node) + ")");
  return dom_.GetNodeTypedValue(node);
}

bool RecordingXmlDom::LoadXml(XmlObject* document, TextView xml) {
  Enter("LoadXml(" + NameOf(document) + ", " + Quoted(xml) + ")");
  return dom_.LoadXml(document, xml);
}

platform::XmlLoadError RecordingXmlDom::LoadError(XmlObject* document) {
  Enter("LoadError(" + NameOf(document) + ")");
  return dom_.LoadError(document);
}

XmlObject* RecordingXmlDom::SelectSingleNode(XmlObject* node, TextView query) {
  Enter("SelectSingleNode(" + NameOf(node) + ", " + Quoted(query) + ")");
  return Returned(dom_.SelectSingleNode(node, query));
}

Text RecordingXmlDom::GetXml(XmlObject* node) {
  Enter("GetXml(" + NameOf(node) + ")");
  return dom_.GetXml(node);
}

void RecordingXmlDom::AddRef(XmlObject* object) noexcept {
  calls.push_back("AddRef(" + NameOf(object) + ")");
  ++references_[object];
  dom_.AddRef(object);
}

void RecordingXmlDom::Release(XmlObject* object) noexcept {
  calls.push_back("Release(" + NameOf(object) + ")");
  if (references_[object] == 0) {
    ADD_FAILURE() << "released without a reference: " << NameOf(object);
    return;
  }
  --references_[object];
  dom_.Release(object);
}

}  // namespace nerio::testing
