#pragma once

#include "nerio/platform/host.h"

namespace nerio::testing {

/// A host for tests: each service that a test does not give is one that throws std::logic_error naming itself, so a
/// test also proves which services a routine leaves alone. The given services are borrowed.
struct FakeHost {
  platform::RegistryApi* registry = nullptr;
  platform::CodePage* codePage = nullptr;
  platform::FileSystem* files = nullptr;
  platform::ModuleLocation* module = nullptr;
  platform::GuidSource* guids = nullptr;
  platform::XmlDom* xml = nullptr;
  platform::RegionalSettings* regional = nullptr;

  /// Returns the view to hand to a routine; valid as long as the given services live.
  platform::Host View() const;
};

}  // namespace nerio::testing
