#pragma once

#include <filesystem>
#include <memory>

#include "nerio/platform/code_page.h"
#include "nerio/platform/file_system.h"
#include "nerio/platform/guid_source.h"
#include "nerio/platform/module_location.h"
#include "nerio/platform/regional_settings.h"
#include "nerio/platform/registry_api.h"
#include "nerio/platform/xml_dom.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// Shows the services of one host. A view: it owns nothing and copies freely; whoever made the services outlives it.
struct Host {
  RegistryApi& registry;
  CodePage& codePage;
  FileSystem& files;
  ModuleLocation& module;
  GuidSource& guids;
  XmlDom& xml;
  RegionalSettings& regional;
};

/// Says how a host is opened.
struct HostOptions {
  /// The folder that holds all registry roots. Empty: where the system keeps them (on Linux the folder that the environment
  /// variable NERIO_REGISTRY names, else the machine's registry for whoever may use it and the user's own for everybody
  /// else; README.md has the table). Windows has one registry and ignores it.
  std::filesystem::path registryFolder;
};

/// Owns the implementations of one host's services.
class NERIO_PUBLIC HostInstance {
 public:
  virtual ~HostInstance() = default;

  /// Returns the view of the services, valid as long as this object lives.
  virtual Host Services() = 0;
};

/// Opens a host of this system, independent of every other one. No service does any I/O before its first call; on Linux
/// the folder of the library was found out when its file was loaded.
NERIO_PUBLIC std::unique_ptr<HostInstance> OpenHost(const HostOptions& options = {});

/// Returns the process's own host. It is made on first use, without any I/O, and never swapped; its services open
/// themselves on their first call and report failures from there.
NERIO_PUBLIC const Host& ThisHost() noexcept;

}  // namespace nerio::platform
