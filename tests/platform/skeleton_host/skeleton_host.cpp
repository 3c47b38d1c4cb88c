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
#include "nerio/platform/large_memory.h"
#include "nerio/types/error.h"

namespace nerio::platform {
namespace {

constexpr Status kNotThere = 120;  // the system has no such call

class NoRegistry final : public RegistryApi {
 public:
  Status OpenKey(KeyHandle, const AnsiText&, std::uint32_t, std::uint32_t, KeyHandle&) override { return kNotThere; }
  Status CreateKey(KeyHandle, const AnsiText&, std::uint32_t, const AnsiText&, std::uint32_t, std::uint32_t,
                   const SecurityAttributes&, KeyHandle&, std::uint32_t&) override {
    return kNotThere;
  }
  Status QueryValue(KeyHandle, const AnsiText&, std::uint32_t&, std::span<char>, std::uint32_t&) override {
    return kNotThere;
  }
  Status SetValue(KeyHandle, const AnsiText&, std::uint32_t, std::uint32_t, std::span<const char>) override {
    return kNotThere;
  }
  Status DeleteKey(KeyHandle, const AnsiText&) override { return kNotThere; }
  Status DeleteValue(KeyHandle, const AnsiText&) override { return kNotThere; }
  Status CloseKey(KeyHandle) override { return kNotThere; }
  Status EnumKey(KeyHandle, std::uint32_t, AnsiText&) override { return kNotThere; }
  Status EnumValue(KeyHandle, std::uint32_t, AnsiText&, std::uint32_t&, std::string&) override { return kNotThere; }
};

// The one service that cannot fail: it replaces whatever it cannot hold, which here is everything.
class NoCodePage final : public CodePage {
 public:
  std::uint32_t Identifier() override { return 0; }
  AnsiText ToAnsi(TextView text) override { return AnsiText(text.size(), '?'); }
  Text ToText(std::string_view bytes) override { return Text(bytes.size(), u'?'); }
};

class NoFiles final : public FileSystem {
 public:
  Status FindOrdinaryFile(const Text&, bool& found) override {
    found = false;
    return kNotThere;
  }
  Status OpenForAppend(const Text&, FileHandle&) override { return kNotThere; }
  Status Append(FileHandle, std::span<const char>) override { return kNotThere; }
  Status Close(FileHandle) override { return kNotThere; }
  Text Describe(Status) override { return u"not there"; }
};

class NoModule final : public ModuleLocation {
 public:
  Status Folder(Text&) override { return kNotThere; }
};

class NoGuids final : public GuidSource {
 public:
  Status Create(GuidBytes&) override { return kNotThere; }
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
  Status DateFromText(TextView, Date&) override { return kNotThere; }
  Status TextFromDate(Date, Text&) override { return kNotThere; }
  Status TextFromDouble(double, Text&) override { return kNotThere; }
  Status TextFromSingle(float, Text&) override { return kNotThere; }
  Status TextFromCurrency(Currency, Text&) override { return kNotThere; }
  Status TextFromDecimal(Decimal, Text&) override { return kNotThere; }
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

void AskForLargePages(void*, std::size_t) noexcept {}

}  // namespace nerio::platform
