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
class LinuxHost final : public HostInstance {
 public:
  explicit LinuxHost(std::filesystem::path registryFolder = {}) : registry_(std::move(registryFolder)) {}
  Host Services() override { return {registry_, codePage_, files_, module_, guids_, xml_, regional_}; }

 private:
  LinuxRegistry registry_;
  CodePage1252 codePage_;
  PosixFileSystem files_;
  LinuxModuleLocation module_;
  LinuxGuidSource guids_;
  PortableXmlDom xml_;
  PortableRegionalSettings regional_{EnvironmentRegion};
};

// Lives until the process ends and is never destroyed, so that it serves code that runs while the library is unloaded.
struct ProcessHost {
  alignas(LinuxHost) std::byte memory[sizeof(LinuxHost)];
  Host view;

  ProcessHost() noexcept : view((new (memory) LinuxHost)->Services()) {}
};

// Made when the library is loaded: a child that is forked while another thread makes it would wait for it for ever.
[[maybe_unused]] const Host& madeWhenLoaded = ThisHost();

}  // namespace

std::unique_ptr<HostInstance> OpenHost(const HostOptions& options) {
  return std::make_unique<LinuxHost>(options.registryFolder);
}

const Host& ThisHost() noexcept {
  static const ProcessHost host;
  return host.view;
}

}  // namespace nerio::platform
