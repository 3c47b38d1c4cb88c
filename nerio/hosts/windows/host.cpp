#include "nerio/platform/host.h"

#include <cstddef>
#include <new>

#include "nerio/hosts/windows/automation/com_apartment.h"
#include "nerio/hosts/windows/automation/regional_settings.h"
#include "nerio/hosts/windows/automation/xml_dom.h"
#include "nerio/hosts/windows/code_page.h"
#include "nerio/hosts/windows/file_system.h"
#include "nerio/hosts/windows/guid_source.h"
#include "nerio/hosts/windows/module_location.h"
#include "nerio/hosts/windows/registry.h"

namespace nerio::platform {
namespace {

// The DOM of a program, whose threads nobody else puts into a COM apartment: each one enters its own with its first
// document and leaves it when it ends.
class ProgramXmlDom final : public WindowsXmlDom {
 public:
  XmlObject* CreateDocumentByName() override {
    EnterApartment();
    return WindowsXmlDom::CreateDocumentByName();
  }
  XmlObject* CreateDocument() override {
    EnterApartment();
    return WindowsXmlDom::CreateDocument();
  }

 private:
  static void EnterApartment() { thread_local const ComApartment apartment; }
};

// The services of this system. They hold nothing: every call goes straight to the system.
template <typename Dom>
class WindowsHost final : public HostInstance {
 public:
  Host Services() override { return {registry_, codePage_, files_, module_, guids_, xml_, regional_}; }

 private:
  WindowsRegistry registry_;
  WindowsCodePage codePage_;
  WindowsFileSystem files_;
  WindowsModuleLocation module_;
  WindowsGuidSource guids_;
  Dom xml_;
  WindowsRegionalSettings regional_;
};

// The component's host: its threads are in their owners' apartments. It lives until the process ends and is never
// destroyed, so that nothing has to run when the library is unloaded.
struct ProcessHost {
  using ComponentHost = WindowsHost<WindowsXmlDom>;

  alignas(ComponentHost) std::byte memory[sizeof(ComponentHost)];
  Host view;

  ProcessHost() noexcept : view((new (memory) ComponentHost)->Services()) {}
};

}  // namespace

std::unique_ptr<HostInstance> OpenHost(const HostOptions&) { return std::make_unique<WindowsHost<ProgramXmlDom>>(); }

const Host& ThisHost() noexcept {
  static const ProcessHost host;
  return host.view;
}

}  // namespace nerio::platform
