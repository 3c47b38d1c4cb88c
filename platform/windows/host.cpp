#include "platform/host.h"

#include <cstddef>
#include <new>

#include "platform/windows/code_page.h"
#include "platform/windows/com_apartment.h"
#include "platform/windows/file_system.h"
#include "platform/windows/guid_source.h"
#include "platform/windows/module_location.h"
#include "platform/windows/regional_settings.h"
#include "platform/windows/registry.h"
#include "platform/windows/xml_dom.h"

namespace nerio::platform {
namespace {

// The services of this system. They hold nothing: every call goes straight to the system.
struct Services {
  WindowsRegistry registry;
  WindowsCodePage codePage;
  WindowsFileSystem files;
  WindowsModuleLocation module;
  WindowsGuidSource guids;
  WindowsXmlDom xml;
  WindowsRegionalSettings regional;

  Host View() noexcept { return {registry, codePage, files, module, guids, xml, regional}; }
};

// Whoever opens a host is a program; the thread that opens it is in a COM apartment as long as the host lives.
class WindowsHost final : public HostInstance {
 public:
  Host Services() override { return services_.View(); }

 private:
  ComApartment apartment_;
  struct Services services_;
};

// Lives until the process ends and is never destroyed: a component may be unloaded while nothing runs any destructor.
struct ProcessHost {
  alignas(Services) std::byte memory[sizeof(Services)];
  Host view;

  ProcessHost() noexcept : view((new (memory) Services)->View()) {}
};

}  // namespace

std::unique_ptr<HostInstance> OpenHost(const HostOptions&) { return std::make_unique<WindowsHost>(); }

const Host& ThisHost() noexcept {
  static const ProcessHost host;
  return host.view;
}

}  // namespace nerio::platform
