#include "tests/testing/fake_host.h"

#include <stdexcept>
#include <string>

namespace nerio::testing {
namespace {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

[[noreturn]] void NotGiven(const char* service) { throw std::logic_error(std::string("the test gave no ") + service); }

class NoRegistryApi : public RegistryApi {
 public:
  Status OpenKey(KeyHandle, const AnsiText&, std::uint32_t, std::uint32_t, KeyHandle&) override {
    NotGiven("registry");
  }
  Status CreateKey(KeyHandle, const AnsiText&, std::uint32_t, const AnsiText&, std::uint32_t, std::uint32_t,
                   const SecurityAttributes&, KeyHandle&, std::uint32_t&) override {
    NotGiven("registry");
  }
  Status QueryValue(KeyHandle, const AnsiText&, std::uint32_t&, std::span<char>, std::uint32_t&) override {
    NotGiven("registry");
  }
  Status SetValue(KeyHandle, const AnsiText&, std::uint32_t, std::uint32_t, std::span<const char>) override {
    NotGiven("registry");
  }
  Status DeleteKey(KeyHandle, const AnsiText&) override { NotGiven("registry"); }
  Status DeleteValue(KeyHandle, const AnsiText&) override { NotGiven("registry"); }
  Status CloseKey(KeyHandle) override { NotGiven("registry"); }
  Status EnumKey(KeyHandle, std::uint32_t, AnsiText&) override { NotGiven("registry"); }
  Status EnumValue(KeyHandle, std::uint32_t, AnsiText&, std::uint32_t&, std::string&) override { NotGiven("registry"); }
};

class NoCodePage : public CodePage {
 public:
  std::uint32_t Identifier() override { NotGiven("code page"); }
  AnsiText ToAnsi(TextView) override { NotGiven("code page"); }
  Text ToText(std::string_view) override { NotGiven("code page"); }
};

class NoFileSystem : public FileSystem {
 public:
  SystemStatus FindOrdinaryFile(const Text&, bool&) override { NotGiven("file system"); }
  SystemStatus OpenForAppend(const Text&, FileHandle&) override { NotGiven("file system"); }
  SystemStatus Append(FileHandle, std::span<const char>) override { NotGiven("file system"); }
  SystemStatus Close(FileHandle) override { NotGiven("file system"); }
  Text Describe(SystemStatus) override { NotGiven("file system"); }
};

class NoModuleLocation : public ModuleLocation {
 public:
  SystemStatus Folder(Text&) override { NotGiven("module location"); }
};

class NoGuidSource : public GuidSource {
 public:
  SystemStatus Create(GuidBytes&) override { NotGiven("GUID source"); }
};

class NoXmlDom : public XmlDom {
 public:
  XmlObject* CreateDocumentByName() override { NotGiven("XML DOM"); }
  XmlObject* CreateDocument() override { NotGiven("XML DOM"); }
  XmlObject* CreateElement(XmlObject*, TextView) override { NotGiven("XML DOM"); }
  XmlObject* CreateAttribute(XmlObject*, TextView) override { NotGiven("XML DOM"); }
  XmlObject* Attributes(XmlObject*) override { NotGiven("XML DOM"); }
  XmlObject* GetNamedItem(XmlObject*, TextView) override { NotGiven("XML DOM"); }
  XmlObject* SetNamedItem(XmlObject*, XmlObject*) override { NotGiven("XML DOM"); }
  XmlObject* AppendChild(XmlObject*, XmlObject*) override { NotGiven("XML DOM"); }
  void PutText(XmlObject*, TextView) override { NotGiven("XML DOM"); }
  Text GetText(XmlObject*) override { NotGiven("XML DOM"); }
  void PutDataType(XmlObject*, TextView) override { NotGiven("XML DOM"); }
  void PutNodeTypedValue(XmlObject*, std::span<const std::uint8_t>) override { NotGiven("XML DOM"); }
  Variant GetNodeTypedValue(XmlObject*) override { NotGiven("XML DOM"); }
  bool LoadXml(XmlObject*, TextView) override { NotGiven("XML DOM"); }
  XmlLoadError LoadError(XmlObject*) override { NotGiven("XML DOM"); }
  XmlObject* SelectSingleNode(XmlObject*, TextView) override { NotGiven("XML DOM"); }
  Text GetXml(XmlObject*) override { NotGiven("XML DOM"); }
  void AddRef(XmlObject*) noexcept override {}
  void Release(XmlObject*) noexcept override {}
};

class NoRegionalSettings : public RegionalSettings {
 public:
  Text RegionName() override { NotGiven("regional settings"); }
  AutomationStatus DateFromText(TextView, Date&) override { NotGiven("regional settings"); }
  AutomationStatus TextFromDate(Date, Text&) override { NotGiven("regional settings"); }
  AutomationStatus TextFromDouble(double, Text&) override { NotGiven("regional settings"); }
  AutomationStatus TextFromSingle(float, Text&) override { NotGiven("regional settings"); }
  AutomationStatus TextFromCurrency(Currency, Text&) override { NotGiven("regional settings"); }
  AutomationStatus TextFromDecimal(Decimal, Text&) override { NotGiven("regional settings"); }
};

// Stateless, so one of each serves every test.
NoRegistryApi noRegistry;
NoCodePage noCodePage;
NoFileSystem noFiles;
NoModuleLocation noModule;
NoGuidSource noGuids;
NoXmlDom noXml;
NoRegionalSettings noRegional;

template <typename Service>
Service& Given(Service* given, Service& otherwise) {
  return given != nullptr ? *given : otherwise;
}

}  // namespace

platform::Host FakeHost::View() const {
  return {Given<RegistryApi>(registry, noRegistry),
          Given<CodePage>(codePage, noCodePage),
          Given<FileSystem>(files, noFiles),
          Given<ModuleLocation>(module, noModule),
          Given<GuidSource>(guids, noGuids),
          Given<XmlDom>(xml, noXml),
          Given<RegionalSettings>(regional, noRegional)};
}

}  // namespace nerio::testing
