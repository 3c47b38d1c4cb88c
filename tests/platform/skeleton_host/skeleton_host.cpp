// A host made by nerio/platform/PORTING.md alone: the services that a port starts from, each of which answers a
// failure.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "nerio/platform/host.h"
#include "nerio/types/error.h"

namespace nerio::platform {
namespace {

// The system has no such call.
constexpr Status kNoSuchCall{120};
constexpr SystemStatus kNotSupported{120};
constexpr AutomationStatus kNotImplemented{-2147467263};

class NoRegistry final : public RegistryApi {
 public:
  Status OpenKey(KeyHandle, const AnsiText&, std::uint32_t, std::uint32_t, KeyHandle&) override { return kNoSuchCall; }
  Status CreateKey(KeyHandle, const AnsiText&, std::uint32_t, const AnsiText&, std::uint32_t, std::uint32_t,
                   const SecurityAttributes&, KeyHandle&, std::uint32_t&) override {
    return kNoSuchCall;
  }
  Status QueryValue(KeyHandle, const AnsiText&, std::uint32_t&, std::span<char>, std::uint32_t&) override {
    return kNoSuchCall;
  }
  Status SetValue(KeyHandle, const AnsiText&, std::uint32_t, std::uint32_t, std::span<const char>) override {
    return kNoSuchCall;
  }
  Status DeleteKey(KeyHandle, const AnsiText&) override { return kNoSuchCall; }
  Status DeleteValue(KeyHandle, const AnsiText&) override { return kNoSuchCall; }
  Status CloseKey(KeyHandle) override { return kNoSuchCall; }
  Status EnumKey(KeyHandle, std::uint32_t, AnsiText&) override { return kNoSuchCall; }
  Status EnumValue(KeyHandle, std::uint32_t, AnsiText&, std::uint32_t&, std::string&) override { return kNoSuchCall; }
};

// The one service that cannot fail: it replaces whatever it cannot hold, which here is everything.
class NoCodePage final : public CodePage {
 public:
  std::uint32_t Identifier() override { return 0; }
  AnsiText ToAnsi(TextView text) override { return AnsiText(std::string(text.size(), '?')); }
  Text ToText(std::string_view bytes) override { return Text(bytes.size(), u'?'); }
};

class NoFiles final : public FileSystem {
 public:
  SystemStatus FindOrdinaryFile(const Text&, bool& found) override {
    found = false;
    return kNotSupported;
  }
  SystemStatus OpenForAppend(const Text&, FileHandle&) override { return kNotSupported; }
  SystemStatus Append(FileHandle, std::span<const char>) override { return kNotSupported; }
  SystemStatus Close(FileHandle) override { return kNotSupported; }
  Text Describe(SystemStatus) override { return u"not there"; }
};

class NoModule final : public ModuleLocation {
 public:
  SystemStatus Folder(Text&) override { return kNotSupported; }
};

class NoGuids final : public GuidSource {
 public:
  SystemStatus Create(GuidBytes&) override { return kNotSupported; }
};

class NoXmlDom final : public XmlDom {
 public:
  XmlObject* CreateDocumentByName() override { Refuse(); }
  XmlObject* CreateDocument() override { Refuse(); }
  XmlObject* CreateElement(XmlObject*, TextView) override { Refuse(); }
  XmlObject* CreateAttribute(XmlObject*, TextView) override { Refuse(); }
  XmlObject* Attributes(XmlObject*) override { Refuse(); }
  XmlObject* GetNamedItem(XmlObject*, TextView) override { Refuse(); }
  XmlObject* SetNamedItem(XmlObject*, XmlObject*) override { Refuse(); }
  XmlObject* AppendChild(XmlObject*, XmlObject*) override { Refuse(); }
  void PutText(XmlObject*, TextView) override { Refuse(); }
  Text GetText(XmlObject*) override { Refuse(); }
  void PutDataType(XmlObject*, TextView) override { Refuse(); }
  void PutNodeTypedValue(XmlObject*, std::span<const std::uint8_t>) override { Refuse(); }
  Variant GetNodeTypedValue(XmlObject*) override { Refuse(); }
  bool LoadXml(XmlObject*, TextView) override { Refuse(); }
  XmlLoadError LoadError(XmlObject*) override { Refuse(); }
  XmlObject* SelectSingleNode(XmlObject*, TextView) override { Refuse(); }
  Text GetXml(XmlObject*) override { Refuse(); }
  void AddRef(XmlObject*) noexcept override {}
  void Release(XmlObject*) noexcept override {}

 private:
  [[noreturn]] static void Refuse() { throw Error(kErrClassNotRegistered, u"XmlDom", u"not there"); }
};

class NoRegion final : public RegionalSettings {
 public:
  Text RegionName() override { return {}; }
  AutomationStatus DateFromText(TextView, Date&) override { return kNotImplemented; }
  AutomationStatus TextFromDate(Date, Text&) override { return kNotImplemented; }
  AutomationStatus TextFromDouble(double, Text&) override { return kNotImplemented; }
  AutomationStatus TextFromSingle(float, Text&) override { return kNotImplemented; }
  AutomationStatus TextFromCurrency(Currency, Text&) override { return kNotImplemented; }
  AutomationStatus TextFromDecimal(Decimal, Text&) override { return kNotImplemented; }
};

struct AllServices {
  NoRegistry registry;
  NoCodePage codePage;
  NoFiles files;
  NoModule module;
  NoGuids guids;
  NoXmlDom xml;
  NoRegion regional;

  Host View() noexcept { return {registry, codePage, files, module, guids, xml, regional}; }
};

class SkeletonHost final : public HostInstance {
 public:
  Host Services() override { return services_.View(); }

 private:
  AllServices services_;
};

// Never destroyed, so that it serves until the process ends.
struct ProcessHost {
  alignas(AllServices) std::byte memory[sizeof(AllServices)];
  Host view;

  ProcessHost() noexcept : view((new (memory) AllServices)->View()) {}
};

}  // namespace

std::unique_ptr<HostInstance> OpenHost(const HostOptions&) { return std::make_unique<SkeletonHost>(); }

const Host& ThisHost() noexcept {
  static const ProcessHost host;
  return host.view;
}

}  // namespace nerio::platform
