#pragma once

#include <cstddef>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "nerio/platform/xml_dom.h"

namespace nerio::testing {

/// Wraps an `XmlDom`: passes each call on, keeps it in a transcript, counts references and can make one call fail.
///
/// An object gets the next number when a call returns it while no reference to it is held. A call that returns one
/// reads `CreateElement(1, "TEMP") = 2`, a null handle `null`, a text `"..."` with \uXXXX for what is not printable
/// ASCII, bytes as hexadecimal digits in angle brackets. `AddRef` and `Release` stand in the transcript like others; a
/// `Release` too many fails the test.
class RecordingXmlDom : public platform::XmlDom {
 public:
  /// @param dom borrowed; does the work.
  explicit RecordingXmlDom(platform::XmlDom& dom) : dom_(dom) {}

  /// What was called, in order.
  std::vector<std::string> calls;

  /// Makes the `number`-th call that can fail, counted from 1 since now, throw `failure` and do nothing else. 0 makes
  /// no call fail.
  template <typename Failure>
  void FailCall(std::size_t number, const Failure& failure) {
    failingCall_ = number;
    failure_ = std::make_exception_ptr(failure);
    calledSince_ = 0;
  }
  /// Returns how many calls that can fail were made since the last `FailCall`.
  std::size_t CallsSince() const { return calledSince_; }

  /// Returns how many references were returned or added and not given back.
  std::size_t OpenReferences() const;

  platform::XmlObject* CreateDocumentByName() override;
  platform::XmlObject* CreateDocument() override;
  platform::XmlObject* CreateElement(platform::XmlObject* document, TextView name) override;
  platform::XmlObject* CreateAttribute(platform::XmlObject* document, TextView name) override;
  platform::XmlObject* Attributes(platform::XmlObject* node) override;
  platform::XmlObject* GetNamedItem(platform::XmlObject* attributes, TextView name) override;
  platform::XmlObject* SetNamedItem(platform::XmlObject* attributes, platform::XmlObject* attribute) override;
  platform::XmlObject* AppendChild(platform::XmlObject* parent, platform::XmlObject* child) override;
  void PutText(platform::XmlObject* node, TextView text) override;
  Text GetText(platform::XmlObject* node) override;
  void PutDataType(platform::XmlObject* node, TextView type) override;
  void PutNodeTypedValue(platform::XmlObject* node, std::span<const std::uint8_t> bytes) override;
  Variant GetNodeTypedValue(platform::XmlObject* node) override;
  bool LoadXml(platform::XmlObject* document, TextView xml) override;
  platform::XmlLoadError LoadError(platform::XmlObject* document) override;
  platform::XmlObject* SelectSingleNode(platform::XmlObject* node, TextView query) override;
  Text GetXml(platform::XmlObject* node) override;
  void AddRef(platform::XmlObject* object) noexcept override;
  void Release(platform::XmlObject* object) noexcept override;

 private:
  void Enter(std::string call);
  std::string NameOf(platform::XmlObject* object) const;
  platform::XmlObject* Returned(platform::XmlObject* object);

  platform::XmlDom& dom_;
  std::map<platform::XmlObject*, std::size_t> numbers_;
  std::map<platform::XmlObject*, std::size_t> references_;
  std::size_t lastNumber_ = 0;
  std::size_t failingCall_ = 0;
  std::size_t calledSince_ = 0;
  std::exception_ptr failure_;
};

}  // namespace nerio::testing
