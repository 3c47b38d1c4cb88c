#include "nerio/platform/host.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <new>
#include <utility>

#include "nerio/hosts/linux/file_system.h"
#include "nerio/hosts/linux/guid_source.h"
#include "nerio/hosts/linux/module_location.h"
#include "nerio/hosts/linux/regional_settings.h"
#include "nerio/hosts/linux/store/registry.h"
#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/hosts/portable/xml/xml_dom.h"

namespace nerio::platform {
namespace {

// The services of this system. Making them does no I/O: the registry and the regional settings ask the environment on
// their first call.
struct LinuxServices {
  explicit LinuxServices(std::filesystem::path registryFolder = {}) : registry(std::move(registryFolder)) {}

  LinuxRegistry registry;
  CodePage1252 codePage;
  PosixFileSystem files;
  LinuxModuleLocation module;
  LinuxGuidSource guids;
  PortableXmlDom xml;
  PortableRegionalSettings regional{EnvironmentRegion};

  Host View() noexcept { return {registry, codePage, files, module, guids, xml, regional}; }
};

class LinuxHost final : public HostInstance {
 public:
  explicit LinuxHost(const HostOptions& options) : services_(options.registryFolder) {}
  Host Services() override { return services_.View(); }

 private:
  LinuxServices services_;
};

// Lives until the process ends and is never destroyed, so that it serves code that runs while the library is unloaded.
struct ProcessHost {
  alignas(LinuxServices) std::byte memory[sizeof(LinuxServices)];
  Host view;

  ProcessHost() noexcept : view((new (memory) LinuxServices)->View()) {}
};

}  // namespace

std::unique_ptr<HostInstance> OpenHost(const HostOptions& options) { return std::make_unique<LinuxHost>(options); }

const Host& ThisHost() noexcept {
  static const ProcessHost host;
  return host.view;
}

}  // namespace nerio::platform
