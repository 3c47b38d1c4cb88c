#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "nerio/platform/registry_api.h"
#include "tests/testing/registry_access.h"

namespace nerio::testing {

/// One implementation of `RegistryApi`, opened to be tried. What it needs around it (a folder, a model) it owns.
class RegistryUnderTest {
 public:
  virtual ~RegistryUnderTest() = default;
  virtual platform::RegistryApi& Registry() = 0;
};

using RegistryFactory = std::unique_ptr<RegistryUnderTest> (*)();

struct RegistryImplementation {
  std::string name;
  RegistryFactory open;
  bool limitsPaths = false;  ///< it takes no whole path of more than 260 characters, as the recorded system does
};

/// Names the implementation in the lines that the runner prints.
void PrintTo(const RegistryImplementation& implementation, std::ostream* out);

/// Adds an implementation to those that the suite and the recorded calls are run over. One line at namespace scope does
/// it: `const bool kRegistered = RegisterRegistry("InMemory", StandAloneRegistry<InMemoryRegistry>);`. The name is made
/// of letters and digits. Always true.
bool RegisterRegistry(const std::string& name, RegistryFactory open, bool limitsPaths = false);

/// Returns every implementation of this program, in the order of their names.
std::vector<RegistryImplementation> RegisteredRegistries();

/// Makes an implementation that needs nothing around it.
template <typename Implementation>
std::unique_ptr<RegistryUnderTest> StandAloneRegistry() {
  class StandAlone final : public RegistryUnderTest {
   public:
    platform::RegistryApi& Registry() override { return registry_; }

   private:
    Implementation registry_;
  };
  return std::make_unique<StandAlone>();
}

/// What every implementation of `RegistryApi` must do. The tests work in an empty key of their own below
/// HKEY_LOCAL_MACHINE\Software. Their paths stay below 260 characters, as an implementation may limit the whole path.
class RegistryConformance : public ::testing::TestWithParam<RegistryImplementation> {
 protected:
  RegistryConformance();
  ~RegistryConformance() override;

  /// Opens or creates a key and fails the test when that does not succeed. The handle is closed with the test.
  platform::KeyHandle Open(platform::KeyHandle root, const AnsiText& path, std::uint32_t access = kLayerAccess);
  platform::KeyHandle Create(platform::KeyHandle root, const AnsiText& path, std::uint32_t access = kLayerAccess);
  /// Opens or creates a key and answers the status, and the disposition after a blank: "0 created", "0 there", "2".
  std::string TryOpen(platform::KeyHandle root, const AnsiText& path, std::uint32_t access = kLayerAccess);
  std::string TryCreate(platform::KeyHandle root, const AnsiText& path, std::uint32_t access = kLayerAccess);
  platform::Status Set(platform::KeyHandle key, const AnsiText& name, std::uint32_t type, const std::string& data);
  std::string Get(platform::KeyHandle key, const AnsiText& name) { return ValueOf(registry_, key, name); }
  std::vector<AnsiText> SubKeys(platform::KeyHandle key) { return SubKeysOf(registry_, key); }
  std::vector<std::string> Values(platform::KeyHandle key) { return ValuesOf(registry_, key); }

  std::unique_ptr<RegistryUnderTest> subject_ = GetParam().open();
  platform::RegistryApi& registry_ = subject_->Registry();
  platform::KeyHandle work_ = 0;

 private:
  std::vector<platform::KeyHandle> opened_;
};

}  // namespace nerio::testing
