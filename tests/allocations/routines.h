#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "nerio/platform/host.h"
#include "nerio/types/error.h"
#include "nerio/types/text.h"
#include "tests/testing/forwarding_registry.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::testing {

/// What a call answered: a text, a number, or both.
struct Answer {
  Text text;
  std::int64_t number = 0;

  friend bool operator==(const Answer&, const Answer&) = default;
};

/// A registry that keeps the handles of created keys, which the layer leaves open, so that they can be closed.
class ClosingRegistry final : public ForwardingRegistry {
 public:
  explicit ClosingRegistry(platform::RegistryApi& inner) : ForwardingRegistry(inner) { created_.reserve(100); }

  platform::Status CreateKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                             const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                             const platform::SecurityAttributes& security, platform::KeyHandle& created,
                             std::uint32_t& disposition) override;
  void CloseCreated();

 private:
  std::vector<platform::KeyHandle> created_;
};

/// What the routines work with: this system's host, with a registry and a trace file of the test's own.
class World final : public platform::ModuleLocation {
 public:
  World();
  ~World();

  platform::Host View();
  platform::SystemStatus Folder(Text& answer) override;

  /// Makes the branch of the test with one value, and nothing else below it.
  void Reset();

  /// The branch of the test, below HKEY_LOCAL_MACHINE and the main branch.
  static constexpr TextView kBranch = u"Prova di memoria insufficiente";
  static constexpr TextView kPath = u"Software\\Nerio\\Prova di memoria insufficiente";

  ClosingRegistry& registry() { return registry_; }
  const Text& tracePath() const { return tracePath_; }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<platform::HostInstance> real_;
  ClosingRegistry registry_;
  Text folderText_;
  Text tracePath_;
};

/// A public routine and a call of it that can be made again and again.
struct Routine {
  /// As it is declared: "nerio::CRegistry::CreaRamo", "XmlDom::CreateElement".
  std::string name;
  /// Makes the call. It allocates nothing of its own.
  std::function<void(World&, Answer&)> call;
  /// What it answers when memory is short and it does not raise; none: it raises std::bad_alloc.
  std::vector<Answer> shortAnswers;
};

/// Returns every public routine.
std::vector<Routine> AllRoutines();

/// Returns those of the public names for which there is no call, each with the reason.
std::vector<std::pair<std::string, std::string>> NamesWithoutCall();

}  // namespace nerio::testing
